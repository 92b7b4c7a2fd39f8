// TAPI places calls.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
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

class make_call : public open_line {
  protected:
    /// TSPI_lineMakeCall with the request id 77, past the host: for what the host would not do.
    LONG MakeCall(HDRVLINE line, const wchar_t* number, HDRVCALL* call) {
        return module_.TSPI_lineMakeCall(77, line, AsHandle<HTAPICALL>(0xC0FFEE), call, number, 49, nullptr);
    }

    void Disconnect(bool client_connected, bool sip_connected) {
        simulator::registration changed = phone_->Registration();
        changed.client_connected = client_connected;
        changed.sip_connected = sip_connected;
        service_.ChangeSoftphone(changed, simulator::registration_change::kRefreshed);
        ASSERT_TRUE(Settled(kPhone));
    }

    HDRVCALL handle_ = AsHandle<HDRVCALL>(0xA5A5A5A5);
};

TEST_F(make_call, is_logged_sent_to_the_softphone_and_proceeding_when_it_returns) {
    log_.Skip();
    const std::size_t since = service_.ReceivedCount();
    const host::request_result made = host_.MakeCall(line_, L"4711", 49);
    ASSERT_TRUE(made.Accepted());
    ASSERT_NE(made.call, nullptr);
    EXPECT_EQ(host_.Driver(made.call), AsHandle<HDRVCALL>(1));
    EXPECT_THAT(host_.States(made.call), ElementsAre(DWORD{LINECALLSTATE_PROCEEDING}));

    const auto placed = service_.WaitForRequest(request_kind::kPlaceCall, kSoon, since);
    ASSERT_TRUE(placed);
    const std::string id = placed->parsed.client_call_id;
    EXPECT_EQ(placed->text, PlaceCallRequest(kPhone, "4711", id));
    EXPECT_EQ(id.size(), 36u);
    EXPECT_EQ(id.find_first_not_of("0123456789abcdef-"), std::string::npos) << id;

    EXPECT_THAT(
        ManagerLog(),
        ElementsAre(Text("TSPI_lineMakeCall driverLineHandle: 0x00000001, tapiCallHandle: 0x%08X, number: "
                         "4711, country code: 49",
                         Low(made.call)),
                    Text("AsyncCompletionProc: (dwRequestID: 0x%08X, lResult: 0x00000000)",
                         static_cast<unsigned>(made.request_id))));
    EXPECT_EQ(log_.Count("Line", Text("MakeCall Desk 1001, tapiLineHandle: 0x%08X, deviceId: 0x%08X, "
                                      "tapiCallHandle: 0x%08X, number: 4711, country code: 49",
                                      Low(line_), static_cast<unsigned>(device_), Low(made.call))),
              1u);
    EXPECT_EQ(log_.Count("VekTapiCall", Text("New call created client_call_id: %s, tapiCallHandle: 0x%08X, "
                                             "driverCallHandle: 0x00000001, outbound: 1",
                                             id.c_str(), Low(made.call))),
              1u);
}

TEST_F(make_call, completes_with_0_and_returns_the_request_id) {
    const host::request_result made = host_.MakeCall(line_, L"4711");
    EXPECT_EQ(made.returned, static_cast<LONG>(made.request_id));
    EXPECT_EQ(host_.WaitForCompletion(made.request_id, kSoon), 0);
    EXPECT_EQ(host_.Checker().OutstandingRequests(), 0u);
}

TEST_F(make_call, needs_a_destination) {
    log_.Skip();
    const std::size_t since = service_.ReceivedCount();
    EXPECT_EQ(MakeCall(host_.Driver(line_), nullptr, &handle_), kInvalidAddress);
    const std::vector<std::string> log = ManagerLog();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_THAT(log[0], testing::StartsWith("TSPI_lineMakeCall driverLineHandle: 0x00000001, tapiCallHandle: "
                                            "0x00C0FFEE, number: "));
    EXPECT_THAT(log[0], testing::EndsWith(", country code: 49"));
    EXPECT_EQ(log[1], "LineMakeCallAsync: Invalid destination address was given.");
    EXPECT_EQ(handle_, AsHandle<HDRVCALL>(0xA5A5A5A5));
    EXPECT_THAT(RequestsSince(since), IsEmpty());
}

