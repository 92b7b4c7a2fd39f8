// TAPI controls calls: what each request sends to the softphone, and that it completes.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class requests_on_calls : public open_line {
  protected:
    /// The request was accepted, completed with 0 exactly once, and sent these texts.
    void ExpectSent(std::size_t since, const host::request_result& result,
                    const std::vector<std::string>& texts) {
        EXPECT_TRUE(result.Accepted()) << std::hex << result.returned;
        EXPECT_EQ(host_.WaitForCompletion(result.request_id, kSoon), 0);
        EXPECT_EQ(RequestsSince(since), texts);
    }
};

TEST_F(requests_on_calls, answer_accepts_the_call) {
    HTAPICALL const call = AcceptedCall();
    log_.Skip();
    const std::size_t since = service_.ReceivedCount();
    const host::request_result result = host_.Answer(call);
    EXPECT_EQ(log_.Texts("CallManager").at(0), "AnswerCall: LineAnswer (driverCallHandle: 0x00000001)");
    ExpectSent(since, result,
               {"<msg><request><acceptCall permanentLineId='1001' clientCallId='in-1'/></request></msg>"});
}

TEST_F(requests_on_calls, answer_of_a_connected_call_is_refused_silently) {
    HTAPICALL const call = ConnectedCall();
    log_.Skip();
    const std::size_t since = service_.ReceivedCount();
    const host::request_result result = host_.Answer(call);
    EXPECT_EQ(Last(log_.Texts("Line")), "Call cannot be answered due to current call/line state.");
    ExpectSent(since, result, {});
}

TEST_F(requests_on_calls, hold_parks_the_call) {
    HTAPICALL const call = ConnectedCall();
    const std::size_t since = service_.ReceivedCount();
    ExpectSent(since, host_.Hold(call),
               {"<msg><request><holdCall permanentLineId='1001' clientCallId='in-1'/></request></msg>"});
}

TEST_F(requests_on_calls, unhold_resumes_the_call) {
    HTAPICALL const call = HeldCall();
    const std::size_t since = service_.ReceivedCount();
    ExpectSent(since, host_.Unhold(call),
               {"<msg><request><resumeCall permanentLineId='1001' clientCallId='in-1'/></request></msg>"});
}

TEST_F(requests_on_calls, swap_hold_only_resumes_the_held_call) {
    HTAPICALL const held = HeldCall("in-1");
    HTAPICALL const active = ConnectedCall("in-2");
    const std::size_t since = service_.ReceivedCount();
    ExpectSent(since, host_.SwapHold(active, held),
               {"<msg><request><resumeCall permanentLineId='1001' clientCallId='in-1'/></request></msg>"});
}

TEST_F(requests_on_calls, swap_hold_does_not_look_at_the_active_call) {
    HTAPICALL const held = HeldCall();
    const std::size_t since = service_.ReceivedCount();
    ExpectSent(since, host_.SwapHold(nullptr, held),
               {"<msg><request><resumeCall permanentLineId='1001' clientCallId='in-1'/></request></msg>"});
}

TEST_F(requests_on_calls, redirect_and_blind_transfer_send_the_same) {
    const std::string forward =
        "<msg><request><forwardCall permanentLineId='1001' clientCallId='in-1' "
        "phoneNumber='4712'/></request></msg>";
    HTAPICALL const call = AcceptedCall();
    log_.Skip();
    std::size_t since = service_.ReceivedCount();
    const host::request_result redirected = host_.Redirect(call, L"4712", 49);
    ExpectSent(since, redirected, {forward});
    since = service_.ReceivedCount();
    const host::request_result transferred = host_.BlindTransfer(call, L"4712", 49);
    ExpectSent(since, transferred, {forward});
    EXPECT_EQ(log_.Count("CallManager",
                         "ForwardCall: LineBlindTransfer / LineRedirect (driverCallHandle: 0x00000001, "
                         "destination: 4712)"),
              2u);
}

TEST_F(requests_on_calls, a_held_call_is_not_forwarded) {
    HTAPICALL const call = HeldCall();
    const std::size_t since = service_.ReceivedCount();
    ExpectSent(since, host_.BlindTransfer(call, L"4712"), {});
    EXPECT_TRUE(log_.Has("Line", "Call cannot be forwarded due to current call/line state."));
}

TEST_F(requests_on_calls, drop_hangs_up_and_ends_the_call_at_once) {
    HTAPICALL const call = ConnectedCall();
    const std::size_t since = service_.ReceivedCount();
    const host::request_result result = host_.Drop(call);
    const std::optional<host::call_view> view = host_.View(call);
    ASSERT_TRUE(view);
    EXPECT_THAT(view->states, ElementsAre(DWORD{LINECALLSTATE_OFFERING}, DWORD{LINECALLSTATE_ACCEPTED},
                                          DWORD{LINECALLSTATE_CONNECTED}, DWORD{LINECALLSTATE_DISCONNECTED},
                                          DWORD{LINECALLSTATE_IDLE}));
    EXPECT_THAT(view->modes, ElementsAre(0u, 0u, 0u, DWORD{LINEDISCONNECTMODE_NORMAL}, 0u));
    ExpectSent(since, result,
               {"<msg><request><hangupCall permanentLineId='1001' clientCallId='in-1'/></request></msg>"});
}

TEST_F(requests_on_calls, drop_of_an_ended_call_is_refused_silently) {
    HTAPICALL const call = ConnectedCall();
    ASSERT_TRUE(host_.Drop(call).Accepted());
    ASSERT_EQ(Last(host_.States(call)), DWORD{LINECALLSTATE_IDLE});
    ASSERT_TRUE(service_.WaitForRequest(simulator::request_kind::kHangupCall, kSoon));
    log_.Skip();
    const std::size_t since = service_.ReceivedCount();
    const host::request_result again = host_.Drop(call);
    EXPECT_EQ(Last(log_.Texts("Line")), "Call cannot be put on hold due to current call/line state.");
    ExpectSent(since, again, {});
}

