// Lines are opened and closed.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstdint>
#include <string>

#include "platform/version_numbers.h"
#include "tests/dll/raw_provider_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uintptr_t kTapiLine = 0xAAAA0001;

class line_open_close : public raw_provider {
  protected:
    void SetUp() override {
        raw_provider::SetUp();
        ASSERT_EQ(Enumerate(), 0);
        ASSERT_EQ(Init(5), 0);
        log_.Skip();
    }

    LONG Open(DWORD device_id, std::uintptr_t tapi_line = kTapiLine, DWORD version = kVersion) {
        return module_.TSPI_lineOpen(device_id, AsHandle<HTAPILINE>(tapi_line), &handle_, version,
                                     tapi_.Procedure());
    }

    HDRVLINE handle_ = AsHandle<HDRVLINE>(kPattern);
};

TEST_F(line_open_close, opening_gives_the_drivers_handle_and_is_logged) {
    // The third value is the address for the handle, whatever its label says.
    const std::string expected = Text(
        "TSPI_lineOpen deviceId: 0x00000006, tapiLineHandle: 0xAAAA0001, eventProc: 0x%08X, eventProc: "
        "0x%08X",
        Low(&handle_), Low(reinterpret_cast<void*>(tapi_.Procedure())));
    ASSERT_EQ(Open(6), 0);
    EXPECT_EQ(handle_, AsHandle<HDRVLINE>(2));
    EXPECT_THAT(ManagerLog(), ElementsAre(expected));
    EXPECT_THAT(log_.Texts("LineManager"),
                ElementsAre(Text("Open line with deviceId 0x00000006 and assign tapiLineHandle: 0xAAAA0001. "
                                 "Event procedure address: 0x%08X. Return driverLineHandle: 0x00000002. Desk "
                                 "1002",
                                 Low(reinterpret_cast<void*>(tapi_.Procedure())))));
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("LineOpen Desk 1002, tapiLineHandle: 0xAAAA0001, deviceId: "
                            "0x00000006, driverLineHandle: 0x00000002, v" BRIVELNOX_VERSION));
}

TEST_F(line_open_close, opening_needs_an_address_for_the_handle) {
    EXPECT_EQ(module_.TSPI_lineOpen(5, AsHandle<HTAPILINE>(kTapiLine), nullptr, kVersion, tapi_.Procedure()),
              kInvalidPointer);
    EXPECT_THAT(log_.Texts(),
                ElementsAre(Text("TSPI_lineOpen deviceId: 0x00000005, tapiLineHandle: 0xAAAA0001, eventProc: "
                                 "0x00000000, eventProc: 0x%08X",
                                 Low(reinterpret_cast<void*>(tapi_.Procedure()))),
                            "TSPI_lineOpen called with invalid lphdLine: 0x00000000. "));
}

TEST_F(line_open_close, opening_needs_an_event_procedure) {
    EXPECT_EQ(module_.TSPI_lineOpen(5, AsHandle<HTAPILINE>(kTapiLine), &handle_, kVersion, nullptr),
              kInvalidPointer);
    EXPECT_THAT(log_.Texts(),
                ElementsAre(Text("TSPI_lineOpen deviceId: 0x00000005, tapiLineHandle: 0xAAAA0001, eventProc: "
                                 "0x%08X, eventProc: 0x00000000",
                                 Low(&handle_)),
                            "TSPI_lineOpen called with invalid lpfnEventProc: 0x00000000. "));
    EXPECT_EQ(handle_, AsHandle<HDRVLINE>(kPattern));
}

TEST_F(line_open_close, a_missing_address_is_found_before_a_missing_procedure_and_a_wrong_version) {
    EXPECT_EQ(module_.TSPI_lineOpen(5, nullptr, nullptr, 0x00030000, nullptr), kInvalidPointer);
    EXPECT_EQ(log_.Count(kManagerCategory, "TSPI_lineOpen called with invalid lphdLine: 0x00000000. "), 1u);
    EXPECT_EQ(log_.CountStarting(kManagerCategory, "TSPI_lineOpen called with invalid lpfnEventProc"), 0u);
}

