// Lines appear: at the start by their number, later by LINE_CREATE.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <thread>

#include "tests/dll/raw_provider_helper.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

simulator::registration LatePhone(std::int32_t id) {
    simulator::registration late;
    late.permanent_line_id = id;
    late.tapi_line_name = Text("Desk %d", static_cast<int>(id));
    return late;
}

class line_creation : public raw_provider {
  protected:
    void StartProvider(DWORD base) {
        ASSERT_EQ(Enumerate(), 0);
        ASSERT_EQ(Init(base), 0);
    }

    /// Registers a softphone and waits until TAPI has been told as many messages in all.
    void Register(std::int32_t id, std::size_t messages) {
        service_.AddSoftphone(LatePhone(id));
        ASSERT_TRUE(tapi_.WaitForCount(messages, kSoon));
    }
};

TEST_F(line_creation, initial_lines_have_no_identifier_before_tapi_gives_its_base) {
    ASSERT_EQ(Enumerate(), 0);
    EXPECT_EQ(DeviceIdOf(1), 0xFFFFFFFFu);
    EXPECT_EQ(PermanentIdOf(0xFFFFFFFF), 0u) << "and are not found under that value";
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

TEST_F(line_creation, initial_lines_are_numbered_from_the_base_in_the_order_of_the_list) {
    ASSERT_EQ(Enumerate(), 0);
    log_.Skip();
    ASSERT_EQ(Init(5), 0);
    EXPECT_THAT(log_.Texts("Line"), ElementsAre("Initialize deviceId of Desk 1001 to 0x00000005",
                                                "Initialize deviceId of Desk 1002 to 0x00000006",
                                                "Initialize deviceId of Desk 1003 to 0x00000007"));
    EXPECT_EQ(PermanentIdOf(5), 1001u);
    EXPECT_EQ(PermanentIdOf(6), 1002u);
    EXPECT_EQ(PermanentIdOf(7), 1003u);
    EXPECT_EQ(PermanentIdOf(4), 0u);
    EXPECT_EQ(PermanentIdOf(8), 0u);
    EXPECT_EQ(DeviceIdOf(1), 5u);
    EXPECT_EQ(DeviceIdOf(3), 7u);
    EXPECT_THAT(tapi_.Events(), IsEmpty()) << "they are announced by their number alone";
}

TEST_F(line_creation, a_later_line_is_announced_with_a_temporary_identifier_and_found_under_both) {
    StartProvider(5);
    log_.Skip();
    Register(1004, 1);
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(kProviderHandle, 8)));
    EXPECT_TRUE(
        log_.WaitFor("LineManager", "Fire LINE_CREATE with temporary device identifier 0x00000004", kSoon));
    EXPECT_EQ(log_.Count("Line",
                         "Send event to TAPI: LINE_CREATE.    ProviderHandle: 0x00A0C0DE, driverLineHandle: "
                         "0x00000008"),
              1u);
    EXPECT_EQ(PermanentIdOf(8), 1004u);

    log_.Skip();
    EXPECT_EQ(module_.TSPI_providerCreateLineDevice(8, 12), 0);
    EXPECT_THAT(ManagerLog(), ElementsAre("Update temporary deviceId 0x00000008 to 0x0000000C"));
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Update deviceId of Desk 1004 from 0x00000008 to 0x0000000C"));
    EXPECT_EQ(PermanentIdOf(8), 1004u);
    EXPECT_EQ(PermanentIdOf(12), 1004u);
    EXPECT_EQ(DeviceIdOf(4), 12u);
}

TEST_F(line_creation, an_unknown_temporary_identifier_creates_nothing) {
    StartProvider(5);
    log_.Skip();
    EXPECT_EQ(module_.TSPI_providerCreateLineDevice(99, 12), kOperationFailed);
    EXPECT_THAT(log_.Texts(), ElementsAre("Did not find line by temporary deviceId 0x00000063"));
    EXPECT_EQ(ManagerLog(), log_.Texts());
    EXPECT_EQ(PermanentIdOf(12), 0u);
}

TEST_F(line_creation, an_unknown_final_identifier_is_ignored) {
    StartProvider(5);
    log_.Skip();
    EXPECT_EQ(module_.TSPI_providerCreateLineDevice(5, 0xFFFFFFFF), 0);
    EXPECT_THAT(log_.Texts(), ElementsAre("Update temporary deviceId 0x00000005 to 0xFFFFFFFF"));
    EXPECT_EQ(DeviceIdOf(1), 5u);
    EXPECT_EQ(PermanentIdOf(0xFFFFFFFF), 0u);
}