TEST_F(requests_on_calls, close_call_forgets_the_call) {
    HTAPICALL const call = ConnectedCall();
    const HDRVCALL driver = host_.Driver(call);
    log_.Skip();
    const std::uint64_t mark = host_.Mark();
    EXPECT_EQ(host_.CloseCall(call), 0);
    EXPECT_THAT(log_.Texts("CallManager"),
                ElementsAre("CloseCall: LineCloseCall (driverCallHandle: 0x00000001)"));
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre(Text("Removed call Desk 1001, tapiLineHandle: 0x%08X, deviceId: 0x%08X, "
                                 "client_call_id: in-1",
                                 Low(line_), static_cast<unsigned>(device_))));
    EXPECT_THAT(host_.History().Since(mark), IsEmpty()) << "TAPI is closing it itself";
    LINECALLSTATUS status = {};
    EXPECT_EQ(module_.TSPI_lineGetCallStatus(driver, &status), 0);
    EXPECT_EQ(status.dwCallState, DWORD{LINECALLSTATE_UNKNOWN});
    EXPECT_EQ(module_.TSPI_lineCloseCall(driver), 0) << "closing it again finds nothing";
}

TEST_F(requests_on_calls, for_an_unknown_call_complete_with_0_and_send_nothing) {
    const std::size_t since = service_.ReceivedCount();
    const HDRVCALL unknown = AsHandle<HDRVCALL>(4711);
    const std::vector<host::request_result> results = {
        host_.Request("Answer",
                      [&](DRV_REQUESTID id) { return module_.TSPI_lineAnswer(id, unknown, "abc", 3); }),
        host_.Request("Hold", [&](DRV_REQUESTID id) { return module_.TSPI_lineHold(id, unknown); }),
        host_.Request("Unhold", [&](DRV_REQUESTID id) { return module_.TSPI_lineUnhold(id, unknown); }),
        host_.Request("SwapHold",
                      [&](DRV_REQUESTID id) { return module_.TSPI_lineSwapHold(id, unknown, unknown); }),
        host_.Request("BlindTransfer",
                      [&](DRV_REQUESTID id) { return module_.TSPI_lineBlindTransfer(id, unknown, L"1", 0); }),
        host_.Request("Redirect",
                      [&](DRV_REQUESTID id) { return module_.TSPI_lineRedirect(id, unknown, L"1", 0); }),
        host_.Request("CompleteTransfer",
                      [&](DRV_REQUESTID id) {
                          return module_.TSPI_lineCompleteTransfer(id, unknown, unknown, nullptr, nullptr,
                                                                   LINETRANSFERMODE_TRANSFER);
                      }),
        host_.Request("Drop",
                      [&](DRV_REQUESTID id) { return module_.TSPI_lineDrop(id, unknown, nullptr, 0); }),
    };
    for (const host::request_result& result : results) {
        EXPECT_TRUE(result.Accepted());
        EXPECT_EQ(host_.WaitForCompletion(result.request_id, kSoon), 0);
    }
    EXPECT_THAT(RequestsSince(since), IsEmpty());
    EXPECT_EQ(module_.TSPI_lineCloseCall(unknown), 0);
    EXPECT_EQ(log_.Count("CallManager", "CloseCall: LineCloseCall (driverCallHandle: 0x00001267)"), 1u);
}

TEST_F(requests_on_calls, digits_are_sent_for_a_connected_call) {
    HTAPICALL const call = ConnectedCall();
    log_.Skip();
    const std::uint64_t mark = host_.Mark();
    const std::size_t since = service_.ReceivedCount();
    EXPECT_EQ(host_.GenerateDigits(call, L"12*#"), 0);
    EXPECT_THAT(host_.History().Since(mark), IsEmpty()) << "there is nothing to complete";
    EXPECT_THAT(
        log_.Texts("CallManager"),
        ElementsAre("GenerateDigits: LineGenerateDigits (driverCallHandle: 0x00000001, digits: 12*#)"));
    EXPECT_THAT(RequestsSince(since),
                ElementsAre("<msg><request><playDtmf permanentLineId='1001' clientCallId='in-1' "
                            "digits='12*#'/></request></msg>"));
}

TEST_F(requests_on_calls, digits_pay_no_attention_to_mode_duration_and_end_to_end_id) {
    HTAPICALL const call = ConnectedCall();
    for (const DWORD mode : {DWORD{LINEDIGITMODE_PULSE}, DWORD{LINEDIGITMODE_DTMF}, DWORD{0}, ~DWORD{0}}) {
        EXPECT_EQ(module_.TSPI_lineGenerateDigits(host_.Driver(call), 4711, mode, L"1", 10000), 0);
    }
}

TEST_F(requests_on_calls, digits_fail_for_an_unknown_call_and_for_one_that_is_not_connected) {
    EXPECT_EQ(module_.TSPI_lineGenerateDigits(AsHandle<HDRVCALL>(4711), 0, LINEDIGITMODE_DTMF, L"1", 0),
              kOperationFailed);
    HTAPICALL const call = AcceptedCall();
    const std::size_t since = service_.ReceivedCount();
    EXPECT_EQ(host_.GenerateDigits(call, L"1"), kOperationFailed);
    EXPECT_TRUE(log_.Has("Line", "Call cannot dial digits due to current call/line state."));
    EXPECT_THAT(RequestsSince(since), IsEmpty());
}

}  // namespace
}  // namespace brivelnox::test
