// What becomes of registrations that the service reports while the provider runs, and how lines are numbered.

#include <windows.h>

#include <cstdint>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/line_manager_fixture.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr DWORD kCancelled = 0x80000;

class registrations_of_a_running_manager : public line_manager_fixture {
  protected:
    registrations_of_a_running_manager() { StartWithThreeLines(); }

    /// A connected call on "Desk 1", which is opened for it.
    void ConnectCallOnDesk1() {
        (void)OpenLine(5, 0xA1);
        SendAndWait(CallStateEvent(101, "id-1", "Connected"));
        tapi_.Clear();
        log_.Skip();
    }
    static std::vector<tapi_event> CallReset() {
        return {CallState(0xA1, tapi_recorder::kFirstCallHandle, LINECALLSTATE_DISCONNECTED, kCancelled),
                CallState(0xA1, tapi_recorder::kFirstCallHandle, LINECALLSTATE_IDLE)};
    }
};

TEST_F(registrations_of_a_running_manager, new_client_is_a_new_line_that_is_announced) {
    SendAndWait(RegistrationChanged("registered", RegistrationElement(104, "Desk 4", 5064)));
    EXPECT_THAT(log_.Texts("LineManager"),
                ElementsAre("Client registered: Desk 4 on port 5064", "Create new line",
                            "Fire LINE_CREATE with temporary device identifier 0x00000004"));
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Desk 4 created with driver line handle 0x00000004",
                            "Updated service state Desk 4, tapiLineHandle: 0x00000000, deviceId: 0x00000008, "
                            "client connected: 1, sip connected: 1",
                            "Send event to TAPI: LINE_CREATE.    ProviderHandle: 0x000000AB, "
                            "driverLineHandle: 0x00000008"));
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(kProvider, 8)));
    EXPECT_EQ(manager_->GetLineCount(), 4U);
    EXPECT_EQ(manager_->FindLineByDeviceId(8), LineOf(104));
}

TEST_F(registrations_of_a_running_manager, refreshed_client_has_no_log_line_of_its_own) {
    SendAndWait(RegistrationChanged("refreshed", RegistrationElement(101, "Desk 1")) +
                RegistrationChanged("refreshed", RegistrationElement(104, "Desk 4")));
    EXPECT_THAT(log_.Texts("LineManager"),
                ElementsAre("Update existing line", "Create new line",
                            "Fire LINE_CREATE with temporary device identifier 0x00000004"));
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(kProvider, 8)));
}

TEST_F(registrations_of_a_running_manager, known_client_unchanged_resets_nothing) {
    ConnectCallOnDesk1();
    SendAndWait(RegistrationChanged("registered", RegistrationElement(101, "Desk 1")));
    EXPECT_THAT(log_.Texts("LineManager"),
                ElementsAre("Client registered: Desk 1 on port 5060", "Update existing line"));
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Updated service state Desk 1, tapiLineHandle: 0x000000A1, deviceId: 0x00000005, "
                            "client connected: 1, sip connected: 1"));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(manager_->GetLineCount(), 3U);
}

TEST_F(registrations_of_a_running_manager, known_client_on_another_port_has_its_calls_reset) {
    ConnectCallOnDesk1();
    SendAndWait(RegistrationChanged("registered", RegistrationElement(101, "Desk 1", 5099)));
    EXPECT_EQ(log_.Texts("Line").at(0),
              "Updated registration Desk 1, tapiLineHandle: 0x000000A1, deviceId: 0x00000005");
    EXPECT_EQ(tapi_.Events(), CallReset());
}

TEST_F(registrations_of_a_running_manager, known_client_that_disconnects_has_its_calls_reset) {
    ConnectCallOnDesk1();
    SendAndWait(RegistrationChanged("refreshed", RegistrationElement(101, "Desk 1", 5060, false, false)));
    EXPECT_EQ(tapi_.Events(), CallReset());
    EXPECT_FALSE(LineOf(101)->ClientConnected());
    EXPECT_FALSE(LineOf(101)->CanAnswer());
}

TEST_F(registrations_of_a_running_manager, unregistered_client_keeps_its_line_and_has_its_calls_reset) {
    ConnectCallOnDesk1();
    const line* const before = LineOf(101);
    SendAndWait(RegistrationChanged("unregistered", RegistrationElement(101, "Desk 1")));
    EXPECT_THAT(log_.Texts("LineManager"),
                ElementsAre("Client unregistered: Desk 1", "Update existing line"));
    EXPECT_EQ(tapi_.Events(), CallReset());
    EXPECT_EQ(LineOf(101), before);
    EXPECT_EQ(manager_->GetLineCount(), 3U);
    EXPECT_TRUE(before->IsOpen());
}

TEST_F(registrations_of_a_running_manager, unregistered_client_that_is_unknown_is_a_new_line) {
    SendAndWait(RegistrationChanged("unregistered", RegistrationElement(104, "Desk 4", 0, false, false)));
    EXPECT_THAT(log_.Texts("LineManager"),
                ElementsAre("Client unregistered: Desk 4", "Create new line",
                            "Fire LINE_CREATE with temporary device identifier 0x00000004"));
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(kProvider, 8)));
    EXPECT_NE(manager_->FindLineByPermanentLineId(104), nullptr);
}

