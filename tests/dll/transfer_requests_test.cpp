// Consultation: a second call is prepared, dialled, and joined with the first one.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using simulator::request_kind;
using testing::ElementsAre;
using testing::IsEmpty;

class transfer_requests : public open_line {
  protected:
    LONG Dial(HDRVCALL call, const wchar_t* number) { return module_.TSPI_lineDial(77, call, number, 49); }
};

TEST_F(transfer_requests, setup_makes_a_local_call_in_dial_tone) {
    HTAPICALL const first = ConnectedCall();
    log_.Skip();
    const std::size_t since = service_.ReceivedCount();
    const host::request_result setup = host_.SetupTransfer(first);
    ASSERT_TRUE(setup.Accepted());
    EXPECT_EQ(host_.Driver(setup.call), AsHandle<HDRVCALL>(2));
    EXPECT_THAT(host_.States(setup.call), ElementsAre(DWORD{LINECALLSTATE_DIALTONE}));
    EXPECT_EQ(Last(host_.States(first)), DWORD{LINECALLSTATE_CONNECTED}) << "the first call stays as it is";
    EXPECT_EQ(log_.Texts("CallManager").at(0),
              "PrepareConsultationCall: LineSetupTransfer (driverCallHandle: 0x00000001)");
    EXPECT_THAT(RequestsSince(since), IsEmpty());
}

TEST_F(transfer_requests, setup_completes_before_the_dial_tone_is_told) {
    HTAPICALL const first = ConnectedCall();
    const std::uint64_t mark = host_.Mark();
    const host::request_result setup = host_.SetupTransfer(first);
    const std::vector<host::tapi_event> told = host_.History().Since(mark);
    ASSERT_EQ(told.size(), 2u);
    EXPECT_EQ(told[0].kind, host::event_kind::kCompletion);
    EXPECT_EQ(told[0].request_id, setup.request_id);
    EXPECT_TRUE(told[1].IsMessage(LINE_CALLSTATE));
    EXPECT_EQ(told[1].call, setup.call);
    EXPECT_EQ(told[1].param1, DWORD_PTR{LINECALLSTATE_DIALTONE});
}

TEST_F(transfer_requests, setup_for_an_unknown_call_completes_and_makes_none) {
    const std::uint64_t mark = host_.Mark();
    HDRVCALL consultation = AsHandle<HDRVCALL>(0xA5A5A5A5);
    const host::request_result setup = host_.Request("SetupTransfer", [&](DRV_REQUESTID id) {
        return module_.TSPI_lineSetupTransfer(id, AsHandle<HDRVCALL>(4711), AsHandle<HTAPICALL>(0xC0FFEE),
                                              &consultation, nullptr);
    });
    EXPECT_TRUE(setup.Accepted());
    EXPECT_EQ(consultation, nullptr);
    EXPECT_EQ(host_.History().Since(mark).size(), 1u) << "the completion alone";
}

TEST_F(transfer_requests, dial_after_setup_places_the_consultation_call) {
    HTAPICALL const first = HeldCall();
    HTAPICALL const consultation = host_.SetupTransfer(first).call;
    log_.Skip();
    const std::size_t since = service_.ReceivedCount();
    const host::request_result dialled = host_.Dial(consultation, L"4712", 49);
    ASSERT_TRUE(dialled.Accepted());
    EXPECT_EQ(host_.WaitForCompletion(dialled.request_id, kSoon), 0);
    EXPECT_THAT(host_.States(consultation),
                ElementsAre(DWORD{LINECALLSTATE_DIALTONE}, DWORD{LINECALLSTATE_PROCEEDING}));
    const auto placed = service_.WaitForRequest(request_kind::kPlaceCall, kSoon, since);
    ASSERT_TRUE(placed);
    EXPECT_EQ(placed->text, PlaceCallRequest(kPhone, "4712", placed->parsed.client_call_id));
    EXPECT_EQ(log_.Count("Line", Text("Dial Desk 1001, tapiLineHandle: 0x%08X, deviceId: 0x%08X, number: "
                                      "4712, country code: 49",
                                      Low(line_), static_cast<unsigned>(device_))),
              1u);
    EXPECT_EQ(log_.CountStarting("VekTapiCall", "Call id changed : id = "), 1u);
}

TEST_F(transfer_requests, a_consultation_call_is_connected_as_soon_as_the_softphone_says_so) {
    HTAPICALL const consultation = host_.SetupTransfer(HeldCall()).call;
    const std::size_t since = service_.ReceivedCount();
    ASSERT_TRUE(host_.Dial(consultation, L"4712").Accepted());
    const auto placed = service_.WaitForRequest(request_kind::kPlaceCall, kSoon, since);
    ASSERT_TRUE(placed);
    // Unlike a call that MakeCall has placed, whose early Connected is not believed.
    Play(placed->parsed.client_call_id, "Connected", true);
    EXPECT_TRUE(Becomes(consultation, LINECALLSTATE_CONNECTED));
}

