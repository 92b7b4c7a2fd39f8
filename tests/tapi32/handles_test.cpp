// The handles that an application gets, and what becomes of them.

#include <cstddef>
#include <thread>
#include <vector>

#include "tests/tapi32/tapi_application_helper.h"

namespace brivelnox::test {
namespace {

using application_handles = tapi_application;

/// The results of everything that can be asked about a call.
std::vector<LONG> EverythingAbout(HCALL call) {
    LINECALLINFO information{};
    information.dwTotalSize = sizeof information;
    LINECALLSTATUS status{};
    status.dwTotalSize = sizeof status;
    HCALL other = 0;
    return {lineAnswer(call, nullptr, 0),
            lineDrop(call, nullptr, 0),
            lineHold(call),
            lineUnhold(call),
            lineSwapHold(call, call),
            lineSetupTransferW(call, &other, nullptr),
            lineCompleteTransfer(call, call, nullptr, LINETRANSFERMODE_TRANSFER),
            lineBlindTransferW(call, L"1", 0),
            lineRedirectW(call, L"1", 0),
            lineDialW(call, L"1", 0),
            lineGenerateDigitsW(call, LINEDIGITMODE_DTMF, L"1", 0),
            lineGetCallInfoW(call, &information),
            lineGetCallStatus(call, &status),
            lineDeallocateCall(call)};
}

/// The results of everything that can be asked about a line.
std::vector<LONG> EverythingAboutLine(HLINE line) {
    LINEDEVSTATUS status{};
    status.dwTotalSize = sizeof status;
    LINEADDRESSSTATUS address{};
    address.dwTotalSize = sizeof address;
    VARSTRING id{};
    id.dwTotalSize = sizeof id;
    HCALL call = 0;
    return {lineMakeCallW(line, &call, L"1", 0, nullptr),
            lineGetLineDevStatusW(line, &status),
            lineGetAddressStatusW(line, 0, &address),
            lineGetIDW(line, 0, 0, LINECALLSELECT_LINE, &id, L"tapi/line"),
            lineSetStatusMessages(line, 0, 0),
            lineClose(line)};
}

TEST_F(application_handles, a_call_that_was_let_go_of_is_refused_everywhere) {
    (void)Open();
    const HCALL call = ConnectedCall();
    EXPECT_EQ(lineDeallocateCall(call), 0);
    EXPECT_THAT(EverythingAbout(call), testing::Each(kInvalidCall));
}

TEST_F(application_handles, a_line_that_was_closed_is_refused_everywhere) {
    const HLINE line = Open();
    EXPECT_EQ(lineClose(line), 0);
    EXPECT_THAT(EverythingAboutLine(line), testing::Each(kInvalidLine));
}

TEST_F(application_handles, one_kind_is_not_taken_for_another) {
    const HLINE line = Open();
    const HCALL call = IncomingCall();
    EXPECT_THAT(EverythingAbout(line), testing::Each(kInvalidCall));
    EXPECT_THAT(EverythingAboutLine(call), testing::Each(kInvalidLine));
    EXPECT_EQ(lineShutdown(line), kInvalidApp);
}

TEST_F(application_handles, the_calls_of_a_line_end_with_it_and_are_dropped) {
    const HLINE line = Open();
    const HCALL call = ConnectedCall();
    EXPECT_EQ(lineClose(line), 0);
    EXPECT_THAT(EverythingAbout(call), testing::Each(kInvalidCall));
    EXPECT_TRUE(service_.WaitForRequest(simulator::request_kind::kHangupCall, kSoon));
}

TEST_F(application_handles, a_line_stays_open_for_the_others_that_have_it_open) {
    const HLINE first = Open();
    const HLINE second = Open();
    EXPECT_NE(first, second);
    LINEDEVSTATUS status{};
    status.dwTotalSize = sizeof status;
    EXPECT_EQ(lineGetLineDevStatusW(second, &status), 0);
    EXPECT_EQ(status.dwNumOpens, 2U);
    EXPECT_EQ(lineClose(first), 0);
    (void)IncomingCall();
}

TEST_F(application_handles, are_never_given_out_twice) {
    const HLINE line = Open();
    EXPECT_EQ(lineClose(line), 0);
    EXPECT_NE(Open(), line);
}

TEST_F(application_handles, an_application_that_has_left_is_refused_everywhere) {
    HLINEAPP other = 0;
    DWORD devices = 0;
    ASSERT_EQ(InitializeByEvent(other, devices), 0);
    EXPECT_NE(other, app_);
    EXPECT_EQ(lineShutdown(other), 0);
    HLINE line = 0;
    LINEMESSAGE message{};
    LINEEXTENSIONID extension{};
    DWORD version = 0;
    LINEDEVCAPS caps{};
    caps.dwTotalSize = sizeof caps;
    EXPECT_EQ(lineShutdown(other), kInvalidApp);
    EXPECT_EQ(lineGetMessage(other, &message, 0), kInvalidApp);
    EXPECT_EQ(lineNegotiateAPIVersion(other, 0, kVersion, kVersion, &version, &extension), kInvalidApp);
    EXPECT_EQ(lineGetDevCapsW(other, 0, kVersion, 0, &caps), kInvalidApp);
    EXPECT_EQ(lineOpenW(other, 0, &line, kVersion, 0, 0, LINECALLPRIVILEGE_NONE, kVoice, nullptr),
              kInvalidApp);
}

TEST_F(application_handles, whoever_waits_for_a_message_is_woken_when_the_application_leaves) {
    HLINEAPP other = 0;
    DWORD devices = 0;
    ASSERT_EQ(InitializeByEvent(other, devices), 0);
    LONG result = 0;
    std::thread waiting([&] {
        LINEMESSAGE message{};
        result = lineGetMessage(other, &message, INFINITE);
    });
    EXPECT_EQ(lineShutdown(other), 0);
    waiting.join();
    EXPECT_EQ(result, kInvalidApp);
}

}  // namespace
}  // namespace brivelnox::test
