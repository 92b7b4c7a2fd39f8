// What TAPI and the provider agree on before anything else.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include "tests/dll/provider_fixture_helper.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;

constexpr DWORD kPattern = 0xA5A5A5A5;

struct negotiation {
    DWORD low;
    DWORD high;
    bool agreed;
};

constexpr negotiation kNegotiations[] = {
    {0x00020000, 0x00030000, true},  {0x00010003, 0x00030001, true},  {0x00020002, 0x00020002, true},
    {0x00000000, 0xFFFFFFFF, true},  {0x00010003, 0x00020002, true},  {0x00020002, 0x00020003, true},
    {0x00020003, 0x00030000, false}, {0x00020003, 0xFFFFFFFF, false}, {0x00030000, 0x00030001, false},
    {0x00010003, 0x00020001, false}, {0x00020000, 0x00020001, false}, {0x00000000, 0x00000000, false},
    {0x00030000, 0x00020002, false},
};

constexpr DWORD kDevices[] = {0, 1, 4711, static_cast<DWORD>(INITIALIZE_NEGOTIATION)};

class version_negotiation : public loaded_provider {};

TEST_F(version_negotiation, lines_agree_on_2_2_wherever_it_lies_within_the_offer) {
    for (const negotiation& each : kNegotiations) {
        for (const DWORD device : kDevices) {
            DWORD version = kPattern;
            const LONG result = module_.TSPI_lineNegotiateTSPIVersion(device, each.low, each.high, &version);
            EXPECT_EQ(result, each.agreed ? 0 : kIncompatibleVersion)
                << std::hex << each.low << " to " << each.high << " for " << device;
            EXPECT_EQ(version, each.agreed ? DWORD{0x00020002} : kPattern)
                << std::hex << each.low << " to " << each.high;
        }
    }
}

TEST_F(version_negotiation, phones_agree_alike_and_refuse_with_their_own_code) {
    for (const negotiation& each : kNegotiations) {
        for (const DWORD device : kDevices) {
            DWORD version = kPattern;
            const LONG result = module_.TSPI_phoneNegotiateTSPIVersion(device, each.low, each.high, &version);
            EXPECT_EQ(result, each.agreed ? 0 : static_cast<LONG>(PHONEERR_INCOMPATIBLEAPIVERSION))
                << std::hex << each.low << " to " << each.high;
            EXPECT_EQ(version, each.agreed ? DWORD{0x00020002} : kPattern);
        }
    }
}

TEST_F(version_negotiation, is_logged) {
    DWORD version = 0;
    log_.Skip();
    (void)module_.TSPI_lineNegotiateTSPIVersion(0, 0x00020000, 0x00030000, &version);
    EXPECT_THAT(ManagerLog(), ElementsAre("TSPI_lineNegotiateTSPIVersion"));
    log_.Skip();
    (void)module_.TSPI_lineNegotiateTSPIVersion(0, 0x00020003, 0x00030000, &version);
    EXPECT_THAT(ManagerLog(), ElementsAre("TSPI_lineNegotiateTSPIVersion", "Incompatible TAPI version"));
    log_.Skip();
    (void)module_.TSPI_phoneNegotiateTSPIVersion(0, 0x00020000, 0x00030000, &version);
    EXPECT_THAT(ManagerLog(), ElementsAre("TSPI_phoneNegotiateTSPIVersion"));
    log_.Skip();
    (void)module_.TSPI_phoneNegotiateTSPIVersion(0, 0x00010000, 0x00020001, &version);
    EXPECT_THAT(ManagerLog(), ElementsAre("TSPI_phoneNegotiateTSPIVersion", "Incompatible TAPI version"));
}

TEST_F(version_negotiation, of_extensions_succeeds_and_writes_no_version) {
    DWORD version = kPattern;
    log_.Skip();
    EXPECT_EQ(module_.TSPI_lineNegotiateExtVersion(1, kVersion, 0x00010000, 0x00020000, &version), 0);
    EXPECT_EQ(module_.TSPI_lineNegotiateExtVersion(0xFFFFFFFF, 0, 0, 0, nullptr), 0);
    EXPECT_EQ(version, kPattern);
    EXPECT_THAT(ManagerLog(), ElementsAre("TSPI_lineNegotiateExtVersion", "TSPI_lineNegotiateExtVersion"));
}

}  // namespace
}  // namespace brivelnox::test
