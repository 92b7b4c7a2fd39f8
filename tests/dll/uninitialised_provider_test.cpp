// Before initialisation, and after shutdown: what each entry point with a body answers.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <functional>
#include <vector>

#include "tests/dll/raw_provider_helper.h"
#include "tests/support/as_handle.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

void CALLBACK IgnoreEvent(HTAPILINE, HTAPICALL, DWORD, DWORD_PTR, DWORD_PTR, DWORD_PTR) {}

/// Room for any structure and handle that an entry point may want.
union scratch {
    LINEDEVCAPS dev_caps;
    LINEADDRESSCAPS address_caps;
    LINEDEVSTATUS dev_status;
    LINEADDRESSSTATUS address_status;
    LINECALLINFO call_info;
    LINECALLSTATUS call_status;
    VARSTRING var_string;
    HDRVLINE line;
    HDRVCALL call;
    std::byte bytes[1024];
};

struct entry_point {
    const char* name;
    std::function<LONG(const host::provider_module&, scratch&)> call;
};

const HDRVLINE kLine = AsHandle<HDRVLINE>(1);
const HDRVCALL kCall = AsHandle<HDRVCALL>(1);

const std::vector<entry_point>& EntryPoints() {
    using m = const host::provider_module&;
    using s = scratch&;
    static const std::vector<entry_point> kEntryPoints = {
        {"providerCreateLineDevice", [](m p, s) { return p.TSPI_providerCreateLineDevice(8, 12); }},
        {"lineOpen",
         [](m p, s room) { return p.TSPI_lineOpen(1, nullptr, &room.line, kVersion, &IgnoreEvent); }},
        {"lineClose", [](m p, s) { return p.TSPI_lineClose(kLine); }},
        {"lineMakeCall",
         [](m p, s room) { return p.TSPI_lineMakeCall(1, kLine, nullptr, &room.call, L"4711", 0, nullptr); }},
        {"lineDial", [](m p, s) { return p.TSPI_lineDial(1, kCall, L"4711", 0); }},
        {"lineAnswer", [](m p, s) { return p.TSPI_lineAnswer(1, kCall, nullptr, 0); }},
        {"lineHold", [](m p, s) { return p.TSPI_lineHold(1, kCall); }},
        {"lineUnhold", [](m p, s) { return p.TSPI_lineUnhold(1, kCall); }},
        {"lineSwapHold", [](m p, s) { return p.TSPI_lineSwapHold(1, kCall, kCall); }},
        {"lineBlindTransfer", [](m p, s) { return p.TSPI_lineBlindTransfer(1, kCall, L"4711", 0); }},
        {"lineRedirect", [](m p, s) { return p.TSPI_lineRedirect(1, kCall, L"4711", 0); }},
        {"lineSetupTransfer",
         [](m p, s room) { return p.TSPI_lineSetupTransfer(1, kCall, nullptr, &room.call, nullptr); }},
        {"lineCompleteTransfer",
         [](m p, s room) {
             return p.TSPI_lineCompleteTransfer(1, kCall, kCall, nullptr, &room.call,
                                                LINETRANSFERMODE_TRANSFER);
         }},
        {"lineCompleteTransfer to a conference",
         [](m p, s room) {
             return p.TSPI_lineCompleteTransfer(1, kCall, kCall, nullptr, &room.call,
                                                LINETRANSFERMODE_CONFERENCE);
         }},
        {"lineDrop", [](m p, s) { return p.TSPI_lineDrop(1, kCall, nullptr, 0); }},
        {"lineCloseCall", [](m p, s) { return p.TSPI_lineCloseCall(kCall); }},
        {"lineGenerateDigits",
         [](m p, s) { return p.TSPI_lineGenerateDigits(kCall, 0, LINEDIGITMODE_DTMF, L"1", 0); }},
        {"lineSetDefaultMediaDetection",
         [](m p, s) { return p.TSPI_lineSetDefaultMediaDetection(kLine, 4); }},
        {"lineGetDevCaps", [](m p, s room) { return p.TSPI_lineGetDevCaps(1, kVersion, 0, &room.dev_caps); }},
        {"lineGetAddressCaps",
         [](m p, s room) { return p.TSPI_lineGetAddressCaps(1, 0, kVersion, 0, &room.address_caps); }},
        {"lineGetLineDevStatus",
         [](m p, s room) { return p.TSPI_lineGetLineDevStatus(kLine, &room.dev_status); }},
        {"lineGetAddressStatus",
         [](m p, s room) { return p.TSPI_lineGetAddressStatus(kLine, 0, &room.address_status); }},
        {"lineGetID",
         [](m p, s room) {
             return p.TSPI_lineGetID(kLine, 0, kCall, LINECALLSELECT_LINE, &room.var_string, L"tapi/line",
                                     nullptr);
         }},
        {"lineGetCallInfo", [](m p, s room) { return p.TSPI_lineGetCallInfo(kCall, &room.call_info); }},
        {"lineGetCallStatus", [](m p, s room) { return p.TSPI_lineGetCallStatus(kCall, &room.call_status); }},
    };
    return kEntryPoints;
}