TEST_F(transfer_requests, complete_joins_the_active_consultation_with_the_held_call) {
    HTAPICALL const first = HeldCall();
    HTAPICALL const consultation = host_.SetupTransfer(first).call;
    std::size_t since = service_.ReceivedCount();
    ASSERT_TRUE(host_.Dial(consultation, L"4712").Accepted());
    const auto placed = service_.WaitForRequest(request_kind::kPlaceCall, kSoon, since);
    ASSERT_TRUE(placed);
    const std::string id = placed->parsed.client_call_id;
    Play(id, "Connected", true);
    ASSERT_TRUE(Becomes(consultation, LINECALLSTATE_CONNECTED));

    log_.Skip();
    since = service_.ReceivedCount();
    const host::request_result completed = host_.CompleteTransfer(first, consultation);
    ASSERT_TRUE(completed.Accepted());
    EXPECT_EQ(host_.WaitForCompletion(completed.request_id, kSoon), 0);
    EXPECT_EQ(log_.Texts("CallManager").at(0),
              "TransferCall: LineCompleteTransfer (driverCallHandle: 0x00000002, driverCallHandleOnHold: "
              "0x00000001)");
    EXPECT_THAT(RequestsSince(since),
                ElementsAre("<msg><request><transferCall permanentLineId='1001' clientCallId='" + id +
                            "' clientCallOnHoldId='in-1'/></request></msg>"));
}

TEST_F(transfer_requests, complete_the_wrong_way_round_is_refused_silently) {
    HTAPICALL const held = HeldCall("in-1");
    HTAPICALL const active = ConnectedCall("in-2");
    const std::size_t since = service_.ReceivedCount();
    EXPECT_TRUE(host_.CompleteTransfer(active, held).Accepted());
    EXPECT_TRUE(log_.Has("Line", "Calls cannot be transferred due to current call/line state."));
    EXPECT_THAT(RequestsSince(since), IsEmpty());
}

TEST_F(transfer_requests, complete_to_a_conference_is_not_available_and_sends_nothing) {
    HTAPICALL const held = HeldCall("in-1");
    HTAPICALL const active = ConnectedCall("in-2");
    log_.Skip();
    const std::size_t since = service_.ReceivedCount();
    EXPECT_EQ(host_.CompleteTransfer(held, active, LINETRANSFERMODE_CONFERENCE).returned,
              kOperationUnavailable);
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_THAT(RequestsSince(since), IsEmpty());
}

TEST_F(transfer_requests, dial_needs_a_known_call) {
    log_.Skip();
    EXPECT_EQ(Dial(AsHandle<HDRVCALL>(0x4711), nullptr), kOperationFailed);
    EXPECT_THAT(log_.Texts(),
                ElementsAre("LineMakeCallAsync: Line not found for driverCallHandle 0x00004711."));
    EXPECT_EQ(ManagerLog(), log_.Texts());
}

TEST_F(transfer_requests, dial_needs_dial_tone_and_misses_it_before_a_destination) {
    HTAPICALL const call = ConnectedCall();
    log_.Skip();
    EXPECT_EQ(Dial(host_.Driver(call), L"4712"), kNotInDialTone);
    EXPECT_EQ(Dial(host_.Driver(call), nullptr), kNotInDialTone);
    EXPECT_THAT(log_.Texts(), ElementsAre("LineMakeCallAsync: Call is not in state dialtone",
                                          "LineMakeCallAsync: Call is not in state dialtone"));
    EXPECT_EQ(ManagerLog(), log_.Texts());
}

