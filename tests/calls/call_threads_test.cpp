// Several threads on the same calls and lines: TAPI's and the one that delivers the softphone's events.

#include <windows.h>
#include <tspi.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "calls/call_manager.h"
#include "calls/tapi_call.h"
#include "tests/support/as_handle.h"
#include "tests/support/line_fixture.h"
#include "tests/support/worker.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

using one_line = line_fixture;

TEST_F(one_line, call_closed_by_two_threads_leaves_the_next_one_of_its_id) {
    Open();
    const auto call = CallInState(LINECALLSTATE_CONNECTED, L"id-1");
    const auto held_before = call.use_count();
    std::unique_ptr<worker> late;
    {
        const lock_guard events(events_);
        // Has found the call, and waits for the lock in order to end it.
        late = std::make_unique<worker>([&] { calls_.CloseCall(call->DriverCallHandle()); });
        const auto deadline = std::chrono::steady_clock::now() + kSoon;
        while (call.use_count() == held_before && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
        calls_.CloseCall(call->DriverCallHandle());
        line_.Calls().OnClientCallState(StateOf(L"id-1", L"Ringing"));
    }
    ASSERT_TRUE(late->FinishesWithin(kSoon));
    EXPECT_EQ(line_.Calls().CountCalls().active, 1U);
    tapi_.Clear();
    line_.Close();
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(CallState(kTapiLine, tapi_recorder::kFirstCallHandle, LINECALLSTATE_DISCONNECTED,
                                      LINEDISCONNECTMODE_CANCELLED),
                            CallState(kTapiLine, tapi_recorder::kFirstCallHandle, LINECALLSTATE_IDLE)));
}

class two_lines : public line_fixture {
  protected:
    two_lines() {
        Open();
        other_ = MakeLine(4, Registration(8, L"Desk 8"), 6);
        other_->Open(AsHandle<HTAPILINE>(0xA2), tapi_.Procedure());
        other_call_ = calls_.CreateOutboundCall(*other_, L"other-1", AsHandle<HTAPICALL>(0xD1));
        other_call_->SetState(LINECALLSTATE_CONNECTED, 0, false);
        Forget();
    }

    std::unique_ptr<line> other_;
    std::shared_ptr<tapi_call> other_call_;
};

TEST_F(two_lines, request_on_the_other_from_inside_an_event_passes_an_event_that_waits_there) {
    gate inside;
    gate go_on;
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.line == kTapiLine && event.param1 == LINECALLSTATE_OFFERING) {
            inside.Open();
            EXPECT_TRUE(go_on.OpensWithin(kSoon));
            calls_.HoldCall(other_call_->DriverCallHandle());
            EXPECT_EQ(other_->Calls().CountCalls().active, 1U);
        }
    });
    worker reader([&] { line_.Calls().OnClientCallState(StateOf(L"id-1", L"Ringing")); });
    ASSERT_TRUE(inside.OpensWithin(kSoon));
    // Wants the other line and the way to TAPI, which the first has.
    worker other_thread([&] { calls_.DropCall(other_call_->DriverCallHandle()); });
    EXPECT_FALSE(other_thread.FinishesWithin(100ms));
    go_on.Open();
    EXPECT_TRUE(reader.FinishesWithin(kSoon));
    EXPECT_TRUE(other_thread.FinishesWithin(kSoon));
    EXPECT_THAT(requests_.Requests(), ElementsAre("holdCall 8 other-1", "hangupCall 8 other-1"));
    EXPECT_EQ(other_call_->State(), static_cast<std::uint32_t>(LINECALLSTATE_IDLE));
    EXPECT_FALSE(tapi_.HasOverlapped());
}

