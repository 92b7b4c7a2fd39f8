// LINEDEVCAPS, byte by byte.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/dll/byte_pattern_helper.h"
#include "tests/dll/provider_fixture_helper.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kFixedSize = 268;
constexpr wchar_t kProviderInfo[] = L"VELORIAN Telephony Service Provider";
static_assert(sizeof kProviderInfo == 72);

/// What the provider writes whatever the size of the buffer.
void SetFixedPart(patterned_structure& caps, DWORD permanent_line_id) {
    caps.Set(20, 0).Set(24, 0);       // switch information
    caps.Set(28, permanent_line_id);  // permanent line id
    caps.Set(40, STRINGFORMAT_UNICODE);
    caps.Set(44, LINEADDRESSMODE_ADDRESSID);
    caps.Set(48, 1);  // addresses
    caps.Set(52, LINEBEARERMODE_VOICE | LINEBEARERMODE_SPEECH);
    caps.Set(60, LINEMEDIAMODE_INTERACTIVEVOICE);
    caps.Set(72, LINEDIGITMODE_DTMF);
    caps.Set(80, 0);                                      // tones to be monitored
    caps.Set(96, 0).Set(100, 0).Set(104, 0).Set(108, 0);  // media control lists
    caps.Set(112, 0);                                     // capability flags
    caps.Set(116, 10);                                    // active calls
    caps.Set(120, LINEANSWERMODE_HOLD);
    caps.Set(124, 1);                                                              // ring modes
    caps.Set(132, 0).Set(136, 0).Set(140, 0).Set(144, 0).Set(148, 0).Set(152, 0);  // user-user information
    for (const std::size_t parameters : {156, 172, 188}) {  // smallest, largest and default dial parameters
        caps.Set(parameters, 100).Set(parameters + 4, 50);
        caps.Set(parameters + 8, 100).Set(parameters + 12, 100);
    }
    for (std::size_t terminals = 204; terminals <= 232; terminals += 4) {  // and device-specific data
        caps.Set(terminals, 0);
    }
    caps.Set(236, LINEFEATURE_MAKECALL);
    caps.Set(240, 0);              // settable device status
    caps.Set(244, 0).Set(248, 0);  // device classes
}

/// What a buffer of this size must look like afterwards when everything fits.
patterned_structure WithStrings(std::size_t size, DWORD permanent_line_id, const std::wstring& name) {
    patterned_structure caps(size);
    const auto name_size = static_cast<DWORD>(2 * name.size() + 2);
    const DWORD needed = 340 + name_size;
    caps.Set(4, needed).Set(8, needed);
    caps.Set(12, 72).Set(16, 268).SetText(268, kProviderInfo);
    caps.Set(32, name_size).Set(36, 340).SetText(340, name);
    SetFixedPart(caps, permanent_line_id);
    return caps;
}

class device_caps : public hosted_provider {
  protected:
    static constexpr std::int32_t kPhone = 1001;
    static constexpr DWORD kDevice = 1;

    void SetUp() override {
        AddPhone(kPhone, "Desk 1001 of Ann");
        AddPhone(-5, "Desk \xE4");
        AddPhone(1003, "");
        StartAll();
        log_.Skip();
    }

    LONG Get(patterned_structure& caps, DWORD device = kDevice, DWORD version = kVersion) {
        return module_.TSPI_lineGetDevCaps(device, version, 0, caps.As<LINEDEVCAPS>());
    }
};

TEST_F(device_caps, of_a_name_of_16_characters_are_these_bytes_and_no_others) {
    patterned_structure caps(500);
    ASSERT_EQ(Get(caps), 0);
    EXPECT_TRUE(SameBytes(WithStrings(500, 1001, L"Desk 1001 of Ann"), caps));
    EXPECT_EQ(caps.At(4), 374u) << "needed";
    EXPECT_EQ(caps.At(36), 340u) << "offset of the name";
    EXPECT_EQ(caps.At(32), 34u) << "size of the name";
    EXPECT_THAT(ManagerLog(), ElementsAre("dwDeviceID: 0x00000001",
                                          "Returned line and provider name: Desk 1001 of Ann, VELORIAN "
                                          "Telephony Service Provider"));
}