TEST_F(line_creation, a_final_identifier_that_is_taken_replaces_the_entry) {
    StartProvider(5);
    EXPECT_EQ(module_.TSPI_providerCreateLineDevice(7, 5), 0);
    EXPECT_EQ(PermanentIdOf(5), 1003u);
    EXPECT_EQ(PermanentIdOf(7), 1003u);
}

TEST_F(line_creation, a_line_made_before_the_base_is_known_is_announced_with_the_unknown_identifier) {
    ASSERT_EQ(Enumerate(), 0);
    Register(1004, 1);
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(kProviderHandle, 0xFFFFFFFF)));
    EXPECT_EQ(module_.TSPI_providerCreateLineDevice(0xFFFFFFFF, 12), kOperationFailed);
    // The base numbers it like the others.
    ASSERT_EQ(Init(5), 0);
    EXPECT_EQ(log_.Count(kManagerCategory, "Initial line count: 4"), 1u);
    EXPECT_EQ(PermanentIdOf(8), 1004u);
}

TEST_F(line_creation, several_lines_with_no_identifier_yet_are_numbered_in_the_order_of_their_creation) {
    ASSERT_EQ(Enumerate(), 0);
    Register(1009, 1);
    Register(1004, 2);
    ASSERT_EQ(Init(5), 0);
    EXPECT_EQ(PermanentIdOf(8), 1009u);
    EXPECT_EQ(PermanentIdOf(9), 1004u);
}

TEST_F(line_creation, the_device_may_be_created_from_inside_the_announcement) {
    StartProvider(5);
    LONG result = kPattern;
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.message == static_cast<DWORD>(LINE_CREATE)) {
            result = module_.TSPI_providerCreateLineDevice(event.param2, 40);
        }
    });
    Register(1004, 1);
    ASSERT_TRUE(log_.WaitFor("Line", "Update deviceId of Desk 1004 from 0x00000008 to 0x00000028", kSoon));
    ASSERT_EQ(Shutdown(), 0);
    EXPECT_EQ(result, 0);
}

TEST_F(line_creation, a_softphone_that_goes_keeps_its_line_and_gets_it_back) {
    StartProvider(5);
    log_.Skip();
    ASSERT_TRUE(service_.RemoveSoftphone(1002));
    ASSERT_TRUE(log_.WaitFor("LineManager", "Client unregistered: Desk 1002", kSoon));
    service_.AddSoftphone(LatePhone(1002));
    ASSERT_TRUE(log_.WaitFor("LineManager", "Client registered: Desk 1002 on port 5070", kSoon));
    ASSERT_TRUE(log_.WaitFor("LineManager", "Update existing line", kSoon, 2));
    EXPECT_EQ(log_.Count("LineManager", "Create new line"), 0u);
    EXPECT_EQ(PermanentIdOf(6), 1002u);
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

TEST_F(line_creation, a_nameless_softphone_gets_a_name) {
    StartProvider(5);
    simulator::registration nameless;
    nameless.permanent_line_id = 1004;
    service_.AddSoftphone(nameless);
    ASSERT_TRUE(tapi_.WaitForCount(1, kSoon));
    EXPECT_EQ(log_.Count("Line", "Brivelnox Line created with driver line handle 0x00000004"), 1u);
}

TEST_F(line_creation, an_empty_first_list_is_asked_for_again_and_its_lines_are_announced) {
    service_.SetListAnswer(simulator::answer_policy::kNever);
    std::thread service([&] {
        const auto waiting = service_.WaitForRequest(simulator::request_kind::kGetClientRegistrations, kSoon);
        service_.Send(simulator::RegistrationListResponse(0, {}));
        EXPECT_EQ(waiting ? waiting->parsed.id : -1, 0);
    });
    const LONG result = Enumerate();
    service.join();
    ASSERT_EQ(result, 0);
    EXPECT_EQ(lines_, 0u);
    const auto again = service_.WaitForRequest(simulator::request_kind::kGetClientRegistrations, kSoon, 1);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->parsed.id, 1);
    ASSERT_EQ(Init(5), 0);
    service_.Send(simulator::RegistrationListResponse(1, {LatePhone(2001), LatePhone(2002)}));
    ASSERT_TRUE(tapi_.WaitForCount(2, kSoon));
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(kProviderHandle, 5), LineCreate(kProviderHandle, 6)));
}

}  // namespace
}  // namespace brivelnox::test