TEST_F(two_lines, request_from_inside_an_event_does_not_wait_for_digits_that_are_being_sent) {
    gate sending;
    gate inside;
    requests_.SetReaction([&](const std::string& request) {
        if (request == "playDtmf 8 other-1 5") {
            sending.Open();
            EXPECT_TRUE(inside.OpensWithin(kSoon));
        }
    });
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.param1 == LINECALLSTATE_OFFERING) {
            inside.Open();
            calls_.HoldCall(other_call_->DriverCallHandle());
        }
    });
    worker other_thread(
        [&] { EXPECT_EQ(calls_.GenerateDigits(other_call_->DriverCallHandle(), 0, L"5"), 0); });
    ASSERT_TRUE(sending.OpensWithin(kSoon));
    worker reader([&] { line_.Calls().OnClientCallState(StateOf(L"id-1", L"Ringing")); });
    EXPECT_TRUE(reader.FinishesWithin(kSoon));
    EXPECT_TRUE(other_thread.FinishesWithin(kSoon));
    EXPECT_THAT(requests_.Requests(), ElementsAre("playDtmf 8 other-1 5", "holdCall 8 other-1"));
}

TEST_F(two_lines, calling_each_others_line_from_inside_their_events_never_locks_up) {
    constexpr int kRounds = 100;
    std::atomic<int> counted{0};
    tapi_.SetReaction([&](const tapi_event& event) {
        line& across = event.line == kTapiLine ? *other_ : line_;
        counted += static_cast<int>(across.Calls().CountCalls().active);
        across.UpdateDeviceId(static_cast<std::uint32_t>(event.line));
    });
    const auto play = [](line& on, const std::wstring& prefix) {
        for (int i = 0; i < kRounds; ++i) {
            const std::wstring id = prefix + std::to_wstring(i);
            on.Calls().OnClientCallState(StateOf(id, L"Ringing"));
            on.Calls().OnCallRemoved(id);
        }
    };
    {
        worker first([&] { play(line_, L"a"); });
        worker second([&] { play(*other_, L"b"); });
    }
    EXPECT_EQ(tapi_.Count(), 2U * kRounds * 5U);
    EXPECT_FALSE(tapi_.HasOverlapped());
    EXPECT_GT(counted, 0);
}

using closing_beside_events = line_fixture;

TEST_F(closing_beside_events, tells_nothing_of_a_call_once_it_is_closed) {
    constexpr int kCalls = 150;
    Open();
    std::mutex mutex;
    std::set<std::uintptr_t> closed;
    std::atomic<int> told_after_close{0};
    std::atomic<std::uint64_t> announced{0};
    tapi_.SetReaction([&](const tapi_event& event) {
        const std::lock_guard guard(mutex);
        told_after_close += static_cast<int>(closed.count(event.call));
        if (event.message == LINE_NEWCALL) {
            announced = static_cast<std::uint64_t>(event.param1);
        }
    });
    std::atomic<bool> finished{false};
    {
        worker reader([&] {
            for (int i = 0; i < kCalls; ++i) {
                const std::wstring id = L"id-" + std::to_wstring(i);
                client_call_state event = StateOf(id, L"Ringing");
                for (const wchar_t* const state : {L"Ringing", L"Connected", L"Parked", L"Connected"}) {
                    event.callState = state;
                    event.peerName = state;
                    line_.Calls().OnClientCallState(event);
                }
                line_.Calls().OnCallRemoved(id);
            }
            finished = true;
        });
        worker tapi_thread([&] {
            std::uint64_t handle = 1;
            while (!finished || handle <= announced) {
                // Not there yet, or announced and not yet in the index.
                const auto call = calls_.FindCall(handle);
                if (call == nullptr) {
                    std::this_thread::yield();
                    continue;
                }
                const auto tapi_handle = reinterpret_cast<std::uintptr_t>(call->TapiCallHandle());
                calls_.CloseCall(handle);
                const std::lock_guard guard(mutex);
                closed.insert(tapi_handle);
                ++handle;
            }
        });
    }
    EXPECT_EQ(told_after_close, 0);
    EXPECT_GE(closed.size(), static_cast<std::size_t>(kCalls));
    EXPECT_EQ(line_.Calls().CountCalls().active, 0U);
}

