// Enumerating, initialising and shutting down, step by step.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include "platform/version_numbers.h"
#include "tests/dll/raw_provider_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kHyphens[] = "--------------------------------";
static_assert(sizeof kHyphens == 32 + 1);

class provider_start_stop : public raw_provider {};

TEST_F(provider_start_stop, enumeration_needs_a_line_create_procedure) {
    log_.Skip();
    EXPECT_EQ(module_.TSPI_providerEnumDevices(7, &lines_, &phones_, AsHandle<HPROVIDER>(kProviderHandle),
                                               nullptr, nullptr),
              kInvalidPointer);
    EXPECT_THAT(ManagerLog(), ElementsAre("TSPI_providerEnumDevices",
                                          "lpfnLineCreateProc is null, return LINEERR_INVALPOINTER"));
    EXPECT_EQ(lines_, kPattern);
    EXPECT_EQ(phones_, kPattern);
    EXPECT_FALSE(IsInitialised());
    EXPECT_EQ(service_.AcceptedCount(), 0u);
}

TEST_F(provider_start_stop, enumeration_tells_the_number_of_lines_and_no_phones) {
    ASSERT_EQ(Enumerate(), 0);
    EXPECT_EQ(lines_, 3u);
    EXPECT_EQ(phones_, 0u);
    EXPECT_TRUE(IsInitialised());
    EXPECT_EQ(options_, kPattern);
}

TEST_F(provider_start_stop, enumeration_begins_with_the_banner) {
    log_.Skip();
    ASSERT_EQ(Enumerate(), 0);
    EXPECT_THAT(ManagerLog(), ElementsAre("TSPI_providerEnumDevices", "InitAppDomain and logging", kHyphens,
                                          "Brivelnox TSP: Initialize v" BRIVELNOX_VERSION, kHyphens));
}

TEST_F(provider_start_stop, a_second_enumeration_uses_what_is_there) {
    ASSERT_EQ(Enumerate(), 0);
    log_.Skip();
    lines_ = phones_ = kPattern;
    ASSERT_EQ(Enumerate(), 0);
    EXPECT_EQ(lines_, 3u);
    EXPECT_EQ(phones_, 0u);
    EXPECT_THAT(ManagerLog(), ElementsAre("TSPI_providerEnumDevices", "InitAppDomain and logging"));
    EXPECT_EQ(service_.AcceptedCount(), 1u);
}

TEST_F(provider_start_stop, initialisation_logs_the_number_of_lines) {
    ASSERT_EQ(Enumerate(), 0);
    log_.Skip();
    ASSERT_EQ(Init(5), 0);
    EXPECT_THAT(ManagerLog(), ElementsAre("TSPI_providerInit", "Initial line count: 3"));
    EXPECT_EQ(options_, kPattern) << "the options are not the provider's to write";
}

TEST_F(provider_start_stop, initialisation_accepts_any_low_word_of_version_2) {
    for (const DWORD version : {0x00020000u, 0x00020001u, 0x00020002u, 0x00020005u, 0x0002FFFFu}) {
        EXPECT_EQ(Init(5, version), 0) << std::hex << version;
        EXPECT_EQ(Shutdown(version), 0) << std::hex << version;
        EXPECT_FALSE(IsInitialised());
    }
}

TEST_F(provider_start_stop, initialisation_refuses_other_versions_and_creates_nothing) {
    for (const DWORD version : {0x00030000u, 0x00010004u, 0x00000002u, 0x00000000u, 0xFFFFFFFFu}) {
        log_.Skip();
        EXPECT_EQ(Init(5, version), kIncompatibleVersion) << std::hex << version;
        EXPECT_THAT(log_.Texts(), ElementsAre("TSPI_providerInit"));
        EXPECT_FALSE(IsInitialised());
    }
    EXPECT_EQ(service_.AcceptedCount(), 0u);
}

TEST_F(provider_start_stop, initialisation_without_enumeration_makes_the_lines_with_tapis_base_at_once) {
    log_.Skip();
    ASSERT_EQ(Init(5), 0);
    EXPECT_THAT(ManagerLog(),
                ElementsAre("TSPI_providerInit", kHyphens, "Brivelnox TSP: Initialize v" BRIVELNOX_VERSION,
                            kHyphens, "Initial line count: 3"));
    EXPECT_EQ(PermanentIdOf(5), 1001u);
    EXPECT_EQ(PermanentIdOf(6), 1002u);
    EXPECT_EQ(PermanentIdOf(7), 1003u);
    EXPECT_EQ(log_.CountStarting("Line", "Initialize deviceId of "), 0u) << "they never were without one";
}

TEST_F(provider_start_stop, a_new_line_cannot_be_announced_when_enumeration_was_skipped) {
    ASSERT_EQ(Init(5), 0);
    log_.Skip();
    simulator::registration late;
    late.permanent_line_id = 1004;
    late.tapi_line_name = "Desk 1004";
    service_.AddSoftphone(late);
    EXPECT_TRUE(log_.WaitFor("LineManager", "Cannot fire LINE_CREATE, event proc is null", kSoon));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(PermanentIdOf(8), 1004u);
}

