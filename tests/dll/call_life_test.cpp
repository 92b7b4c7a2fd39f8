// Whole lives of calls, from the service's socket to TAPI's procedures, with what the log keeps of them.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using simulator::request_kind;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr DWORD kIdle = LINECALLSTATE_IDLE;
constexpr DWORD kOffering = LINECALLSTATE_OFFERING;
constexpr DWORD kAccepted = LINECALLSTATE_ACCEPTED;
constexpr DWORD kRingback = LINECALLSTATE_RINGBACK;
constexpr DWORD kBusy = LINECALLSTATE_BUSY;
constexpr DWORD kConnected = LINECALLSTATE_CONNECTED;
constexpr DWORD kProceeding = LINECALLSTATE_PROCEEDING;
constexpr DWORD kOnHold = LINECALLSTATE_ONHOLD;
constexpr DWORD kDisconnected = LINECALLSTATE_DISCONNECTED;

class call_life : public open_line {
  protected:
    void SetUp() override {
        open_line::SetUp();
        phone_->SetAutomatic(true);
    }

    /// The mode that TAPI was told with DISCONNECTED.
    DWORD DisconnectMode(HTAPICALL call) {
        const std::optional<host::call_view> view = host_.View(call);
        for (std::size_t i = 0; view && i < view->states.size(); ++i) {
            if (view->states[i] == kDisconnected) {
                return view->modes[i];
            }
        }
        return 0xA5A5A5A5;
    }

    HTAPICALL Ring(const std::string& id) {
        const std::uint64_t mark = host_.Mark();
        phone_->Ring({"4711", "Anna"}, std::nullopt, id);
        HTAPICALL const call = host_.WaitForNewCall(line_, kSoon, mark);
        EXPECT_TRUE(Becomes(call, kAccepted));
        return call;
    }
};

TEST_F(call_life, of_an_incoming_call_that_is_answered_held_resumed_and_hung_up_by_the_far_end) {
    HTAPICALL const call = Ring("in-1");
    ASSERT_TRUE(host_.Answer(call).Accepted());
    ASSERT_TRUE(Becomes(call, kConnected));
    ASSERT_TRUE(host_.Hold(call).Accepted());
    ASSERT_TRUE(Becomes(call, kOnHold));
    ASSERT_TRUE(host_.Unhold(call).Accepted());
    ASSERT_TRUE(Becomes(call, kConnected));
    ASSERT_EQ(host_.GenerateDigits(call, L"42#"), 0);
    ASSERT_TRUE(service_.WaitForRequest(request_kind::kPlayDtmf, kSoon));
    EXPECT_EQ(Found(phone_->FindCall("in-1"))->digits, "42#");
    ASSERT_TRUE(phone_->End("in-1", 200));
    ASSERT_TRUE(Becomes(call, kIdle));
    EXPECT_THAT(host_.States(call),
                ElementsAre(kOffering, kAccepted, kConnected, kOnHold, kConnected, kDisconnected, kIdle));
    EXPECT_EQ(DisconnectMode(call), DWORD{LINEDISCONNECTMODE_NORMAL});
    EXPECT_EQ(host_.CloseCall(call), 0);
}

TEST_F(call_life, of_an_incoming_call_is_in_the_log) {
    log_.Skip();
    HTAPICALL const call = Ring("in-1");
    ASSERT_TRUE(phone_->Remove("in-1"));
    ASSERT_TRUE(Becomes(call, kIdle));
    ASSERT_TRUE(Settled(kPhone));
    const std::string line = Text("Desk 1001, tapiLineHandle: 0x%08X", Low(line_));
    const std::string device = Text("deviceId: 0x%08X", static_cast<unsigned>(device_));
    const std::string told = line + Text(", tapiCallHandle: 0x%08X", Low(call));
    const std::string text = testing::PrintToString(log_.Texts("Line"));
    SCOPED_TRACE(text);
    EXPECT_EQ(log_.Count("Line", "Client call state received. " + line + ", " + device +
                                     ", client_call_id: in-1, client call state: Incoming"),
              1u);
    EXPECT_EQ(
        log_.Count("Line", "Send event to TAPI: LINE_NEWCALL.   " + line + ",  driverCallHandle=0x00000001"),
        1u);
    EXPECT_EQ(log_.Count("VekTapiCall", Text("New call created client_call_id: in-1, tapiCallHandle: 0x%08X, "
                                             "driverCallHandle: 0x00000001, outbound: 128",
                                             Low(call))),
              1u);
    EXPECT_EQ(log_.Count("Line", "Send event to TAPI: LINE_CALLSTATE. " + told +
                                     ", Offering, , LINEMEDIAMODE_INTERACTIVEVOICE"),
              1u);
    EXPECT_EQ(log_.Count("Line", "Send event to TAPI: LINE_CALLINFO.  " + told +
                                     ", 0x00038000, LINECALLINFOSTATE_CALLERID LINECALLINFOSTATE_CALLEDID "
                                     "LINECALLINFOSTATE_CONNECTEDID "),
              1u);
    EXPECT_EQ(log_.Count("Line", "Call removed " + line + ", " + device + ", client_call_id: in-1"), 1u);
    EXPECT_EQ(log_.Count("Line", "Send event to TAPI: LINE_CALLSTATE. " + told +
                                     ", Disconnected, , LINEMEDIAMODE_INTERACTIVEVOICE"),
              1u)
        << "removed without a hang-up, so without a mode";
    EXPECT_EQ(log_.Count("Line", "Send event to TAPI: LINE_CALLSTATE. " + told +
                                     ", Idle, , LINEMEDIAMODE_INTERACTIVEVOICE"),
              1u);
}