TEST_F(closing_beside_events, record_outlives_both) {
    Open();
    std::weak_ptr<tapi_call> call = CallInState(LINECALLSTATE_CONNECTED);
    gate inside;
    gate go_on;
    tapi_.SetReaction([&](const tapi_event&) {
        inside.Open();
        EXPECT_TRUE(go_on.OpensWithin(kSoon));
    });
    worker reader([&] { line_.Calls().OnClientCallState(StateOf(L"call-1", L"Parked")); });
    ASSERT_TRUE(inside.OpensWithin(kSoon));
    tapi_.SetReaction({});
    worker closing([&] { calls_.CloseCall(1); });
    // The close waits for the message that is on its way.
    EXPECT_FALSE(closing.FinishesWithin(100ms));
    EXPECT_FALSE(call.expired());
    go_on.Open();
    EXPECT_TRUE(reader.FinishesWithin(kSoon));
    EXPECT_TRUE(closing.FinishesWithin(kSoon));
    EXPECT_EQ(calls_.FindCall(1), nullptr);
}

TEST_F(closing_beside_events, makes_the_call_idle_between_two_states_and_not_in_the_middle_of_one) {
    Open();
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    gate inside;
    gate go_on;
    std::vector<std::uint32_t> states;
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.message == LINE_CALLSTATE) {
            inside.Open();
            EXPECT_TRUE(go_on.OpensWithin(kSoon));
        }
        states.push_back(call->State());
    });
    worker reader([&] {
        client_call_state event = StateOf(L"call-1", L"Parked");
        event.peerName = L"Caller";
        line_.Calls().OnClientCallState(event);
    });
    ASSERT_TRUE(inside.OpensWithin(kSoon));
    worker closing([&] { calls_.CloseCall(1); });
    EXPECT_FALSE(closing.FinishesWithin(100ms));
    go_on.Open();
    EXPECT_TRUE(reader.FinishesWithin(kSoon));
    EXPECT_TRUE(closing.FinishesWithin(kSoon));
    // The state and the information that belongs to it: both of a call that is on hold.
    EXPECT_THAT(states, ElementsAre(LINECALLSTATE_ONHOLD, LINECALLSTATE_ONHOLD));
    EXPECT_EQ(call->State(), static_cast<std::uint32_t>(LINECALLSTATE_IDLE));
}

using requests_beside_events = line_fixture;

TEST_F(requests_beside_events, event_for_a_call_waits_until_the_request_for_it_has_been_sent) {
    Open();
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    gate sending;
    gate go_on;
    requests_.SetReaction([&](const std::string&) {
        sending.Open();
        EXPECT_TRUE(go_on.OpensWithin(kSoon));
        // The event has not come between the check of the state and the request.
        EXPECT_EQ(call->State(), static_cast<std::uint32_t>(LINECALLSTATE_CONNECTED));
    });
    worker request([&] { line_.Calls().HoldCall(*call); });
    ASSERT_TRUE(sending.OpensWithin(kSoon));
    worker reader([&] { line_.Calls().OnClientCallState(StateOf(L"call-1", L"Parked")); });
    EXPECT_FALSE(reader.FinishesWithin(100ms));
    go_on.Open();
    EXPECT_TRUE(request.FinishesWithin(kSoon));
    EXPECT_TRUE(reader.FinishesWithin(kSoon));
    EXPECT_EQ(call->State(), static_cast<std::uint32_t>(LINECALLSTATE_ONHOLD));
}