TEST_F(transfer_requests, dial_is_refused_in_every_state_but_dial_tone) {
    std::map<DWORD, LONG> refused;
    // A softphone's calls, from inside the messages: some of the states are left again at once.
    host_.SetEventHook([&](const host::tapi_event& event) {
        if (event.IsMessage(LINE_CALLSTATE) && event.param1 != LINECALLSTATE_DIALTONE) {
            refused[static_cast<DWORD>(event.param1)] = host_.Dial(event.call, L"4712").returned;
        }
    });
    const std::size_t since = service_.ReceivedCount();
    HTAPICALL const held = HeldCall("in-1");
    const std::uint64_t mark = host_.Mark();
    Play("out-1", "Ringback", true);
    Play("out-1", "Hangup", true, 486);
    ASSERT_TRUE(Becomes(host_.WaitForNewCall(line_, kSoon, mark), LINECALLSTATE_IDLE));
    service_.Send(simulator::CallRemovedEvent(kPhone, "in-1"));
    ASSERT_TRUE(Becomes(held, LINECALLSTATE_IDLE));
    ASSERT_TRUE(Settled(kPhone));
    // A consultation call, the third of all, has no state before its dial tone.
    const HDRVCALL third = AsHandle<HDRVCALL>(3);
    host_.SetEventHook([&](const host::tapi_event& event) {
        if (event.kind == host::event_kind::kCompletion) {
            refused[LINECALLSTATE_UNKNOWN] = Dial(third, L"4712");
        }
    });
    ASSERT_EQ(host_.Driver(host_.SetupTransfer(held).call), third);
    host_.SetEventHook({});

    EXPECT_THAT(refused, testing::Each(testing::Pair(testing::_, kNotInDialTone)));
    EXPECT_THAT(
        refused,
        testing::UnorderedElementsAre(
            testing::Key(DWORD{LINECALLSTATE_IDLE}), testing::Key(DWORD{LINECALLSTATE_OFFERING}),
            testing::Key(DWORD{LINECALLSTATE_ACCEPTED}), testing::Key(DWORD{LINECALLSTATE_RINGBACK}),
            testing::Key(DWORD{LINECALLSTATE_BUSY}), testing::Key(DWORD{LINECALLSTATE_CONNECTED}),
            testing::Key(DWORD{LINECALLSTATE_PROCEEDING}), testing::Key(DWORD{LINECALLSTATE_ONHOLD}),
            testing::Key(DWORD{LINECALLSTATE_DISCONNECTED}), testing::Key(DWORD{LINECALLSTATE_UNKNOWN})));
    // Each once, and IDLE for both calls.
    EXPECT_EQ(log_.Count(kManagerCategory, "LineMakeCallAsync: Call is not in state dialtone"),
              refused.size() + 1);
    EXPECT_THAT(RequestsSince(since), IsEmpty());
}

TEST_F(transfer_requests, dial_works_in_dial_tone_only_once) {
    HTAPICALL const consultation = host_.SetupTransfer(HeldCall()).call;
    ASSERT_TRUE(host_.Dial(consultation, L"4712").Accepted());
    EXPECT_EQ(host_.Dial(consultation, L"4712").returned, kNotInDialTone);
}

TEST_F(transfer_requests, dial_needs_a_destination) {
    HTAPICALL const consultation = host_.SetupTransfer(HeldCall()).call;
    log_.Skip();
    const std::size_t since = service_.ReceivedCount();
    EXPECT_EQ(Dial(host_.Driver(consultation), nullptr), kInvalidAddress);
    EXPECT_THAT(log_.Texts(), ElementsAre("LineMakeCallAsync: Invalid destination address was given."));
    EXPECT_THAT(RequestsSince(since), IsEmpty());
}

TEST_F(transfer_requests, dial_needs_a_connected_softphone_and_says_nothing_in_the_log) {
    // On a closed line, where a softphone that goes away does not end the calls.
    ASSERT_EQ(host_.CloseLine(line_), 0);
    HDRVCALL first = nullptr;
    ASSERT_EQ(module_.TSPI_lineMakeCall(75, AsHandle<HDRVLINE>(1), nullptr, &first, L"4711", 0, nullptr), 75);
    HDRVCALL consultation = nullptr;
    ASSERT_EQ(module_.TSPI_lineSetupTransfer(76, first, nullptr, &consultation, nullptr), 76);
    simulator::registration changed = phone_->Registration();
    changed.client_connected = false;
    service_.ChangeSoftphone(changed, simulator::registration_change::kRefreshed);
    ASSERT_TRUE(Settled(kPhone));
    log_.Skip();
    EXPECT_EQ(Dial(consultation, nullptr), kInvalidAddress);
    log_.Skip();
    EXPECT_EQ(Dial(consultation, L"4712"), kOperationUnavailable);
    EXPECT_THAT(log_.Lines(), IsEmpty());
    // These requests were not the host's.
    host_.Checker().ClearBreaches();
}

TEST_F(transfer_requests, drop_of_a_consultation_call_in_dial_tone_ends_it) {
    HTAPICALL const consultation = host_.SetupTransfer(HeldCall()).call;
    ASSERT_TRUE(host_.Drop(consultation).Accepted());
    EXPECT_THAT(host_.States(consultation),
                ElementsAre(DWORD{LINECALLSTATE_DIALTONE}, DWORD{LINECALLSTATE_DISCONNECTED},
                            DWORD{LINECALLSTATE_IDLE}));
}

}  // namespace
}  // namespace brivelnox::test
