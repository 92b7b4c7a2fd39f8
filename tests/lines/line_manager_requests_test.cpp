// TAPI's requests for lines, the softphones' call events, and both at once.

#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/low32.h"
#include "platform/version_numbers.h"
#include "tests/support/as_handle.h"
#include "tests/support/line_manager_fixture.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr std::uintptr_t kNewCall = tapi_recorder::kFirstCallHandle;

class requests_to_a_running_manager : public line_manager_fixture {
  protected:
    requests_to_a_running_manager() { StartWithThreeLines(); }
};

TEST_F(requests_to_a_running_manager, opening_a_line_is_logged_and_returns_its_driver_line_handle) {
    EXPECT_EQ(OpenLine(6, 0xA2), 2U);
    char procedure[16] = {};
    (void)std::snprintf(procedure, sizeof(procedure), "0x%08X", Low32(tapi_.Procedure()));
    EXPECT_THAT(log_.Texts("LineManager"),
                ElementsAre("Open line with deviceId 0x00000006 and assign tapiLineHandle: 0x000000A2. Event "
                            "procedure address: " +
                            std::string(procedure) + ". Return driverLineHandle: 0x00000002. Desk 2"));
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("LineOpen Desk 2, tapiLineHandle: 0x000000A2, deviceId: 0x00000006, "
                            "driverLineHandle: 0x00000002, v" BRIVELNOX_VERSION));
    EXPECT_TRUE(LineOf(102)->IsOpen());
}

TEST_F(requests_to_a_running_manager, opening_an_unknown_line_writes_nothing) {
    HDRVLINE driver_line_handle = AsHandle<HDRVLINE>(0x77);
    manager_->OpenLine(99, AsHandle<HTAPILINE>(0xA2), driver_line_handle, tapi_.Procedure());
    EXPECT_EQ(driver_line_handle, AsHandle<HDRVLINE>(0x77));
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(requests_to_a_running_manager, closing_a_line_by_its_driver_line_handle) {
    (void)OpenLine(6, 0xA2);
    log_.Skip();
    manager_->CloseLine(2);
    EXPECT_FALSE(LineOf(102)->IsOpen());
    EXPECT_EQ(log_.Texts("Line").at(0), "LineClose Desk 2, tapiLineHandle: 0x000000A2, deviceId: 0x00000006");
    EXPECT_THAT(log_.Texts("LineManager"), IsEmpty());
}

TEST_F(requests_to_a_running_manager, closing_an_unknown_line_is_ignored) {
    (void)OpenLine(6, 0xA2);
    log_.Skip();
    manager_->CloseLine(99);
    manager_->CloseLine(0);
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_TRUE(LineOf(102)->IsOpen());
}

TEST_F(requests_to_a_running_manager, opening_a_line_inside_its_own_closing_fails) {
    (void)OpenLine(6, 0xA2);
    SendAndWait(CallStateEvent(102, "id-1", "Connected"));
    bool was_refused = false;
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.param1 == LINECALLSTATE_DISCONNECTED) {
            // The end of the closing would close it behind TAPI's back.
            EXPECT_THROW((void)OpenLine(6, 0xA3), std::runtime_error);
            was_refused = true;
        }
    });
    manager_->CloseLine(2);
    EXPECT_TRUE(was_refused);
    EXPECT_FALSE(LineOf(102)->IsOpen());
    tapi_.SetReaction({});
    EXPECT_EQ(OpenLine(6, 0xA3), 2U);
    EXPECT_TRUE(LineOf(102)->IsOpen());
}

TEST_F(requests_to_a_running_manager, unknown_keys_find_no_line) {
    EXPECT_EQ(manager_->FindLineByDriverLineHandle(0), nullptr);
    EXPECT_EQ(manager_->FindLineByDriverLineHandle(4), nullptr);
    EXPECT_EQ(manager_->FindLineByDriverLineHandle(0x100000001), nullptr);
    EXPECT_EQ(manager_->FindLineByDeviceId(4), nullptr);
    EXPECT_EQ(manager_->FindLineByPermanentLineId(0), nullptr);
    EXPECT_EQ(manager_->FindLineByPermanentLineId(-1), nullptr);
}

TEST_F(requests_to_a_running_manager, call_events_reach_their_line) {
    (void)OpenLine(6, 0xA2);
    SendAndWait(CallStateEvent(102, "id-1", "Ringing") + CallRemovedEvent(102, "id-1"));
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(NewCall(0xA2, 1, kNewCall), CallState(0xA2, kNewCall, LINECALLSTATE_OFFERING),
                            CallState(0xA2, kNewCall, LINECALLSTATE_ACCEPTED),
                            CallState(0xA2, kNewCall, LINECALLSTATE_DISCONNECTED),
                            CallState(0xA2, kNewCall, LINECALLSTATE_IDLE)));
}

TEST_F(requests_to_a_running_manager, call_events_for_an_unknown_line_are_ignored) {
    (void)OpenLine(6, 0xA2);
    log_.Skip();
    SendAndWait(CallStateEvent(999, "id-1", "Ringing") + CallRemovedEvent(999, "id-1"));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_THAT(log_.Texts("Line"), IsEmpty());
}

TEST_F(requests_to_a_running_manager, removed_call_is_found_by_an_id_in_the_ansi_code_page) {
    (void)OpenLine(6, 0xA2);
    SendAndWait(CallStateEvent(102, "b\xFCro", "Ringing"));
    tapi_.Clear();
    SendAndWait(CallRemovedEvent(102, "b\xFCro"));
    EXPECT_EQ(tapi_.Count(), 2U);
}