TEST_F(call_life, messages_carry_the_lines_and_the_calls_handles) {
    const std::uint64_t mark = host_.Mark();
    HTAPICALL const call = Ring("in-1");
    ASSERT_TRUE(Settled(kPhone));
    const std::vector<host::tapi_event> told = host_.History().Since(mark);
    ASSERT_EQ(told.size(), 4u);
    EXPECT_TRUE(told[0].IsMessage(LINE_NEWCALL));
    EXPECT_TRUE(told[1].IsMessage(LINE_CALLSTATE));
    EXPECT_TRUE(told[2].IsMessage(LINE_CALLINFO));
    EXPECT_TRUE(told[3].IsMessage(LINE_CALLSTATE));
    for (const host::tapi_event& each : told) {
        EXPECT_EQ(each.line, line_);
        EXPECT_EQ(each.call, each.IsMessage(LINE_NEWCALL) ? nullptr : call);
    }
    EXPECT_EQ(told[0].param1, 1u) << "the driver's handle";
    EXPECT_EQ(told[0].param3, 0u);
    EXPECT_EQ(told[1].param1, kOffering);
    EXPECT_EQ(told[1].param2, 0u);
    EXPECT_EQ(told[1].param3, DWORD_PTR{LINEMEDIAMODE_INTERACTIVEVOICE});
    EXPECT_EQ(told[2].param1, 0x38000u);
    EXPECT_EQ(told[2].param2, 0u);
    EXPECT_EQ(told[2].param3, 0u);
}

TEST_F(call_life, of_a_call_placed_by_tapi_goes_through_ringback_to_the_far_ends_answer) {
    HTAPICALL const call = host_.MakeCall(line_, L"4711").call;
    ASSERT_TRUE(Becomes(call, kRingback));
    const auto placed = service_.WaitForRequest(request_kind::kPlaceCall, kSoon);
    ASSERT_TRUE(phone_->Connect(placed->parsed.client_call_id));
    ASSERT_TRUE(Becomes(call, kConnected));
    ASSERT_TRUE(host_.Drop(call).Accepted());
    EXPECT_THAT(host_.States(call), ElementsAre(kProceeding, kRingback, kConnected, kDisconnected, kIdle));
    ASSERT_TRUE(service_.WaitForRequest(request_kind::kHangupCall, kSoon));
    // What the softphone reports of the end is nothing new.
    ASSERT_TRUE(Settled(kPhone));
    EXPECT_EQ(host_.States(call).size(), 5u);
    EXPECT_TRUE(log_.Has("Line",
                         "Outbound call was started by TAPI -> report as proceeding before signaling "
                         "ringback."));
}

TEST_F(call_life, of_a_call_to_a_busy_number_ends_at_once) {
    HTAPICALL const call = host_.MakeCall(line_, L"486").call;
    ASSERT_TRUE(Becomes(call, kIdle));
    ASSERT_TRUE(Settled(kPhone));
    EXPECT_THAT(host_.States(call), ElementsAre(kProceeding, kBusy, kIdle));
    EXPECT_TRUE(log_.Has("Line", "Hangup, busy -> signal busy state for call"));
}

TEST_F(call_life, of_a_call_to_an_unknown_number_ends_when_the_softphone_removes_it) {
    HTAPICALL const call = host_.MakeCall(line_, L"404").call;
    ASSERT_TRUE(Becomes(call, kIdle));
    EXPECT_THAT(host_.States(call), ElementsAre(kProceeding, kDisconnected, kIdle));
    EXPECT_EQ(DisconnectMode(call), DWORD{LINEDISCONNECTMODE_BADADDRESS});
    EXPECT_TRUE(log_.Has(
        "Line", "Hangup, call reason 404 -> signal disconnected state with cause 'bad address' 128"));
    EXPECT_TRUE(log_.Has("Line", "Call reason 404 -> callStateMode 128"));
    EXPECT_TRUE(
        log_.Has("Line", "Client Hangup state might be temporary -> do not yet signal disconnected state"));
}

