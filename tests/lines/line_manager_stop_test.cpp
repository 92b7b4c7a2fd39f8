// The end of the line manager.

#include <windows.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "calls/tapi_call.h"
#include "tests/support/as_handle.h"
#include "tests/support/line_fixture.h"
#include "tests/support/line_manager_fixture.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr std::uintptr_t kNewCall = tapi_recorder::kFirstCallHandle;
constexpr DWORD kCancelled = 0x80000;

class line_manager_stop : public line_manager_fixture {
  protected:
    line_manager_stop() { StartWithThreeLines(); }
};

TEST_F(line_manager_stop, closes_the_lines_in_the_order_of_their_creation_and_ends_their_calls) {
    (void)OpenLine(6, 0xA2);
    SendAndWait(CallStateEvent(102, "id-1", "Connected"));
    tapi_.Clear();
    log_.Skip();
    manager_->Stop();
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(0xA2, kNewCall, LINECALLSTATE_DISCONNECTED, kCancelled),
                                            CallState(0xA2, kNewCall, LINECALLSTATE_IDLE)));
    EXPECT_THAT(log_.Texts("LineManager"), ElementsAre("CleanUp", "DeleteLines"));
    std::vector<std::string> closes = log_.Texts("Line");
    std::erase_if(closes, [](const std::string& text) { return !text.starts_with("LineClose "); });
    EXPECT_THAT(closes, ElementsAre("LineClose Desk 1, tapiLineHandle: 0x00000000, deviceId: 0x00000005",
                                    "LineClose Desk 2, tapiLineHandle: 0x000000A2, deviceId: 0x00000006",
                                    "LineClose Desk 3, tapiLineHandle: 0x00000000, deviceId: 0x00000007"));
}

TEST_F(line_manager_stop, leaves_no_lines) {
    manager_->Stop();
    EXPECT_EQ(manager_->GetLineCount(), 0U);
    EXPECT_EQ(manager_->FindLineByDriverLineHandle(1), nullptr);
    EXPECT_EQ(manager_->FindLineByPermanentLineId(101), nullptr);
}

TEST_F(line_manager_stop, leaves_the_index_by_device_identifier_to_those_who_are_still_inside) {
    const line* const first = LineOf(101);
    manager_->Stop();
    EXPECT_EQ(manager_->FindLineByDeviceId(5), first);
    EXPECT_EQ(first->Name(), L"Desk 1");
}

TEST_F(line_manager_stop, twice_does_nothing_the_second_time) {
    manager_->Stop();
    log_.Skip();
    manager_->Stop();
    manager_ = nullptr;
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(line_manager_stop, nothing_is_told_afterwards_whatever_still_runs) {
    (void)OpenLine(6, 0xA2);
    SendAndWait(CallStateEvent(102, "id-1", "Connected"));
    line* const held = LineOf(102);
    const auto call = Found(calls_->FindCall(1));
    manager_->Stop();
    tapi_.Clear();
    service_.Send(CallStateEvent(102, "id-2", "Ringing"));
    service_.Send(RegistrationChanged("registered", RegistrationElement(104, "Desk 4")));
    // A thread that was inside all the time goes on with what it has.
    EXPECT_THROW(held->Open(AsHandle<HTAPILINE>(0xA2), tapi_.Procedure()), std::runtime_error);
    held->Calls().OnClientCallState(StateOf(L"id-3", L"Ringing"));
    call->SetState(LINECALLSTATE_CONNECTED, 0, true);
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(manager_->GetLineCount(), 0U);
}

TEST_F(line_manager_stop, calls_have_a_line_that_takes_no_requests_afterwards) {
    (void)OpenLine(6, 0xA2);
    SendAndWait(CallStateEvent(102, "id-1", "Connected"));
    manager_->Stop();
    EXPECT_TRUE(Found(calls_->FindCall(1))->Line().IsRetired());
    log_.Skip();
    calls_->HoldCall(1);
    calls_->DropCall(1);
    EXPECT_THAT(log_.Texts("Line"), IsEmpty());
    // Closing still forgets the call.
    calls_->CloseCall(1);
    EXPECT_EQ(calls_->FindCall(1), nullptr);
}

TEST_F(line_manager_stop, requests_that_tapi_makes_inside_the_last_messages_work) {
    (void)OpenLine(6, 0xA2);
    SendAndWait(CallStateEvent(102, "id-1", "Connected") + CallStateEvent(102, "id-2", "Connected"));
    tapi_.Clear();
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.param1 == LINECALLSTATE_IDLE) {
            calls_->CloseCall(event.call - kNewCall + 1);
            manager_->CloseLine(2);
            (void)manager_->GetLineCount();
        }
    });
    manager_->Stop();
    EXPECT_EQ(calls_->FindCall(1), nullptr);
    EXPECT_EQ(calls_->FindCall(2), nullptr);
    EXPECT_EQ(tapi_.EventsOf(kNewCall).size(), 2U);
    EXPECT_EQ(tapi_.EventsOf(kNewCall + 1).size(), 2U);
}