class uninitialised_provider : public raw_provider {
  protected:
    void ExpectUninitialised() {
        for (const entry_point& each : EntryPoints()) {
            scratch room = {};
            room.dev_caps.dwTotalSize = sizeof room;
            EXPECT_EQ(each.call(module_, room), kUninitialized) << each.name;
        }
    }
};

TEST_F(uninitialised_provider, answers_every_request_with_uninitialized) {
    ExpectUninitialised();
    EXPECT_EQ(service_.AcceptedCount(), 0u);
}

TEST_F(uninitialised_provider, logs_only_what_comes_before_its_test) {
    log_.Skip();
    ExpectUninitialised();
    EXPECT_THAT(ManagerLog(),
                ElementsAre(testing::StartsWith("TSPI_lineOpen deviceId: 0x00000001, "),
                            "TSPI_lineClose driverLineHandle: 0x00000001",
                            "TSPI_lineMakeCall driverLineHandle: 0x00000001, tapiCallHandle: 0x00000000, "
                            "number: 4711, country code: 0"));
    EXPECT_EQ(log_.Lines().size(), 3u);
}

TEST_F(uninitialised_provider, answers_the_same_after_shutdown) {
    ASSERT_EQ(Enumerate(), 0);
    ASSERT_EQ(Init(5), 0);
    ASSERT_EQ(Shutdown(), 0);
    ExpectUninitialised();
}

TEST_F(uninitialised_provider, tells_the_number_of_addresses_and_no_extensions_all_the_same) {
    DWORD addresses = kPattern;
    EXPECT_EQ(module_.TSPI_lineGetNumAddressIDs(AsHandle<HDRVLINE>(77), &addresses), 0);
    EXPECT_EQ(addresses, 1u);

    LINEEXTENSIONID extension = {kPattern, kPattern, kPattern, kPattern};
    EXPECT_EQ(module_.TSPI_lineGetExtensionID(77, kVersion, &extension), 0);
    EXPECT_EQ(extension.dwExtensionID0, 0u);
    EXPECT_EQ(extension.dwExtensionID1, 0u);
    EXPECT_EQ(extension.dwExtensionID2, 0u);
    EXPECT_EQ(extension.dwExtensionID3, 0u);
    EXPECT_EQ(module_.TSPI_lineGetExtensionID(77, kVersion, nullptr), kNoMemory);
}

TEST_F(uninitialised_provider, checks_the_pointers_of_line_open_before_it_looks_whether_it_is_initialised) {
    log_.Skip();
    EXPECT_EQ(module_.TSPI_lineOpen(1, nullptr, nullptr, kVersion, &IgnoreEvent), kInvalidPointer);
    HDRVLINE handle = nullptr;
    EXPECT_EQ(module_.TSPI_lineOpen(1, nullptr, &handle, kVersion, nullptr), kInvalidPointer);
    // An unsupported version is looked at only after that.
    EXPECT_EQ(module_.TSPI_lineOpen(1, nullptr, &handle, 0x00030000, &IgnoreEvent), kUninitialized);
    EXPECT_EQ(log_.Count(kManagerCategory, "TSPI_lineOpen called with invalid lphdLine: 0x00000000. "), 1u);
    EXPECT_EQ(log_.Count(kManagerCategory, "TSPI_lineOpen called with invalid lpfnEventProc: 0x00000000. "),
              1u);
}

TEST_F(uninitialised_provider, shuts_down_without_having_been_initialised) {
    log_.Skip();
    EXPECT_EQ(Shutdown(), 0);
    EXPECT_THAT(ManagerLog(), ElementsAre("TSPI_providerShutdown"));
}

}  // namespace
}  // namespace brivelnox::test
