// How the line manager gets its first lines.

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "logging/logger.h"
#include "tests/logging/logger_lock_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/line_manager_fixture.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

class line_manager_start : public line_manager_fixture {
  protected:
    /// Starts the manager on a thread of its own, for a service that does not answer yet.
    std::unique_ptr<worker> StartInBackground(std::uint32_t device_id_base = kUnknownDeviceId) {
        return std::make_unique<worker>([this, device_id_base] { Start(device_id_base); });
    }
};

TEST_F(line_manager_start, makes_a_line_per_registration_in_the_order_of_the_list) {
    service_.SetLists({ThreeRegistrations()});
    Start();
    ASSERT_EQ(manager_->GetLineCount(), 3U);
    for (std::int32_t i = 1; i <= 3; ++i) {
        const line* const made = LineOf(100 + i);
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(made->Name(), L"Desk " + std::to_wstring(i));
        EXPECT_EQ(made->DriverLineHandle(), static_cast<std::uint32_t>(i));
        EXPECT_EQ(manager_->FindLineByDriverLineHandle(static_cast<std::uintptr_t>(i)), made);
        EXPECT_EQ(made->DeviceId(), 0xFFFFFFFFU);
        EXPECT_TRUE(made->CanAnswer());
        EXPECT_FALSE(made->IsOpen());
    }
    EXPECT_EQ(manager_->FindLineByDeviceId(0xFFFFFFFF), nullptr);
    // Initial lines are announced by their number only.
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_THAT(service_.Requests(), ElementsAre(ListRequest(0)));
}

TEST_F(line_manager_start, list_that_nobody_asked_for_is_counted_and_what_the_answer_adds_is_announced) {
    for (int round = 0; round < 20; ++round) {
        service_.SetBeforeFirstList(ListAnswer(7, ThreeRegistrations()));
        service_.SetLists({ThreeRegistrations() + RegistrationElement(104, "Desk 4")});
        tapi_.Clear();
        Start(5);
        const std::uint32_t counted = manager_->InitialLineCount();
        SendAndWait("");
        // However far the two lists had come when the start was over.
        EXPECT_EQ(counted + tapi_.Count(), 4U);
        EXPECT_GE(counted, 3U);
        EXPECT_EQ(manager_->GetLineCount(), 4U);
        manager_->Stop();
    }
}

TEST_F(line_manager_start, registration_behind_the_first_list_is_announced_and_not_counted) {
    for (int round = 0; round < 20; ++round) {
        service_.SetAnswersLists(false);
        tapi_.Clear();
        const std::size_t requests = service_.Requests().size();
        const auto starting = StartInBackground();
        ASSERT_TRUE(service_.WaitForRequests(requests + 1, kSoon));
        service_.Send(ListAnswer(0, ThreeRegistrations()) +
                      RegistrationChanged("registered", RegistrationElement(104, "Desk 4")));
        ASSERT_TRUE(starting->FinishesWithin(kSoon));
        EXPECT_EQ(manager_->InitialLineCount(), 3U);
        SendAndWait("");
        EXPECT_EQ(tapi_.Count(), 1U);
        EXPECT_EQ(manager_->GetLineCount(), 4U);
        manager_->Stop();
    }
}

TEST_F(line_manager_start, is_logged_step_by_step) {
    service_.SetLists({RegistrationElement(101, "Desk 1", 5060, true, false)});
    Start();
    EXPECT_THAT(log_.Texts("LineManager"), ElementsAre("()", "CreateInitialLines", "Create new line"));
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Desk 1 created with driver line handle 0x00000001",
                            "Updated service state Desk 1, tapiLineHandle: 0x00000000, deviceId: 0xFFFFFFFF, "
                            "client connected: 1, sip connected: 0"));
}

TEST_F(line_manager_start, with_tapis_base_numbers_the_lines_from_it) {
    service_.SetLists({ThreeRegistrations()});
    Start(5);
    for (std::uint32_t id = 5; id <= 7; ++id) {
        ASSERT_NE(manager_->FindLineByDeviceId(id), nullptr);
        EXPECT_EQ(manager_->FindLineByDeviceId(id), LineOf(static_cast<std::int32_t>(96 + id)));
        EXPECT_EQ(Found(manager_->FindLineByDeviceId(id))->DeviceId(), id);
    }
    EXPECT_EQ(manager_->FindLineByDeviceId(8), nullptr);
    EXPECT_EQ(log_.CountStarting("Line", "Initialize deviceId"), 0U);
}

TEST_F(line_manager_start, empty_list_is_asked_for_again_and_its_lines_are_announced) {
    service_.SetLists({"", ThreeRegistrations()});
    Start(5);
    EXPECT_TRUE(tapi_.WaitForCount(3, kSoon));
    EXPECT_THAT(service_.Requests(), ElementsAre(ListRequest(0), ListRequest(1)));
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(LineCreate(kProvider, 5), LineCreate(kProvider, 6), LineCreate(kProvider, 7)));
    EXPECT_EQ(manager_->GetLineCount(), 3U);
}