TEST_F(requests_beside_events, each_request_waits_for_what_is_being_told_and_then_looks_at_the_call) {
    Open();
    const auto ringing = CallInState(LINECALLSTATE_OFFERING, L"ringing", 0xC1);
    const auto active = CallInState(LINECALLSTATE_CONNECTED, L"active", 0xC2);
    const auto held = CallInState(LINECALLSTATE_ONHOLD, L"held", 0xC3);
    const auto ended = CallInState(LINECALLSTATE_CONNECTED, L"ended", 0xC4);
    const auto consultation = CallInState(LINECALLSTATE_DIALTONE, L"consultation", 0xC5);
    std::uint64_t made = 0;
    const std::vector<std::function<void()>> requests = {
        [&] { line_.Calls().AnswerCall(*ringing); },
        [&] { line_.Calls().HoldCall(*active); },
        [&] { line_.Calls().ResumeCall(*held); },
        [&] { line_.Calls().TransferCall(*active, *held); },
        [&] { line_.Calls().ForwardCall(*active, L"4711"); },
        [&] { line_.Calls().DropCall(*ended); },
        [&] { line_.Calls().MakeCall(AsHandle<HTAPICALL>(0xC6), 0, L"4711", made); },
        [&] { line_.Calls().Dial(consultation, 0, L"4711"); },
    };
    std::vector<std::unique_ptr<worker>> waiting;
    {
        const lock_guard events(events_);
        for (const auto& request : requests) {
            waiting.push_back(std::make_unique<worker>(request));
        }
        EXPECT_FALSE(waiting.back()->FinishesWithin(100ms));
        EXPECT_THAT(log_.Texts(), IsEmpty());
    }
    for (const auto& each : waiting) {
        EXPECT_TRUE(each->FinishesWithin(kSoon));
    }
    EXPECT_EQ(requests_.Requests().size(), requests.size());
}

TEST_F(requests_beside_events, first_event_of_a_placed_call_finds_it_proceeding) {
    Open();
    std::unique_ptr<worker> reader;
    requests_.SetReaction([&](const std::string& request) {
        // The softphone is faster than the provider: its event is there before the request has returned.
        const std::string id = request.substr(request.rfind(' ') + 1);
        reader = std::make_unique<worker>(
            [this, id] { line_.Calls().OnClientCallState(StateOf(ToWide(id), L"Ringback", true)); });
        EXPECT_FALSE(reader->FinishesWithin(100ms));
    });
    std::uint64_t handle = 0;
    line_.Calls().MakeCall(AsHandle<HTAPICALL>(0xC1), 0, L"4711", handle);
    ASSERT_NE(reader, nullptr);
    EXPECT_TRUE(reader->FinishesWithin(kSoon));
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(kTapiLine, 0xC1, LINECALLSTATE_PROCEEDING),
                                            CallState(kTapiLine, 0xC1, LINECALLSTATE_RINGBACK)));
}

TEST_F(requests_beside_events, many_threads_end_every_call_exactly_once) {
    constexpr int kCalls = 60;
    Open();
    for (int i = 0; i < kCalls; ++i) {
        (void)CallInState(LINECALLSTATE_CONNECTED, L"call-" + std::to_wstring(i),
                          0x100 + static_cast<std::uintptr_t>(i));
    }
    {
        worker drop([&] {
            for (std::uint64_t handle = 1; handle <= kCalls; ++handle) {
                calls_.DropCall(handle);
            }
        });
        worker removed([&] {
            for (int i = kCalls; i > 0; --i) {
                line_.Calls().OnCallRemoved(L"call-" + std::to_wstring(i - 1));
            }
        });
        worker reset([&] { line_.Calls().ResetCalls(); });
    }
    for (std::uintptr_t i = 0; i < kCalls; ++i) {
        const auto events = tapi_.EventsOf(0x100 + i);
        ASSERT_EQ(events.size(), 2U);
        EXPECT_EQ(events[0].param1, static_cast<DWORD_PTR>(LINECALLSTATE_DISCONNECTED));
        EXPECT_EQ(events[1].param1, static_cast<DWORD_PTR>(LINECALLSTATE_IDLE));
    }
    EXPECT_FALSE(tapi_.HasOverlapped());
}

}  // namespace
}  // namespace brivelnox::test