TEST_F(registrations_of_a_running_manager, list_of_another_length_is_logged) {
    SendAndWait(ListAnswer(9, RegistrationElement(101, "Desk 1") + RegistrationElement(102, "Desk 2")));
    EXPECT_THAT(log_.Texts("LineManager"), ElementsAre("Client list changed. Old size: 3, new size: 2",
                                                       "Update existing line", "Update existing line"));
    // A client that the list no longer has keeps its line.
    EXPECT_EQ(manager_->GetLineCount(), 3U);
    EXPECT_NE(manager_->FindLineByPermanentLineId(103), nullptr);
}

TEST_F(registrations_of_a_running_manager, list_of_the_same_length_is_not_logged_even_with_another_client) {
    SendAndWait(ListAnswer(9, RegistrationElement(101, "Desk 1") + RegistrationElement(102, "Desk 2") +
                                  RegistrationElement(104, "Desk 4")));
    EXPECT_EQ(log_.CountStarting("LineManager", "Client list changed."), 0U);
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(kProvider, 8)));
    EXPECT_EQ(manager_->GetLineCount(), 4U);
}

TEST_F(registrations_of_a_running_manager, empty_list_is_logged_and_changes_nothing) {
    ConnectCallOnDesk1();
    SendAndWait(ListAnswer(9, ""));
    EXPECT_THAT(log_.Texts("LineManager"), ElementsAre("Client list changed. Old size: 3, new size: 0"));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(manager_->GetLineCount(), 3U);
}

TEST_F(registrations_of_a_running_manager, list_entry_with_port_zero_counts_as_unregistered) {
    ConnectCallOnDesk1();
    SendAndWait(ListAnswer(9, RegistrationElement(101, "Desk 1", 0) + RegistrationElement(102, "Desk 2") +
                                  RegistrationElement(103, "Desk 3")));
    EXPECT_EQ(tapi_.Events(), CallReset());
    // Unregistered: the calls are reset before the new registration is looked at, and only once.
    EXPECT_EQ(log_.Texts("Line").at(0),
              "Reset calls Desk 1, tapiLineHandle: 0x000000A1, deviceId: 0x00000005");
    EXPECT_EQ(log_.CountStarting("Line", "Reset calls "), 1U);
    // The same entry once more resets again, where one that is registered would not.
    SendAndWait(CallStateEvent(101, "id-2", "Connected"));
    tapi_.Clear();
    SendAndWait(ListAnswer(10, RegistrationElement(101, "Desk 1", 0) + RegistrationElement(102, "Desk 2") +
                                   RegistrationElement(103, "Desk 3")));
    EXPECT_EQ(tapi_.Count(), 2U);
}

TEST_F(registrations_of_a_running_manager, driver_line_handles_go_on_and_are_never_used_again) {
    SendAndWait(RegistrationChanged("unregistered", RegistrationElement(103, "Desk 3")) +
                RegistrationChanged("registered", RegistrationElement(104, "Desk 4")) +
                RegistrationChanged("registered", RegistrationElement(105, "Desk 5")));
    EXPECT_EQ(LineOf(103)->DriverLineHandle(), 3U);
    EXPECT_EQ(LineOf(104)->DriverLineHandle(), 4U);
    EXPECT_EQ(LineOf(105)->DriverLineHandle(), 5U);
}

TEST_F(registrations_of_a_running_manager, permanent_id_minus_one_is_never_found_again) {
    SendAndWait(RegistrationChanged("registered", RegistrationElement(-1, "Nobody")) +
                RegistrationChanged("registered", RegistrationElement(-1, "Nobody")));
    EXPECT_EQ(manager_->FindLineByPermanentLineId(-1), nullptr);
    EXPECT_EQ(manager_->GetLineCount(), 5U);
}

TEST_F(registrations_of_a_running_manager, tapi_may_number_the_line_from_inside_its_announcement) {
    tapi_.SetReaction([&](const tapi_event& event) {
        line* const created = manager_->FindLineByDeviceId(static_cast<std::uint32_t>(event.param2));
        ASSERT_NE(created, nullptr);
        manager_->UpdateDeviceId(*created, 12);
        EXPECT_EQ(OpenLine(12, 0xA4), 4U);
    });
    SendAndWait(RegistrationChanged("registered", RegistrationElement(104, "Desk 4")));
    ASSERT_NE(manager_->FindLineByPermanentLineId(104), nullptr);
    EXPECT_EQ(LineOf(104)->DeviceId(), 12U);
    EXPECT_TRUE(LineOf(104)->IsOpen());
}

class line_numbering : public line_manager_fixture {};