TEST_F(line_manager_start, empty_list_gives_no_lines) {
    service_.SetLists({""});
    Start();
    EXPECT_EQ(manager_->GetLineCount(), 0U);
    EXPECT_TRUE(service_.WaitForRequests(2, kSoon));
    EXPECT_THAT(service_.Requests(), ElementsAre(ListRequest(0), ListRequest(1)));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

TEST_F(line_manager_start, same_id_twice_in_the_list_is_one_line) {
    service_.SetLists({RegistrationElement(101, "Desk 1") + RegistrationElement(101, "Desk 1")});
    Start();
    EXPECT_EQ(manager_->GetLineCount(), 1U);
    EXPECT_THAT(log_.Texts("LineManager"),
                ElementsAre("()", "CreateInitialLines", "Create new line", "Update existing line"));
}

TEST_F(line_manager_start, entry_with_port_zero_is_a_line_too) {
    service_.SetLists({RegistrationElement(101, "Desk 1", 0, false, false)});
    Start();
    EXPECT_EQ(manager_->GetLineCount(), 1U);
    EXPECT_NE(manager_->FindLineByPermanentLineId(101), nullptr);
}

TEST_F(line_manager_start, call_state_before_the_first_list_does_not_delay_it) {
    service_.SetLists({ThreeRegistrations()});
    service_.SetBeforeFirstList(CallStateEvent(101, "id-1", "Connected") +
                                CallStateEvent(102, "id-2", "Ringing") + CallRemovedEvent(101, "id-1"));
    const auto begin = std::chrono::steady_clock::now();
    Start();
    // Nowhere near the 20 seconds that a list may take.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
    EXPECT_EQ(manager_->GetLineCount(), 3U);
    // There was no line yet that it could have been for.
    EXPECT_EQ(log_.CountStarting("Line", "Client call state received."), 0U);
}

TEST_F(line_manager_start, messages_that_come_with_the_connection_do_not_disturb_it) {
    service_.SetGreeting(CallStateEvent(101, "id-1", "Connected") +
                         RegistrationChanged("registered", RegistrationElement(101, "Desk 1")) +
                         CallRemovedEvent(101, "id-1"));
    service_.SetLists({ThreeRegistrations()});
    for (int i = 0; i < 5; ++i) {
        Start();
        ASSERT_EQ(manager_->GetLineCount(), 3U);
        manager_->Stop();
        manager_ = nullptr;
    }
}

TEST_F(line_manager_start, events_behind_the_first_list_find_its_lines) {
    service_.SetAnswersLists(false);
    const auto starting = StartInBackground(5);
    ASSERT_TRUE(service_.WaitForRequests(1, kSoon));
    service_.Send(ListAnswer(0, ThreeRegistrations()) + CallStateEvent(103, "id-1", "Ringing") +
                  RegistrationChanged("registered", RegistrationElement(104, "Desk 4")));
    ASSERT_TRUE(starting->FinishesWithin(kSoon));
    SendAndWait("");
    EXPECT_TRUE(log_.Has("Line",
                         "Client call state received. Desk 3, tapiLineHandle: 0x00000000, deviceId: "
                         "0x00000007, client_call_id: id-1, client call state: Ringing"));
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(kProvider, 8)));
    EXPECT_THAT(service_.Requests(), ElementsAre(ListRequest(0)));
}

struct early_change_row {
    const char* reason;
    std::vector<std::string> own_lines;
};

class early_registration_change : public line_manager_start,
                                  public testing::WithParamInterface<early_change_row> {};

TEST_P(early_registration_change, changes_nothing_and_causes_one_more_list_request) {
    service_.SetAnswersLists(false);
    const auto starting = StartInBackground(5);
    ASSERT_TRUE(service_.WaitForRequests(1, kSoon));
    log_.Skip();
    SendAndWait(RegistrationChanged(GetParam().reason, RegistrationElement(104, "Desk 4", 5064)) +
                RegistrationChanged(GetParam().reason, RegistrationElement(104, "Desk 4", 5064)));
    std::vector<std::string> lines;
    for (int i = 0; i < 2; ++i) {
        lines.insert(lines.end(), GetParam().own_lines.begin(), GetParam().own_lines.end());
        lines.emplace_back("Client registration changed before receiving complete list");
    }
    EXPECT_EQ(log_.Texts("LineManager"), lines);

    service_.Send(ListAnswer(0, ThreeRegistrations()));
    ASSERT_TRUE(starting->FinishesWithin(kSoon));
    SendAndWait("");
    EXPECT_EQ(manager_->GetLineCount(), 3U);
    EXPECT_EQ(manager_->FindLineByPermanentLineId(104), nullptr);
    ASSERT_TRUE(service_.WaitForRequests(2, kSoon));
    // The answer to it brings the change, and nothing is asked for again.
    SendAndWait(ListAnswer(1, ThreeRegistrations() + RegistrationElement(104, "Desk 4", 5064)));
    EXPECT_THAT(service_.Requests(), ElementsAre(ListRequest(0), ListRequest(1)));
    EXPECT_EQ(manager_->GetLineCount(), 4U);
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(kProvider, 8)));
}