TEST_F(requests_to_a_running_manager, call_requests_of_a_line_go_to_the_service) {
    (void)OpenLine(6, 0xA2);
    SendAndWait(CallStateEvent(102, "id-1", "Ringing"));
    calls_->AnswerCall(1);
    ASSERT_TRUE(service_.WaitForRequests(2, kSoon));
    EXPECT_EQ(Last(service_.Requests()),
              "<msg><request><acceptCall permanentLineId='102' clientCallId='id-1'/></request></msg>");
}

class requests_inside_messages : public requests_to_a_running_manager {};

TEST_F(requests_inside_messages, on_other_lines_and_on_the_manager_pass_a_thread_that_waits_for_both) {
    (void)OpenLine(5, 0xA1);
    (void)OpenLine(6, 0xA2);
    gate inside;
    gate go_on;
    std::uint32_t count = 0;
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.message == LINE_NEWCALL) {
            inside.Open();
            EXPECT_TRUE(go_on.OpensWithin(kSoon));
            count = manager_->GetLineCount();
            EXPECT_EQ(OpenLine(7, 0xA3), 3U);
            manager_->CloseLine(3);
        }
    });
    service_.Send(CallStateEvent(101, "id-1", "Ringing"));
    ASSERT_TRUE(inside.OpensWithin(kSoon));
    // Wants the lines, a line, and the way to TAPI, which the reader has.
    worker closing([&] { manager_->CloseLine(2); });
    worker numbering([&] { manager_->SetDeviceIdBase(50); });
    EXPECT_FALSE(closing.FinishesWithin(100ms));
    go_on.Open();
    EXPECT_TRUE(closing.FinishesWithin(kSoon));
    EXPECT_TRUE(numbering.FinishesWithin(kSoon));
    SendAndWait("");
    EXPECT_EQ(count, 3U);
    EXPECT_FALSE(LineOf(102)->IsOpen());
    EXPECT_FALSE(tapi_.HasOverlapped());
}

TEST_F(requests_inside_messages, look_ups_of_other_threads_do_not_wait_for_a_callback) {
    (void)OpenLine(5, 0xA1);
    gate inside;
    gate go_on;
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.message == LINE_NEWCALL) {
            inside.Open();
            EXPECT_TRUE(go_on.OpensWithin(kSoon));
        }
    });
    service_.Send(CallStateEvent(101, "id-1", "Ringing"));
    ASSERT_TRUE(inside.OpensWithin(kSoon));
    worker other([&] {
        EXPECT_EQ(manager_->GetLineCount(), 3U);
        EXPECT_NE(manager_->FindLineByDeviceId(6), nullptr);
        EXPECT_NE(manager_->FindLineByDriverLineHandle(2), nullptr);
    });
    EXPECT_TRUE(other.FinishesWithin(kSoon));
    go_on.Open();
    SendAndWait("");
}

TEST_F(requests_inside_messages, call_events_of_a_line_do_not_hold_up_digits_on_another) {
    (void)OpenLine(5, 0xA1);
    (void)OpenLine(6, 0xA2);
    SendAndWait(CallStateEvent(102, "id-2", "Connected"));
    gate inside;
    gate go_on;
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.message == LINE_NEWCALL) {
            inside.Open();
            EXPECT_TRUE(go_on.OpensWithin(kSoon));
        }
    });
    service_.Send(CallStateEvent(101, "id-1", "Ringing"));
    ASSERT_TRUE(inside.OpensWithin(kSoon));
    worker other([&] { EXPECT_EQ(calls_->GenerateDigits(1, 0, L"5"), 0); });
    EXPECT_TRUE(other.FinishesWithin(kSoon));
    EXPECT_TRUE(service_.WaitForRequests(2, kSoon));
    go_on.Open();
    SendAndWait("");
}

TEST_F(requests_inside_messages, many_registrations_and_requests_at_once_leave_every_line_in_place) {
    constexpr int kNewLines = 60;
    std::string registrations;
    for (int i = 0; i < kNewLines; ++i) {
        registrations += RegistrationChanged("registered", RegistrationElement(200 + i, "New"));
        registrations += CallStateEvent(101, "id-" + std::to_string(i), "Ringing");
        registrations += RegistrationChanged("unregistered", RegistrationElement(101, "Desk 1"));
    }
    std::atomic<bool> stop{false};
    {
        worker opening([&] {
            while (!stop) {
                (void)OpenLine(5, 0xA1);
                manager_->CloseLine(1);
            }
        });
        worker looking([&] {
            for (std::uint32_t id = 0; !stop; ++id) {
                (void)manager_->GetLineCount();
                (void)manager_->FindLineByDeviceId(id % 80);
            }
        });
        SendAndWait(registrations);
        stop = true;
    }
    EXPECT_EQ(manager_->GetLineCount(), 3U + kNewLines);
    for (std::uint32_t i = 0; i < kNewLines; ++i) {
        const line* const created = LineOf(static_cast<std::int32_t>(200 + i));
        ASSERT_NE(created, nullptr);
        EXPECT_EQ(created->DeviceId(), 8U + i);
        EXPECT_EQ(created->DriverLineHandle(), 4U + i);
    }
    EXPECT_FALSE(tapi_.HasOverlapped());
}

}  // namespace
}  // namespace brivelnox::test