TEST_F(device_caps, fit_exactly_into_what_they_need) {
    patterned_structure caps(374);
    ASSERT_EQ(Get(caps), 0);
    EXPECT_TRUE(SameBytes(WithStrings(374, 1001, L"Desk 1001 of Ann"), caps));
}

TEST_F(device_caps, carry_the_line_identifier_as_32_bits_and_the_name_from_the_ansi_code_page) {
    patterned_structure caps(400);
    ASSERT_EQ(Get(caps, kDevice + 1), 0);
    EXPECT_TRUE(SameBytes(WithStrings(400, 0xFFFFFFFB, L"Desk \u00e4"), caps));
}

TEST_F(device_caps, of_a_nameless_softphone_carry_the_makeshift_name) {
    patterned_structure caps(400);
    ASSERT_EQ(Get(caps, kDevice + 2), 0);
    EXPECT_TRUE(SameBytes(WithStrings(400, 1003, L"Brivelnox Line"), caps));
}

TEST_F(device_caps, leave_the_strings_out_where_they_do_not_fit) {
    for (const std::size_t size : {std::size_t{373}, std::size_t{300}, kFixedSize}) {
        log_.Skip();
        patterned_structure caps(size);
        ASSERT_EQ(Get(caps), 0) << size;
        patterned_structure expected(size);
        expected.Set(4, 374).Set(8, 268);
        SetFixedPart(expected, 1001);
        EXPECT_TRUE(SameBytes(expected, caps)) << size;
        EXPECT_THAT(ManagerLog(),
                    ElementsAre("dwDeviceID: 0x00000001",
                                Text("Buffer too small. Used size: 0x0000010C, required size: 0x00000176, "
                                     "total size: 0x%08X",
                                     static_cast<unsigned>(size))));
    }
}

TEST_F(device_caps, do_not_write_behind_a_buffer_that_is_smaller_than_their_fixed_part) {
    // TAPI never does this. There is no success to tell where the fixed part has no room.
    for (const std::size_t size : {std::size_t{267}, std::size_t{240}, std::size_t{12}}) {
        patterned_structure caps(size);
        EXPECT_EQ(Get(caps), kStructureTooSmall) << size;
        patterned_structure expected(size);
        expected.Set(4, 374);
        EXPECT_TRUE(SameBytes(expected, caps)) << size;
    }
}

TEST_F(device_caps, are_the_same_for_every_version_2) {
    for (const DWORD version : {0x00020000u, 0x00020001u, 0x00020005u, 0x0002FFFFu}) {
        patterned_structure caps(500);
        ASSERT_EQ(Get(caps, kDevice, version), 0) << std::hex << version;
        EXPECT_TRUE(SameBytes(WithStrings(500, 1001, L"Desk 1001 of Ann"), caps));
    }
}

TEST_F(device_caps, refuse_other_versions_before_they_look_for_the_line) {
    for (const DWORD device : {kDevice, DWORD{4711}}) {
        log_.Skip();
        patterned_structure caps(500);
        EXPECT_EQ(Get(caps, device, 0x00030000), kIncompatibleVersion);
        EXPECT_TRUE(SameBytes(patterned_structure(500), caps));
        EXPECT_THAT(ManagerLog(), ElementsAre(Text("dwDeviceID: 0x%08X", static_cast<unsigned>(device)),
                                              "Incompatible TAPI version: 0x00030000"));
    }
}

TEST_F(device_caps, of_an_unknown_device_fail_without_a_further_log_line) {
    patterned_structure caps(500);
    EXPECT_EQ(Get(caps, 4711), kOperationFailed);
    EXPECT_TRUE(SameBytes(patterned_structure(500), caps));
    EXPECT_THAT(log_.Texts(), ElementsAre("dwDeviceID: 0x00001267"));
}

}  // namespace
}  // namespace brivelnox::test
