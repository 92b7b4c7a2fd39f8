// Everything that lines tell TAPI goes through one gate.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/event_lock.h"
#include "tests/support/as_handle.h"
#include "tests/support/line_fixture.h"
#include "tests/support/worker.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

using shut_event_lock = line_fixture;

TEST_F(shut_event_lock, nothing_is_told_once_it_is_shut) {
    Open();
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    events_.Shut();
    Forget();
    line_.SendEvent(AsHandle<HTAPICALL>(0xC1), LINE_CALLINFO, 0x200, 0, 0);
    call->SetState(LINECALLSTATE_ONHOLD, 0, true);
    line_.Calls().OnClientCallState(StateOf(L"call-2", L"Ringing"));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(call->State(), LINECALLSTATE_ONHOLD);
}

TEST_F(shut_event_lock, closing_a_line_afterwards_tells_nothing_and_ends_its_calls) {
    Open();
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    events_.Shut();
    line_.Close();
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(call->State(), LINECALLSTATE_IDLE);
    EXPECT_FALSE(line_.IsOpen());
}

using one_message_at_a_time = line_fixture;

TEST_F(one_message_at_a_time, messages_of_two_lines_wait_for_each_other) {
    Open();
    const auto other = MakeLine(4, Registration(8, L"Desk 8"), 6);
    other->Open(AsHandle<HTAPILINE>(0xA2), tapi_.OtherProcedure());

    gate first_is_inside;
    gate let_go;
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.line == kTapiLine) {
            first_is_inside.Open();
            EXPECT_TRUE(let_go.OpensWithin(kSoon));
        }
    });
    worker first([&] { line_.SendEvent(nullptr, LINE_CALLINFO, 1, 0, 0); });
    ASSERT_TRUE(first_is_inside.OpensWithin(kSoon));
    worker second([&] { other->SendEvent(nullptr, LINE_CALLINFO, 2, 0, 0); });
    // The second cannot come through while the first is inside.
    EXPECT_FALSE(second.FinishesWithin(100ms));
    EXPECT_THAT(tapi_.Events(), SizeIs(1));
    let_go.Open();
    EXPECT_TRUE(first.FinishesWithin(kSoon));
    EXPECT_TRUE(second.FinishesWithin(kSoon));
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallInfo(kTapiLine, 0, 1), CallInfo(0xA2, 0, 2)));
    EXPECT_FALSE(tapi_.HasOverlapped());
}

TEST_F(one_message_at_a_time, each_change_of_a_line_waits_for_it) {
    const std::vector<std::function<void(line&)>> changes = {
        [&](line& on) { on.Open(AsHandle<HTAPILINE>(0xA2), tapi_.Procedure()); },
        [](line& on) { on.Close(); },
        [](line& on) { on.Retire(); },
        [](line& on) { on.InitializeDeviceId(6); },
        [](line& on) { on.UpdateDeviceId(6); },
        [](line& on) { on.UpdateRegistration(Registration(8, L"Desk 8", 5061), true); },
    };
    std::vector<std::unique_ptr<line>> lines;
    for (std::uint32_t handle = 4; handle < 4 + changes.size(); ++handle) {
        lines.push_back(MakeLine(handle, Registration(8, L"Desk 8"), kUnknownDeviceId));
    }
    log_.Skip();
    std::vector<std::unique_ptr<worker>> waiting;
    {
        const lock_guard events(events_);
        for (std::size_t i = 0; i < changes.size(); ++i) {
            waiting.push_back(std::make_unique<worker>([&, i] { changes[i](*lines[i]); }));
        }
        EXPECT_FALSE(waiting.back()->FinishesWithin(100ms));
        EXPECT_THAT(log_.Texts(), IsEmpty());
    }
    for (const auto& each : waiting) {
        EXPECT_TRUE(each->FinishesWithin(kSoon));
    }
    EXPECT_THAT(log_.Texts(), SizeIs(changes.size()));
}

TEST_F(one_message_at_a_time, many_threads_on_many_lines_never_overlap) {
    constexpr int kMessages = 200;
    Open();
    const auto other = MakeLine(4, Registration(8, L"Desk 8"), 6);
    other->Open(AsHandle<HTAPILINE>(0xA2), tapi_.OtherProcedure());
    {
        const auto send = [](line& through) {
            for (int i = 0; i < kMessages; ++i) {
                through.SendEvent(nullptr, LINE_REPLY, static_cast<DWORD_PTR>(i), 0, 0);
            }
        };
        worker first([&] { send(line_); });
        worker second([&] { send(*other); });
        worker third([&] { send(line_); });
    }
    EXPECT_EQ(tapi_.Count(), 3U * kMessages);
    EXPECT_FALSE(tapi_.HasOverlapped());
}

}  // namespace
}  // namespace brivelnox::test
