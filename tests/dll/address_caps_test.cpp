// LINEADDRESSCAPS, byte by byte.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>

#include "tests/dll/byte_pattern_helper.h"
#include "tests/dll/provider_fixture_helper.h"

namespace brivelnox::test {
namespace {

using testing::IsEmpty;

constexpr std::size_t kSize = 228;

patterned_structure Expected(std::size_t size, DWORD device) {
    patterned_structure caps(size);
    caps.Set(4, 228).Set(8, 228);
    caps.Set(12, device);
    caps.Set(32, LINEADDRESSSHARING_PRIVATE);
    caps.Set(40, LINECALLINFOSTATE_MEDIAMODE);
    caps.Set(44, 0x68).Set(48, 0x68);  // caller and called; nothing about the connected party at 52
    caps.Set(56, 0x68).Set(60, 0x68);  // redirection and redirecting
    caps.Set(64, 0x7F67);              // call states
    caps.Set(68, LINEDIALTONEMODE_UNAVAIL);
    caps.Set(72, LINEBUSYMODE_UNAVAIL);
    caps.Set(76, LINESPECIALINFO_UNAVAIL);
    caps.Set(80, 0x68DED);  // disconnect modes
    caps.Set(84, 10);       // active calls
    caps.Set(104, LINEADDRCAPFLAGS_DIALED);
    caps.Set(108, 0x0E000AC4);  // call features
    caps.Set(120, LINETRANSFERMODE_TRANSFER);
    caps.Set(176, LINEADDRFEATURE_MAKECALL);
    return caps;
}

class address_caps : public hosted_provider {
  protected:
    void SetUp() override {
        AddPhone(1001, "Desk 1001");
        StartAll();
        log_.Skip();
    }

    LONG Get(patterned_structure& caps, DWORD address = 0, DWORD version = kVersion, DWORD device = 1) {
        return module_.TSPI_lineGetAddressCaps(device, address, version, 0, caps.As<LINEADDRESSCAPS>());
    }
};

TEST_F(address_caps, are_these_bytes_and_no_others) {
    for (const std::size_t size : {kSize, kSize + 1, std::size_t{400}}) {
        patterned_structure caps(size);
        ASSERT_EQ(Get(caps), 0) << size;
        EXPECT_TRUE(SameBytes(Expected(size, 1), caps)) << size;
    }
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(address_caps, name_these_states_modes_and_features) {
    patterned_structure caps(kSize);
    ASSERT_EQ(Get(caps), 0);
    EXPECT_EQ(caps.At(44),
              DWORD{LINECALLPARTYID_ADDRESS | LINECALLPARTYID_UNKNOWN | LINECALLPARTYID_UNAVAIL});
    EXPECT_EQ(caps.At(64), DWORD{LINECALLSTATE_IDLE | LINECALLSTATE_OFFERING | LINECALLSTATE_ACCEPTED |
                                 LINECALLSTATE_RINGBACK | LINECALLSTATE_BUSY | LINECALLSTATE_CONNECTED |
                                 LINECALLSTATE_PROCEEDING | LINECALLSTATE_ONHOLD | LINECALLSTATE_CONFERENCED |
                                 LINECALLSTATE_ONHOLDPENDCONF | LINECALLSTATE_ONHOLDPENDTRANSFER |
                                 LINECALLSTATE_DISCONNECTED});
    EXPECT_EQ(
        caps.At(80),
        DWORD{LINEDISCONNECTMODE_NORMAL | LINEDISCONNECTMODE_REJECT | LINEDISCONNECTMODE_PICKUP |
              LINEDISCONNECTMODE_BUSY | LINEDISCONNECTMODE_NOANSWER | LINEDISCONNECTMODE_BADADDRESS |
              LINEDISCONNECTMODE_UNREACHABLE | LINEDISCONNECTMODE_INCOMPATIBLE | LINEDISCONNECTMODE_UNAVAIL |
              LINEDISCONNECTMODE_TEMPFAILURE | LINEDISCONNECTMODE_BLOCKED | LINEDISCONNECTMODE_DONOTDISTURB});
    EXPECT_EQ(caps.At(108),
              DWORD{LINECALLFEATURE_ANSWER | LINECALLFEATURE_DIAL | LINECALLFEATURE_DROP |
                    LINECALLFEATURE_GENERATEDIGITS | LINECALLFEATURE_HOLD | LINECALLFEATURE_SETUPTRANSFER |
                    LINECALLFEATURE_SWAPHOLD | LINECALLFEATURE_UNHOLD});
}

TEST_F(address_caps, do_not_look_for_the_line) {
    patterned_structure caps(kSize);
    ASSERT_EQ(Get(caps, 0, kVersion, 0x4711), 0);
    EXPECT_TRUE(SameBytes(Expected(kSize, 0x4711), caps));
}

TEST_F(address_caps, need_all_of_their_room) {
    for (const std::size_t size : {std::size_t{227}, std::size_t{100}, std::size_t{12}}) {
        patterned_structure caps(size);
        EXPECT_EQ(Get(caps), kStructureTooSmall) << size;
        patterned_structure expected(size);
        expected.Set(4, 228);
        EXPECT_TRUE(SameBytes(expected, caps)) << size;
    }
}

TEST_F(address_caps, exist_for_address_0_alone) {
    for (const DWORD address : {1u, 2u, 0xFFFFFFFFu}) {
        patterned_structure caps(kSize);
        EXPECT_EQ(Get(caps, address), kInvalidAddressId);
        EXPECT_TRUE(SameBytes(patterned_structure(kSize), caps));
    }
}

TEST_F(address_caps, check_the_version_first_then_the_address_then_the_room) {
    patterned_structure caps(100);
    EXPECT_EQ(Get(caps, 1, 0x00030000), kIncompatibleVersion);
    EXPECT_EQ(Get(caps, 1), kInvalidAddressId);
    EXPECT_TRUE(SameBytes(patterned_structure(100), caps));
    EXPECT_EQ(Get(caps, 0), kStructureTooSmall);
    EXPECT_EQ(Get(caps, 0, 0x00020005), kStructureTooSmall);
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

}  // namespace
}  // namespace brivelnox::test