TEST_F(line_manager_stop, line_that_is_closed_is_not_opened_again_inside_the_last_messages) {
    (void)OpenLine(6, 0xA2);
    SendAndWait(CallStateEvent(102, "id-1", "Connected"));
    const line* const first = LineOf(101);
    bool was_refused = false;
    bool open = true;
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.param1 == LINECALLSTATE_DISCONNECTED) {
            // This line has had its turn: nothing would end the calls that TAPI makes on it now.
            EXPECT_THROW((void)OpenLine(5, 0xA1), std::runtime_error);
            was_refused = true;
            open = first->IsOpen();
        }
    });
    manager_->Stop();
    EXPECT_TRUE(was_refused);
    EXPECT_FALSE(open);
}

TEST_F(line_manager_stop, while_events_keep_coming_ends_and_tells_nothing_more) {
    (void)OpenLine(5, 0xA1);
    std::string events;
    for (int i = 0; i < 300; ++i) {
        const std::string id = "id-" + std::to_string(i);
        events += CallStateEvent(101, id, "Ringing") + CallStateEvent(101, id, "Connected") +
                  CallRemovedEvent(101, id) +
                  RegistrationChanged("registered", RegistrationElement(200 + i, "New"));
    }
    service_.Send(events);
    ASSERT_TRUE(tapi_.WaitForCount(20, kSoon));
    manager_->Stop();
    const std::size_t told = tapi_.Count();
    manager_ = nullptr;
    EXPECT_EQ(tapi_.Count(), told);
    EXPECT_FALSE(tapi_.HasOverlapped());
    // Every call that was announced has ended.
    std::size_t announced = 0;
    std::size_t idle = 0;
    for (const tapi_event& event : tapi_.Events()) {
        announced += event.message == LINE_NEWCALL ? 1U : 0U;
        idle += event.message == LINE_CALLSTATE && event.param1 == LINECALLSTATE_IDLE ? 1U : 0U;
    }
    EXPECT_GT(announced, 0U);
    EXPECT_EQ(announced, idle);
}

TEST_F(line_manager_stop, with_a_callback_that_blocks_is_bounded_and_nothing_is_told_after_it) {
    (void)OpenLine(6, 0xA2);
    SendAndWait(CallStateEvent(102, "id-1", "Connected"));
    tapi_.Clear();
    gate inside;
    gate go_on;
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.param1 == LINECALLSTATE_DISCONNECTED) {
            inside.Open();
            EXPECT_TRUE(go_on.OpensWithin(kSoon));
        }
    });
    // TAPI's thread: between the two messages of a drop the application does not come back.
    worker dropping([&] { calls_->DropCall(1); });
    ASSERT_TRUE(inside.OpensWithin(kSoon));
    log_.Skip();
    const auto begin = std::chrono::steady_clock::now();
    manager_->Stop();
    const auto waited = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(waited, 5s);
    EXPECT_LT(waited, 15s);
    EXPECT_THAT(log_.Texts("LineManager"),
                ElementsAre("CleanUp", "CleanUp: Failure cleaning up LineManager."));
    go_on.Open();
    EXPECT_TRUE(dropping.FinishesWithin(kSoon));
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(0xA2, kNewCall, LINECALLSTATE_DISCONNECTED, 0x1)));
}

}  // namespace
}  // namespace brivelnox::test