TEST_F(provider_start_stop, the_line_create_procedure_of_an_earlier_life_is_kept) {
    ASSERT_EQ(Enumerate(), 0);
    ASSERT_EQ(Shutdown(), 0);
    ASSERT_EQ(Init(5), 0);
    simulator::registration late;
    late.permanent_line_id = 1004;
    service_.AddSoftphone(late);
    ASSERT_TRUE(tapi_.WaitForCount(1, kSoon));
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(kProviderHandle, 8)));
}

TEST_F(provider_start_stop, a_second_initialisation_with_the_same_base_numbers_nothing) {
    ASSERT_EQ(Enumerate(), 0);
    ASSERT_EQ(Init(5), 0);
    simulator::registration late;
    late.permanent_line_id = 1004;
    service_.AddSoftphone(late);
    ASSERT_TRUE(tapi_.WaitForCount(1, kSoon));
    ASSERT_EQ(Init(5), 0);
    // Numbering would have begun anew, and the next line would get a number that is taken.
    late.permanent_line_id = 1005;
    service_.AddSoftphone(late);
    ASSERT_TRUE(tapi_.WaitForCount(2, kSoon));
    EXPECT_EQ(Last(tapi_.Events()), LineCreate(kProviderHandle, 9));
}

TEST_F(provider_start_stop, a_second_initialisation_with_another_base_leaves_the_lines_their_identifiers) {
    ASSERT_EQ(Enumerate(), 0);
    ASSERT_EQ(Init(5), 0);
    log_.Skip();
    ASSERT_EQ(Init(50), 0);
    EXPECT_EQ(log_.CountStarting("Line", "Initialize deviceId of "), 0u);
    EXPECT_EQ(DeviceIdOf(1), 5u);
    EXPECT_EQ(DeviceIdOf(2), 6u);
    EXPECT_EQ(DeviceIdOf(3), 7u);
    // The numbers count all the same.
    simulator::registration late;
    late.permanent_line_id = 1004;
    service_.AddSoftphone(late);
    ASSERT_TRUE(tapi_.WaitForCount(1, kSoon));
    EXPECT_EQ(Last(tapi_.Events()), LineCreate(kProviderHandle, 53));
}

TEST_F(provider_start_stop, shutdown_logs_the_clean_up_twice) {
    ASSERT_EQ(Enumerate(), 0);
    ASSERT_EQ(Init(5), 0);
    log_.Skip();
    EXPECT_EQ(Shutdown(), 0);
    EXPECT_THAT(ManagerLog(),
                ElementsAre("TSPI_providerShutdown", "Brivelnox TSP: CleanUp", "Brivelnox TSP: CleanUp"));
    EXPECT_FALSE(IsInitialised());
    EXPECT_TRUE(service_.WaitForNoConnection(kSoon));
}

TEST_F(provider_start_stop, shutdown_with_a_wrong_version_changes_nothing) {
    ASSERT_EQ(Enumerate(), 0);
    log_.Skip();
    EXPECT_EQ(Shutdown(0x00030000), kIncompatibleVersion);
    EXPECT_THAT(log_.Texts(), ElementsAre("TSPI_providerShutdown"));
    EXPECT_TRUE(IsInitialised());
}

TEST_F(provider_start_stop, shutdown_without_initialisation_tests_the_version_all_the_same) {
    EXPECT_EQ(Shutdown(0x00030000), kIncompatibleVersion);
    EXPECT_EQ(Shutdown(), 0);
}

TEST_F(provider_start_stop, everything_starts_afresh_after_shutdown) {
    ASSERT_EQ(Enumerate(), 0);
    ASSERT_EQ(Init(5), 0);
    ASSERT_EQ(Shutdown(), 0);
    log_.Skip();
    lines_ = kPattern;
    ASSERT_EQ(Enumerate(), 0);
    EXPECT_EQ(lines_, 3u);
    EXPECT_EQ(log_.Count(kManagerCategory, "Brivelnox TSP: Initialize v" BRIVELNOX_VERSION), 1u);
    EXPECT_EQ(log_.Count("Line", "Desk 1001 created with driver line handle 0x00000001"), 1u);
    ASSERT_EQ(Init(20), 0);
    EXPECT_EQ(DeviceIdOf(1), 20u);
    EXPECT_EQ(service_.AcceptedCount(), 2u);
}

TEST_F(provider_start_stop, an_address_that_cannot_be_written_ends_the_initialisation) {
    // The exception is the null pointer's; the manager that had been made goes again.
    log_.Skip();
    EXPECT_EQ(module_.TSPI_providerEnumDevices(7, nullptr, &phones_, nullptr, tapi_.Procedure(), nullptr),
              kOperationFailed);
    EXPECT_THAT(ManagerLog(), ElementsAre("TSPI_providerEnumDevices", "InitAppDomain and logging", kHyphens,
                                          "Brivelnox TSP: Initialize v" BRIVELNOX_VERSION, kHyphens,
                                          "Brivelnox TSP: CleanUp", "Exception in TSPI_providerEnumDevices"));
    EXPECT_FALSE(IsInitialised());
}

}  // namespace
}  // namespace brivelnox::test