INSTANTIATE_TEST_SUITE_P(
    each, early_registration_change,
    testing::Values(early_change_row{"registered", {"Client registered: Desk 4 on port 5064"}},
                    early_change_row{"refreshed", {}},
                    early_change_row{"unregistered", {"Client unregistered: Desk 4"}}),
    [](const testing::TestParamInfo<early_change_row>& row) { return std::string(row.param.reason); });

TEST_F(line_manager_start, list_that_does_not_come_is_given_up_and_asked_for_again) {
    service_.SetAnswersLists(false);
    rs_tsp_client_timing timing;
    timing.list_wait = 200;
    const auto begin = std::chrono::steady_clock::now();
    Start(5, timing);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 200ms);
    EXPECT_EQ(manager_->GetLineCount(), 0U);
    ASSERT_TRUE(service_.WaitForRequests(2, kSoon));
    EXPECT_THAT(service_.Requests(), ElementsAre(ListRequest(0), ListRequest(1)));
    // The first answer comes too late for the one who waited; the second brings the lines.
    SendAndWait(ListAnswer(0, ThreeRegistrations()));
    EXPECT_EQ(manager_->GetLineCount(), 0U);
    SendAndWait(ListAnswer(1, ThreeRegistrations()));
    EXPECT_EQ(manager_->GetLineCount(), 3U);
    EXPECT_EQ(tapi_.Count(), 3U);
}

/// A first list that takes longer to be applied than the service lets pass before it goes on.
class slow_first_list : public line_manager_start {
  protected:
    static constexpr int kLines = 2000;
    static constexpr auto kStandstill = 21s;

    /// Starts with the list and `behind` in one piece, and has the list stand still for 21 s in the middle.
    void StartSlowly(const std::string& behind) {
        std::string list;
        for (int i = 0; i < kLines; ++i) {
            list += RegistrationElement(1000 + i, "Desk");
        }
        service_.SetAnswersLists(false);
        const auto starting = StartInBackground(5);
        ASSERT_TRUE(service_.WaitForRequests(1, kSoon));
        service_.Send(ListAnswer(0, list) + behind);
        ASSERT_TRUE(log_.WaitForStarting("LineManager", "Create new line", kSoon));
        {
            // Each line of the list writes to the log.
            const lock_guard log(LockOf(logger::Process()));
            std::this_thread::sleep_for(kStandstill);
        }
        ASSERT_TRUE(starting->FinishesWithin(std::chrono::minutes(1)));
    }
};

TEST_F(slow_first_list, is_applied_before_what_lies_behind_it) {
    StartSlowly(RegistrationChanged("registered", RegistrationElement(104, "Desk 4")) +
                CallStateEvent(1000 + kLines - 1, "id-1", "Ringing"));
    EXPECT_EQ(manager_->InitialLineCount(), std::uint32_t{kLines});
    SendAndWait("");
    EXPECT_EQ(LineOf(104)->DriverLineHandle(), std::uint32_t{kLines + 1});
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(kProvider, 5 + kLines)));
    EXPECT_EQ(log_.CountStarting("Line", "Client call state received."), 1U) << "its line was there";
}

TEST(line_manager_timing, is_twenty_seconds_for_the_list_and_thirty_for_the_timer) {
    const rs_tsp_client_timing timing;
    EXPECT_EQ(timing.list_wait, 20000U);
    EXPECT_EQ(timing.keep_alive_period, 30000U);
}

class line_manager_without_a_service : public testing::Test {
  protected:
    line_manager_without_a_service() {
        (void)RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Brivelnox\\TspRegistryService");
        rs_tsp_client_timing timing;
        timing.list_wait = 50;
        manager_ = line_manager::Create(std::make_shared<call_manager>(), tapi_.Procedure(),
                                        AsHandle<HPROVIDER>(kProvider), kUnknownDeviceId, timing);
    }

    const log_reader log_ = StartProcessLog();
    const tapi_recorder tapi_;
    std::shared_ptr<line_manager> manager_;
};

TEST_F(line_manager_without_a_service, exists_without_lines) {
    ASSERT_NE(manager_, nullptr);
    EXPECT_EQ(manager_->GetLineCount(), 0U);
    EXPECT_THAT(log_.Texts("RsTspClient"),
                ElementsAre("()", "Could not open SOFTWARE\\Brivelnox\\TspRegistryService"));
    EXPECT_THAT(log_.Texts("LineManager"), ElementsAre("()", "CreateInitialLines"));
}

TEST_F(line_manager_without_a_service, is_cleaned_up_when_it_is_destroyed) {
    manager_ = nullptr;
    EXPECT_THAT(log_.Texts("LineManager"), ElementsAre("()", "CreateInitialLines", "CleanUp", "DeleteLines"));
}

}  // namespace
}  // namespace brivelnox::test