TEST_F(make_call, needs_a_line_and_misses_a_destination_first) {
    log_.Skip();
    EXPECT_EQ(MakeCall(AsHandle<HDRVLINE>(9), nullptr, &handle_), kInvalidAddress);
    EXPECT_EQ(log_.Count(kManagerCategory, "LineMakeCallAsync: Invalid destination address was given."), 1u);
    const std::size_t since = service_.ReceivedCount();
    EXPECT_EQ(MakeCall(AsHandle<HDRVLINE>(9), L"4711", &handle_), kInvalidLineHandle);
    EXPECT_EQ(MakeCall(nullptr, L"4711", &handle_), kInvalidLineHandle);
    EXPECT_EQ(handle_, AsHandle<HDRVCALL>(0xA5A5A5A5));
    EXPECT_THAT(RequestsSince(since), IsEmpty());
}

TEST_F(make_call, needs_a_connected_softphone_and_otherwise_creates_no_call) {
    Disconnect(false, true);
    log_.Skip();
    const std::size_t since = service_.ReceivedCount();
    const host::request_result refused = host_.MakeCall(line_, L"4711");
    EXPECT_EQ(refused.returned, kOperationUnavailable);
    EXPECT_EQ(Last(ManagerLog()), "LineMakeCallAsync: Service unavailable.");
    EXPECT_THAT(log_.Lines("VekTapiCall"), IsEmpty());

    Disconnect(true, false);
    EXPECT_THAT(RequestsSince(since), IsEmpty());
    // The refused call has used up no handle: the closing one of RequestsSince had 1.
    const host::request_result made = host_.MakeCall(line_, L"4712");
    EXPECT_EQ(host_.Driver(made.call), AsHandle<HDRVCALL>(2));
}

TEST_F(make_call, does_not_need_the_telephony_registration_of_the_softphone) {
    Disconnect(true, false);
    EXPECT_TRUE(host_.MakeCall(line_, L"4711").Accepted());
}

TEST_F(make_call, works_on_a_line_that_is_not_open_and_tells_nothing) {
    ASSERT_EQ(host_.CloseLine(line_), 0);
    const std::uint64_t mark = host_.Mark();
    log_.Skip();
    EXPECT_EQ(MakeCall(AsHandle<HDRVLINE>(1), L"4711", &handle_), 77);
    EXPECT_EQ(handle_, AsHandle<HDRVCALL>(1));
    EXPECT_TRUE(service_.WaitForRequest(request_kind::kPlaceCall, kSoon));
    const std::vector<host::tapi_event> told = host_.History().Since(mark);
    ASSERT_EQ(told.size(), 1u);
    EXPECT_EQ(told[0].kind, host::event_kind::kCompletion);
    EXPECT_EQ(told[0].request_id, 77u);
    EXPECT_EQ(log_.Count("Line", Text("Skip sending event to TAPI. Desk 1001, tapiLineHandle: 0x%08X, line "
                                      "not open",
                                      Low(line_))),
              1u);
    // The request was not the host's.
    host_.Checker().ClearBreaches();
}

TEST_F(make_call, sends_the_number_as_it_is_in_the_ansi_code_page) {
    const std::size_t since = service_.ReceivedCount();
    ASSERT_TRUE(host_.MakeCall(line_, L"+49 (0)721/4711-\u00e4*#").Accepted());
    const auto placed = service_.WaitForRequest(request_kind::kPlaceCall, kSoon, since);
    ASSERT_TRUE(placed);
    EXPECT_EQ(placed->parsed.phone_number, "+49 (0)721/4711-\xE4*#");
}

TEST_F(make_call, logs_as_much_of_a_long_number_as_a_line_of_the_log_takes) {
    log_.Skip();
    ASSERT_TRUE(host_.MakeCall(line_, std::wstring(600, L'7').c_str(), 49).Accepted());
    const std::string logged = ManagerLog().at(0);
    EXPECT_EQ(logged.size(), 511u);
    EXPECT_THAT(logged,
                testing::StartsWith("TSPI_lineMakeCall driverLineHandle: 0x00000001, tapiCallHandle: "));
    EXPECT_THAT(logged, testing::EndsWith("7777"));
}

TEST_F(make_call, counts_the_drivers_handles_over_all_kinds_of_calls) {
    EXPECT_EQ(host_.Driver(AcceptedCall()), AsHandle<HDRVCALL>(1));
    const HTAPICALL placed = host_.MakeCall(line_, L"4711").call;
    EXPECT_EQ(host_.Driver(placed), AsHandle<HDRVCALL>(2));
    EXPECT_EQ(host_.Driver(host_.SetupTransfer(placed).call), AsHandle<HDRVCALL>(3));
}

}  // namespace
}  // namespace brivelnox::test