TEST_F(call_life, ends_with_the_mode_for_the_reason_of_the_hang_up) {
    struct {
        std::int32_t reason;
        DWORD mode;
    } const kModes[] = {
        {200, LINEDISCONNECTMODE_NORMAL},       {0, LINEDISCONNECTMODE_NORMAL},
        {401, LINEDISCONNECTMODE_BLOCKED},      {403, LINEDISCONNECTMODE_BLOCKED},
        {404, LINEDISCONNECTMODE_BADADDRESS},   {484, LINEDISCONNECTMODE_BADADDRESS},
        {415, LINEDISCONNECTMODE_INCOMPATIBLE}, {480, LINEDISCONNECTMODE_TEMPFAILURE},
        {600, LINEDISCONNECTMODE_BUSY},         {603, LINEDISCONNECTMODE_NORMAL},
    };
    for (const auto& row : kModes) {
        const std::string id = Text("reason-%d", static_cast<int>(row.reason));
        HTAPICALL const call = Ring(id);
        ASSERT_TRUE(phone_->Hangup(id, row.reason));
        ASSERT_TRUE(Settled(kPhone));
        EXPECT_EQ(Last(host_.States(call)), kAccepted) << "nothing is told before the removal";
        ASSERT_TRUE(phone_->Remove(id));
        ASSERT_TRUE(Becomes(call, kIdle));
        EXPECT_EQ(DisconnectMode(call), row.mode) << row.reason;
    }
}

TEST_F(call_life, ends_when_the_softphone_unregisters_and_its_line_stays) {
    HTAPICALL const call = Ring("in-1");
    ASSERT_TRUE(service_.RemoveSoftphone(kPhone));
    ASSERT_TRUE(Becomes(call, kIdle));
    EXPECT_THAT(host_.States(call), ElementsAre(kOffering, kAccepted, kDisconnected, kIdle));
    EXPECT_EQ(DisconnectMode(call), DWORD{LINEDISCONNECTMODE_CANCELLED});
    EXPECT_EQ(host_.MakeCall(line_, L"4711").returned, kOperationUnavailable);
    phone_ = AddPhone(kPhone, "Desk 1001", simulator::announcement::kEvent);
    ASSERT_TRUE(Settled(kPhone));
    EXPECT_TRUE(host_.MakeCall(line_, L"4711").Accepted());
    EXPECT_EQ(host_.Devices().size(), 1u);
}

TEST_F(call_life, survives_a_change_of_the_telephony_registration_alone) {
    HTAPICALL const call = Ring("in-1");
    simulator::registration changed = phone_->Registration();
    changed.sip_connected = false;
    service_.ChangeSoftphone(changed, simulator::registration_change::kRefreshed);
    ASSERT_TRUE(Settled(kPhone));
    EXPECT_EQ(Last(host_.States(call)), kAccepted);
}

TEST_F(call_life, of_a_transfer_joins_both_calls_and_ends_them) {
    HTAPICALL const first = Ring("in-1");
    ASSERT_TRUE(host_.Answer(first).Accepted());
    ASSERT_TRUE(Becomes(first, kConnected));
    ASSERT_TRUE(host_.Hold(first).Accepted());
    ASSERT_TRUE(Becomes(first, kOnHold));
    phone_->SetDefaultOutcome(simulator::dial_outcome::kAnswered);
    HTAPICALL const consultation = host_.SetupTransfer(first).call;
    ASSERT_TRUE(host_.Dial(consultation, L"4712").Accepted());
    ASSERT_TRUE(Becomes(consultation, kConnected));
    ASSERT_TRUE(host_.CompleteTransfer(first, consultation).Accepted());
    ASSERT_TRUE(Becomes(consultation, kIdle));
    ASSERT_TRUE(Becomes(first, kIdle));
}

TEST_F(call_life, is_found_at_the_start_with_all_that_the_softphone_reports) {
    // Calls in progress when the provider meets them.
    struct {
        const char* state;
        bool is_caller;
        std::vector<DWORD> states;
    } const kCalls[] = {
        {"Ringback", true, {kProceeding, kRingback}},
        {"Connected", true, {kProceeding, kRingback, kConnected}},
        {"Connected", false, {kOffering, kAccepted, kConnected}},
        {"Parked", true, {kProceeding, kConnected, kOnHold}},
        {"Parked", false, {kOffering, kConnected, kOnHold}},
        {"ConferenceActive", true, {kProceeding, kRingback, kConnected}},
        {"Consult", false, {kOffering, kAccepted, kConnected}},
        {"ConferenceConsult", false, {kOffering, kAccepted, kConnected}},
        {"ConferenceInactive", true, {kProceeding, kRingback, kConnected}},
    };
    int number = 0;
    for (const auto& row : kCalls) {
        const std::uint64_t mark = host_.Mark();
        Play(Text("found-%d", ++number), row.state, row.is_caller);
        ASSERT_TRUE(Settled(kPhone));
        HTAPICALL const call = host_.WaitForNewCall(line_, kSoon, mark);
        EXPECT_EQ(host_.States(call), row.states) << row.state << ' ' << row.is_caller;
    }
    const std::uint64_t mark = host_.Mark();
    for (const char* const state : {"Incoming", "Outgoing", "Hangup", "None", "connected", "Connected "}) {
        Play(Text("found-%d", ++number), state);
    }
    ASSERT_TRUE(Settled(kPhone));
    EXPECT_THAT(host_.History().Since(mark), IsEmpty()) << "these make no call";
}

}  // namespace
}  // namespace brivelnox::test