TEST_F(line_open_close, opening_accepts_any_low_word_of_version_2_and_no_other_version) {
    EXPECT_EQ(Open(5, kTapiLine, 0x00020000), 0);
    EXPECT_EQ(Open(5, kTapiLine, 0x00020005), 0);
    handle_ = AsHandle<HDRVLINE>(kPattern);
    for (const DWORD version : {0x00030000u, 0x00010004u, 0x00000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(Open(5, kTapiLine, version), kIncompatibleVersion) << std::hex << version;
    }
    EXPECT_EQ(handle_, AsHandle<HDRVLINE>(kPattern));
}

TEST_F(line_open_close, opening_an_unknown_device_succeeds_and_leaves_the_handle_as_it_was) {
    for (const DWORD device_id : {0u, 4u, 8u, 0xFFFFFFFFu}) {
        EXPECT_EQ(Open(device_id), 0);
        EXPECT_EQ(handle_, AsHandle<HDRVLINE>(kPattern));
    }
    EXPECT_THAT(log_.Texts("Line"), IsEmpty());
}

TEST_F(line_open_close, an_open_line_may_be_opened_again_and_takes_the_new_handle) {
    ASSERT_EQ(Open(5, kTapiLine), 0);
    ASSERT_EQ(Open(5, 0xAAAA0002), 0);
    Play(1001, "in-1", "Ringing");
    ASSERT_TRUE(tapi_.WaitForCount(3, kSoon));
    for (const tapi_event& event : tapi_.Events()) {
        EXPECT_EQ(event.line, 0xAAAA0002u);
    }
}

TEST_F(line_open_close, closing_is_logged) {
    ASSERT_EQ(Open(5), 0);
    log_.Skip();
    EXPECT_EQ(module_.TSPI_lineClose(handle_), 0);
    EXPECT_THAT(ManagerLog(), ElementsAre("TSPI_lineClose driverLineHandle: 0x00000001"));
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("LineClose Desk 1001, tapiLineHandle: 0xAAAA0001, deviceId: 0x00000005",
                            "Reset calls Desk 1001, tapiLineHandle: 0xAAAA0001, deviceId: 0x00000005"));
}

TEST_F(line_open_close, closing_an_unknown_line_is_no_error) {
    EXPECT_EQ(module_.TSPI_lineClose(AsHandle<HDRVLINE>(0x1234)), 0);
    EXPECT_EQ(module_.TSPI_lineClose(nullptr), 0);
    EXPECT_THAT(log_.Texts(), ElementsAre("TSPI_lineClose driverLineHandle: 0x00001234",
                                          "TSPI_lineClose driverLineHandle: 0x00000000"));
}

TEST_F(line_open_close, closing_ends_the_calls_towards_tapi_before_it_returns) {
    ASSERT_EQ(Open(5), 0);
    Play(1001, "in-1", "Connected");
    // LINE_NEWCALL, OFFERING, LINE_CALLINFO or not, ACCEPTED, CONNECTED.
    ASSERT_TRUE(tapi_.WaitForCount(4, kSoon));
    const std::uintptr_t call = tapi_recorder::kFirstCallHandle;
    ASSERT_EQ(Last(tapi_.Events()), CallState(kTapiLine, call, LINECALLSTATE_CONNECTED));
    tapi_.Clear();
    EXPECT_EQ(module_.TSPI_lineClose(handle_), 0);
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(kTapiLine, call, LINECALLSTATE_DISCONNECTED,
                                                      LINEDISCONNECTMODE_CANCELLED),
                                            CallState(kTapiLine, call, LINECALLSTATE_IDLE)));
}

TEST_F(line_open_close, a_closed_line_tells_nothing_and_its_calls_get_no_handle) {
    ASSERT_EQ(Open(5), 0);
    ASSERT_EQ(module_.TSPI_lineClose(handle_), 0);
    Play(1001, "in-1", "Ringing");
    ASSERT_TRUE(log_.WaitFor(
        "Line", "Skip sending event to TAPI. Desk 1001, tapiLineHandle: 0xAAAA0001, line not open", kSoon,
        3));
    EXPECT_EQ(log_.Count("CallManager", "GetNewTapiCallHandle: Line not open"), 1u);
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

TEST_F(line_open_close, default_media_detection_is_accepted_for_anything) {
    EXPECT_EQ(
        module_.TSPI_lineSetDefaultMediaDetection(AsHandle<HDRVLINE>(1), LINEMEDIAMODE_INTERACTIVEVOICE), 0);
    EXPECT_EQ(module_.TSPI_lineSetDefaultMediaDetection(AsHandle<HDRVLINE>(99), 0xFFFFFFFF), 0);
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

}  // namespace
}  // namespace brivelnox::test
