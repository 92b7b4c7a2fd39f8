// How an application finds and opens lines, and what it is told about them and their calls.

#include <cstddef>
#include <string>
#include <vector>

#include "tests/tapi32/tapi_application_helper.h"

namespace brivelnox::test {
namespace {

using application_lines = tapi_application;

template <class Structure>
struct with_room {
    std::vector<std::byte> bytes = std::vector<std::byte>(4096);
    Structure* content = reinterpret_cast<Structure*>(bytes.data());
    with_room() { content->dwTotalSize = static_cast<DWORD>(bytes.size()); }
    [[nodiscard]] std::wstring Text(DWORD size, DWORD offset) const {
        const auto* const text = reinterpret_cast<const wchar_t*>(bytes.data() + offset);
        return size == 0 ? std::wstring() : std::wstring(text, size / sizeof(wchar_t) - 1);
    }
};

TEST_F(application_lines, agree_on_the_highest_version_that_both_know) {
    DWORD version = 0;
    LINEEXTENSIONID extension{1, 1, 1, 1};
    EXPECT_EQ(lineNegotiateAPIVersion(app_, 0, 0x00010004, 0x00030001, &version, &extension), 0);
    EXPECT_EQ(version, kVersion);
    EXPECT_EQ(extension.dwExtensionID0, 0U);
    EXPECT_EQ(lineNegotiateAPIVersion(app_, 0, 0x00010004, 0x00020000, &version, &extension), 0);
    EXPECT_EQ(version, 0x00020000U);
    EXPECT_EQ(lineNegotiateAPIVersion(app_, 0, 0x00030000, 0x00030001, &version, &extension),
              kIncompatibleVersion);
    EXPECT_EQ(lineNegotiateAPIVersion(app_, 0, 0x00010000, 0x00010001, &version, &extension),
              kIncompatibleVersion);
    EXPECT_EQ(lineNegotiateAPIVersion(app_, 1, kVersion, kVersion, &version, &extension), kBadDevice);
}

TEST_F(application_lines, are_named_by_the_provider) {
    with_room<LINEDEVCAPS> caps;
    ASSERT_EQ(lineGetDevCapsW(app_, 0, kVersion, 0, caps.content), 0);
    EXPECT_EQ(caps.Text(caps.content->dwLineNameSize, caps.content->dwLineNameOffset), L"Desk 1001");
    EXPECT_EQ(caps.content->dwPermanentLineID, 1001U);
    with_room<LINEADDRESSCAPS> address;
    ASSERT_EQ(lineGetAddressCapsW(app_, 0, 0, kVersion, 0, address.content), 0);
    EXPECT_NE(address.content->dwCallFeatures & LINECALLFEATURE_ANSWER, 0U);
    EXPECT_EQ(lineGetDevCapsW(app_, 1, kVersion, 0, caps.content), kBadDevice);
    EXPECT_EQ(lineGetDevCapsW(app_, 0, 0x00030000, 0, caps.content), kIncompatibleVersion);
    caps.content->dwTotalSize = 100;
    EXPECT_EQ(lineGetDevCapsW(app_, 0, kVersion, 0, caps.content), kTooSmall);
}

TEST_F(application_lines, are_opened_for_what_they_can_do_only) {
    HLINE line = 0;
    const auto open = [&](DWORD device, DWORD version, DWORD privileges, DWORD media_modes) {
        return lineOpenW(app_, device, &line, version, 0, 0, privileges, media_modes, nullptr);
    };
    EXPECT_EQ(open(1, kVersion, LINECALLPRIVILEGE_OWNER, kVoice), kBadDevice);
    EXPECT_EQ(open(0, 0x00030000, LINECALLPRIVILEGE_OWNER, kVoice), kIncompatibleVersion);
    EXPECT_EQ(open(0, kVersion, 0, kVoice), kInvalidPrivilege);
    EXPECT_EQ(open(0, kVersion, LINECALLPRIVILEGE_NONE | LINECALLPRIVILEGE_OWNER, kVoice), kInvalidPrivilege);
    EXPECT_EQ(open(0, kVersion, LINECALLPRIVILEGE_OWNER, 0), kInvalidMediaMode);
    EXPECT_EQ(open(0, kVersion, LINECALLPRIVILEGE_OWNER, LINEMEDIAMODE_G3FAX), kInvalidMediaMode);
    EXPECT_EQ(line, 0U);
    EXPECT_EQ(open(0, kVersion, LINECALLPRIVILEGE_MONITOR, 0), 0);
    EXPECT_NE(line, 0U);
}

TEST_F(application_lines, tell_their_status_and_identifier) {
    const HLINE line = Open();
    (void)ConnectedCall();
    with_room<LINEDEVSTATUS> status;
    ASSERT_EQ(lineGetLineDevStatusW(line, status.content), 0);
    EXPECT_EQ(status.content->dwNumOpens, 1U);
    EXPECT_EQ(status.content->dwOpenMediaModes, kVoice);
    EXPECT_EQ(status.content->dwNumActiveCalls, 1U);
    with_room<LINEADDRESSSTATUS> address;
    ASSERT_EQ(lineGetAddressStatusW(line, 0, address.content), 0);
    EXPECT_EQ(address.content->dwNumActiveCalls, 1U);
    with_room<VARSTRING> id;
    ASSERT_EQ(lineGetIDW(line, 0, 0, LINECALLSELECT_LINE, id.content, L"tapi/line"), 0);
    EXPECT_EQ(id.content->dwStringSize, sizeof(DWORD));
    EXPECT_EQ(lineSetStatusMessages(line, 0, 0), 0);
}

TEST_F(application_lines, tell_about_their_calls) {
    const HLINE line = Open();
    const HCALL call = IncomingCall();
    with_room<LINECALLINFO> information;
    ASSERT_EQ(lineGetCallInfoW(call, information.content), 0);
    EXPECT_EQ(information.content->hLine, line);
    EXPECT_EQ(information.content->dwNumOwners, 1U);
    EXPECT_EQ(information.content->dwNumMonitors, 0U);
    EXPECT_EQ(information.Text(information.content->dwCallerIDSize, information.content->dwCallerIDOffset),
              L"4711");
    LINECALLSTATUS status{};
    status.dwTotalSize = sizeof status;
    ASSERT_EQ(lineGetCallStatus(call, &status), 0);
    EXPECT_EQ(status.dwCallState, DWORD{LINECALLSTATE_ACCEPTED});
    EXPECT_EQ(status.dwCallPrivilege, DWORD{LINECALLPRIVILEGE_OWNER});
    EXPECT_NE(status.dwCallFeatures & LINECALLFEATURE_ANSWER, 0U);
    status.dwTotalSize = sizeof status - 1;
    EXPECT_EQ(lineGetCallStatus(call, &status), kTooSmall);
}

TEST_F(application_lines, pass_requests_on_to_the_softphone) {
    (void)Open();
    const HCALL call = ConnectedCall();
    EXPECT_EQ(lineGenerateDigitsW(call, LINEDIGITMODE_DTMF, L"12#", 0), 0);
    EXPECT_TRUE(service_.WaitForRequest(simulator::request_kind::kPlayDtmf, kSoon));
    ExpectReply(lineBlindTransferW(call, L"203", 0));
    const auto transferred = service_.WaitForRequest(simulator::request_kind::kForwardCall, kSoon);
    ASSERT_TRUE(transferred);
    EXPECT_EQ(transferred->parsed.phone_number, "203");
}

TEST_F(application_lines, pass_requests_for_two_calls_on) {
    (void)Open();
    const HCALL held = ConnectedCall();
    ExpectReply(lineHold(held));
    EXPECT_EQ(NextState().dwParam1, DWORD{LINECALLSTATE_ONHOLD});
    const HCALL active = ConnectedCall();
    ExpectReply(lineSwapHold(active, held));
    EXPECT_TRUE(service_.WaitForRequest(simulator::request_kind::kResumeCall, kSoon));
    EXPECT_EQ(lineSwapHold(active, active + 1), kInvalidCall);
}

TEST_F(application_lines, redirect_a_call_that_rings) {
    (void)Open();
    ExpectReply(lineRedirectW(IncomingCall(), L"204", 0));
    const auto redirected = service_.WaitForRequest(simulator::request_kind::kForwardCall, kSoon);
    ASSERT_TRUE(redirected);
    EXPECT_EQ(redirected->parsed.phone_number, "204");
}

TEST_F(application_lines, refuse_null_pointers) {
    EXPECT_EQ(lineInitializeExW(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              kInvalidPointer);
    EXPECT_EQ(lineGetMessage(app_, nullptr, 0), kInvalidPointer);
    EXPECT_EQ(lineOpenW(app_, 0, nullptr, kVersion, 0, 0, LINECALLPRIVILEGE_NONE, 0, nullptr),
              kInvalidPointer);
    EXPECT_EQ(lineGetDevCapsW(app_, 0, kVersion, 0, nullptr), kInvalidPointer);
    EXPECT_EQ(lineMakeCallW(Open(), nullptr, L"1", 0, nullptr), kInvalidPointer);
    EXPECT_EQ(lineBlindTransferW(IncomingCall(), nullptr, 0), kInvalidPointer);
    EXPECT_EQ(lineAddProviderW(nullptr, nullptr, nullptr), kInvalidPointer);
}

}  // namespace
}  // namespace brivelnox::test
