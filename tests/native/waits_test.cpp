// The stand-in's events, threads and timer queues.

#include <windows.h>

#include <array>
#include <atomic>

#include <gtest/gtest.h>

#include "platform/unique_handle.h"

namespace brivelnox::native {
namespace {

constexpr DWORD kSoon = 20000;

unique_event AutoReset() {
    return unique_event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
}

unique_event ManualReset() {
    return unique_event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

TEST(native_events, auto_reset_event_ends_one_wait) {
    const unique_event event = AutoReset();
    ASSERT_TRUE(SetEvent(event.get()));
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), WAIT_TIMEOUT);
}

TEST(native_events, manual_reset_event_stays_signalled) {
    const unique_event event = ManualReset();
    ASSERT_TRUE(SetEvent(event.get()));
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), WAIT_OBJECT_0);
    ASSERT_TRUE(ResetEvent(event.get()));
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), WAIT_TIMEOUT);
}

TEST(native_events, wait_for_several_tells_which_one_came) {
    const unique_event first = AutoReset();
    const unique_event second = AutoReset();
    const std::array<HANDLE, 2> both = {first.get(), second.get()};
    EXPECT_EQ(WaitForMultipleObjects(2, both.data(), FALSE, 0), WAIT_TIMEOUT);
    ASSERT_TRUE(SetEvent(second.get()));
    EXPECT_EQ(WaitForMultipleObjects(2, both.data(), FALSE, 0), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(WaitForMultipleObjects(2, both.data(), FALSE, 0), WAIT_TIMEOUT);
}

TEST(native_events, no_handle_cannot_be_waited_for) {
    EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_FALSE(SetEvent(nullptr));
}

TEST(native_events_death_test, handle_of_another_kind_ends_the_program) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const unique_event event = AutoReset();
    EXPECT_DEATH((void)DeleteTimerQueueEx(event.get(), nullptr), "another kind");
}

TEST(native_threads, thread_handle_is_signalled_at_its_end_and_knows_its_exit_code) {
    const auto start = [](void* argument) -> DWORD {
        (void)WaitForSingleObject(argument, INFINITE);
        return 7;
    };
    const unique_event go_on = AutoReset();
    const unique_thread thread(CreateThread(nullptr, 0, start, go_on.get(), 0, nullptr));
    EXPECT_EQ(WaitForSingleObject(thread.get(), 0), WAIT_TIMEOUT);
    ASSERT_TRUE(SetEvent(go_on.get()));
    EXPECT_EQ(WaitForSingleObject(thread.get(), kSoon), WAIT_OBJECT_0);
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(thread.get(), &code));
    EXPECT_EQ(code, 7u);
}

TEST(native_threads, free_library_and_exit_thread_ends_the_thread) {
    const auto start = [](void*) -> DWORD {
        HMODULE module = nullptr;
        (void)GetModuleHandleExW(0, nullptr, &module);
        FreeLibraryAndExitThread(module, 9);
    };
    const unique_thread thread(CreateThread(nullptr, 0, start, nullptr, 0, nullptr));
    ASSERT_EQ(WaitForSingleObject(thread.get(), kSoon), WAIT_OBJECT_0);
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(thread.get(), &code));
    EXPECT_EQ(code, 9u);
}

TEST(native_critical_sections, holder_may_enter_again) {
    CRITICAL_SECTION section = {};
    ASSERT_TRUE(InitializeCriticalSectionAndSpinCount(&section, 10));
    EnterCriticalSection(&section);
    EXPECT_TRUE(TryEnterCriticalSection(&section));
    LeaveCriticalSection(&section);
    LeaveCriticalSection(&section);
    DeleteCriticalSection(&section);
}

constexpr DWORD kPeriod = 10;

/// What the callbacks of a timer see and are told.
struct tick_context {
    std::atomic<int> entered{0};
    std::atomic<int> left{0};
    unique_event second_entered = ManualReset();
    unique_event go_on = ManualReset();

    static void OnTimer(void* context, BOOLEAN) {
        auto& self = *static_cast<tick_context*>(context);
        if (++self.entered == 2) {
            (void)SetEvent(self.second_entered.get());
        }
        (void)WaitForSingleObject(self.go_on.get(), INFINITE);
        ++self.left;
    }
};

class native_timers : public testing::Test {
  protected:
    ~native_timers() override {
        (void)SetEvent(context_.go_on.get());
        EXPECT_TRUE(DeleteTimerQueueEx(queue_, INVALID_HANDLE_VALUE));
        EXPECT_EQ(context_.left.load(), context_.entered.load());
    }

    void StartTimer(DWORD due, DWORD period) {
        ASSERT_TRUE(CreateTimerQueueTimer(&timer_, queue_, &tick_context::OnTimer, &context_, due, period,
                                          WT_EXECUTEDEFAULT));
    }

    tick_context context_;
    HANDLE queue_ = CreateTimerQueue();
    HANDLE timer_ = nullptr;
};

TEST_F(native_timers, callback_that_takes_long_meets_the_next_one) {
    StartTimer(1, kPeriod);
    EXPECT_EQ(WaitForSingleObject(context_.second_entered.get(), kSoon), WAIT_OBJECT_0);
    EXPECT_EQ(context_.left.load(), 0);
}

TEST_F(native_timers, deleting_an_idle_timer_signals_at_once_and_nothing_comes_later) {
    StartTimer(50, kPeriod);
    const unique_event done = ManualReset();
    EXPECT_TRUE(DeleteTimerQueueTimer(queue_, timer_, done.get()));
    EXPECT_EQ(WaitForSingleObject(done.get(), 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(context_.second_entered.get(), 100), WAIT_TIMEOUT);
    EXPECT_EQ(context_.entered.load(), 0);
}

TEST_F(native_timers, deleting_a_busy_timer_signals_when_its_callbacks_have_returned) {
    StartTimer(1, kPeriod);
    ASSERT_EQ(WaitForSingleObject(context_.second_entered.get(), kSoon), WAIT_OBJECT_0);
    const unique_event done = ManualReset();
    EXPECT_FALSE(DeleteTimerQueueTimer(queue_, timer_, done.get()));
    EXPECT_EQ(GetLastError(), ERROR_IO_PENDING);
    EXPECT_EQ(WaitForSingleObject(done.get(), 50), WAIT_TIMEOUT);
    ASSERT_TRUE(SetEvent(context_.go_on.get()));
    EXPECT_EQ(WaitForSingleObject(done.get(), kSoon), WAIT_OBJECT_0);
    EXPECT_EQ(context_.left.load(), context_.entered.load());
}

TEST(native_timer_queues, deleting_a_busy_queue_signals_when_its_callbacks_have_returned) {
    tick_context context;
    HANDLE const queue = CreateTimerQueue();
    HANDLE timer = nullptr;
    ASSERT_TRUE(CreateTimerQueueTimer(&timer, queue, &tick_context::OnTimer, &context, 1, kPeriod,
                                      WT_EXECUTEDEFAULT));
    ASSERT_EQ(WaitForSingleObject(context.second_entered.get(), kSoon), WAIT_OBJECT_0);
    const unique_event done = ManualReset();
    EXPECT_FALSE(DeleteTimerQueueEx(queue, done.get()));
    EXPECT_EQ(WaitForSingleObject(done.get(), 50), WAIT_TIMEOUT);
    ASSERT_TRUE(SetEvent(context.go_on.get()));
    EXPECT_EQ(WaitForSingleObject(done.get(), kSoon), WAIT_OBJECT_0);
    EXPECT_EQ(context.left.load(), context.entered.load());
}

}  // namespace
}  // namespace brivelnox::native