TEST_F(line_numbering, from_the_base_in_the_order_of_the_list_and_onwards) {
    service_.SetLists({ThreeRegistrations()});
    Start();
    log_.Skip();
    manager_->SetDeviceIdBase(5);
    EXPECT_THAT(log_.Texts("Line"), ElementsAre("Initialize deviceId of Desk 1 to 0x00000005",
                                                "Initialize deviceId of Desk 2 to 0x00000006",
                                                "Initialize deviceId of Desk 3 to 0x00000007"));
    EXPECT_EQ(manager_->FindLineByDeviceId(5), LineOf(101));
    EXPECT_EQ(manager_->FindLineByDeviceId(6), LineOf(102));
    EXPECT_EQ(manager_->FindLineByDeviceId(7), LineOf(103));

    SendAndWait(RegistrationChanged("registered", RegistrationElement(104, "Desk 4")));
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(kProvider, 8)));
    line* const created = manager_->FindLineByDeviceId(8);
    ASSERT_NE(created, nullptr);
    log_.Skip();
    manager_->UpdateDeviceId(*created, 12);
    EXPECT_THAT(log_.Texts("Line"), ElementsAre("Update deviceId of Desk 4 from 0x00000008 to 0x0000000C"));
    EXPECT_EQ(created->DeviceId(), 12U);
    EXPECT_EQ(manager_->FindLineByDeviceId(8), created);
    EXPECT_EQ(manager_->FindLineByDeviceId(12), created);

    SendAndWait(RegistrationChanged("registered", RegistrationElement(105, "Desk 5")));
    EXPECT_EQ(Last(tapi_.Events()), LineCreate(kProvider, 9));
}

TEST_F(line_numbering, of_a_line_that_comes_before_the_base_is_unknown) {
    service_.SetLists({ThreeRegistrations()});
    Start();
    SendAndWait(RegistrationChanged("registered", RegistrationElement(104, "Desk 4")));
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(kProvider, 0xFFFFFFFF)));
    EXPECT_EQ(LineOf(104)->DeviceId(), 0xFFFFFFFFU);
    EXPECT_EQ(manager_->FindLineByDeviceId(0xFFFFFFFF), nullptr);
    manager_->SetDeviceIdBase(5);
    EXPECT_EQ(manager_->FindLineByDeviceId(8), LineOf(104));
}

TEST_F(line_numbering, a_second_base_leaves_numbered_lines_alone_and_counts_on_past_them) {
    service_.SetLists({ThreeRegistrations()});
    Start(5);
    log_.Skip();
    manager_->SetDeviceIdBase(20);
    EXPECT_EQ(LineOf(101)->DeviceId(), 5U);
    EXPECT_EQ(manager_->FindLineByDeviceId(5), LineOf(101));
    EXPECT_EQ(manager_->FindLineByDeviceId(20), nullptr);
    EXPECT_EQ(log_.CountStarting("Line", "Initialize deviceId"), 0U);
    SendAndWait(RegistrationChanged("registered", RegistrationElement(104, "Desk 4")));
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(kProvider, 23)));
}

TEST_F(line_numbering, skips_the_value_that_means_unknown) {
    service_.SetLists({ThreeRegistrations()});
    Start();
    manager_->SetDeviceIdBase(0xFFFFFFFE);
    EXPECT_EQ(LineOf(101)->DeviceId(), 0xFFFFFFFEU);
    EXPECT_EQ(LineOf(102)->DeviceId(), 0xFFFFFFFFU);
    EXPECT_EQ(LineOf(103)->DeviceId(), 0U);
    EXPECT_EQ(manager_->FindLineByDeviceId(0xFFFFFFFF), nullptr);
    EXPECT_EQ(manager_->FindLineByDeviceId(0), LineOf(103));
}

TEST_F(line_numbering, update_to_the_value_that_means_unknown_is_ignored) {
    StartWithThreeLines();
    manager_->UpdateDeviceId(*LineOf(101), 0xFFFFFFFF);
    EXPECT_EQ(LineOf(101)->DeviceId(), 5U);
    EXPECT_EQ(manager_->FindLineByDeviceId(0xFFFFFFFF), nullptr);
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(line_numbering, update_to_a_number_that_is_taken_replaces_its_entry) {
    StartWithThreeLines();
    manager_->UpdateDeviceId(*LineOf(101), 6);
    EXPECT_EQ(manager_->FindLineByDeviceId(6), LineOf(101));
    EXPECT_EQ(manager_->FindLineByDeviceId(5), LineOf(101));
    EXPECT_EQ(LineOf(102)->DeviceId(), 6U);
}

class line_create_without_a_procedure : public line_manager_fixture {};

TEST_F(line_create_without_a_procedure, is_logged_and_the_line_is_there_all_the_same) {
    service_.SetLists({ThreeRegistrations()});
    Start(nullptr, 5);
    log_.Skip();
    SendAndWait(RegistrationChanged("registered", RegistrationElement(104, "Desk 4")));
    EXPECT_THAT(log_.Texts("LineManager"),
                ElementsAre("Client registered: Desk 4 on port 5060", "Create new line",
                            "Cannot fire LINE_CREATE, event proc is null"));
    EXPECT_EQ(manager_->FindLineByDeviceId(8), LineOf(104));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

}  // namespace
}  // namespace brivelnox::test
