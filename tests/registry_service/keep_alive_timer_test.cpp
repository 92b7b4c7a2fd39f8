#include "registry_service/keep_alive_timer.h"

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/signal.h"
#include "tests/support/worker.h"

namespace brivelnox::test {

/// The timer's queue. An explicit instantiation may name private members.
HANDLE& QueueOf(keep_alive_timer& timer);

template <HANDLE keep_alive_timer::*Member>
struct timer_queue_access {
    friend HANDLE& QueueOf(keep_alive_timer& timer) { return timer.*Member; }
};
template struct timer_queue_access<&keep_alive_timer::queue_>;

namespace {

using std::chrono::milliseconds;

constexpr DWORD kShort = 20;
constexpr DWORD kHour = 3600 * 1000;
constexpr milliseconds kManyPeriods{15 * kShort};

class keep_alive_timing : public testing::Test {
  protected:
    static void CALLBACK OnOtherTimer(void* test, BOOLEAN) {
        auto& self = *static_cast<keep_alive_timing*>(test);
        self.ticked_.Set();
        EXPECT_TRUE(self.go_on_.Wait());
    }

    std::shared_ptr<int> owner_ = std::make_shared<int>(0);
    // Declared before the timer, which may tick until it is gone.
    signal ticked_;
    signal ticked_often_;
    signal go_on_;
    std::atomic<int> ticks_{0};
    std::atomic<int> ticks_at_once_{0};
    keep_alive_timer timer_;
};

TEST_F(keep_alive_timing, ticks_first_after_its_period) {
    constexpr DWORD kPeriod = 200;
    const stopwatch watch;
    timer_.Start(kPeriod, owner_, [this] { ticked_.Set(); });
    ASSERT_TRUE(ticked_.Wait());
    EXPECT_GE(watch.Elapsed(), milliseconds(kPeriod - 50));
}

TEST_F(keep_alive_timing, ticks_again_and_again_on_another_thread) {
    const std::thread::id here = std::this_thread::get_id();
    timer_.Start(kShort, owner_, [this, here] {
        EXPECT_NE(std::this_thread::get_id(), here);
        if (++ticks_ == 5) {
            ticked_often_.Set();
        }
    });
    EXPECT_TRUE(ticked_often_.Wait());
}

TEST_F(keep_alive_timing, tick_that_throws_is_followed_by_the_next) {
    timer_.Start(kShort, owner_, [this] {
        if (++ticks_ == 3) {
            ticked_often_.Set();
        }
        throw std::runtime_error("this tick has failed");
    });
    EXPECT_TRUE(ticked_often_.Wait());
}

TEST_F(keep_alive_timing, ticks_never_overlap) {
    timer_.Start(kShort, owner_, [this] {
        EXPECT_EQ(++ticks_at_once_, 1);
        ticked_.Set();
        (void)go_on_.Wait(kManyPeriods);
        --ticks_at_once_;
        if (++ticks_ == 3) {
            go_on_.Set();
            ticked_often_.Set();
        }
    });
    ASSERT_TRUE(ticked_.Wait());
    EXPECT_TRUE(ticked_often_.Wait());
}

TEST_F(keep_alive_timing, timer_of_an_owner_that_has_gone_does_not_tick) {
    const std::weak_ptr<void> gone = std::make_shared<int>(0);
    timer_.Start(kShort, gone, [this] { ticked_.Set(); });
    EXPECT_FALSE(ticked_.Wait(kManyPeriods));
}

TEST_F(keep_alive_timing, owner_is_held_while_it_ticks) {
    const std::weak_ptr<int> watched = owner_;
    timer_.Start(kShort, owner_, [this] {
        ticked_.Set();
        EXPECT_TRUE(go_on_.Wait());
    });
    ASSERT_TRUE(ticked_.Wait());
    owner_ = nullptr;
    EXPECT_FALSE(watched.expired());
    go_on_.Set();
    timer_.Stop();
    EXPECT_TRUE(watched.expired());
}

TEST_F(keep_alive_timing, stop_waits_for_a_tick_that_is_running) {
    std::atomic<bool> tick_done = false;
    timer_.Start(kShort, owner_, [&] {
        ticked_.Set();
        EXPECT_TRUE(go_on_.Wait());
        tick_done = true;
    });
    ASSERT_TRUE(ticked_.Wait());
    auto stopped = std::async(std::launch::async, [&] {
        timer_.Stop();
        return tick_done.load();
    });
    EXPECT_EQ(stopped.wait_for(milliseconds(100)), std::future_status::timeout);
    go_on_.Set();
    EXPECT_TRUE(stopped.get());
}

TEST_F(keep_alive_timing, stop_waits_for_the_end_of_its_queue) {
    // Another timer in the queue, which outlasts the keep-alive timer in it.
    HANDLE other = nullptr;
    ASSERT_TRUE(CreateTimerQueueTimer(&other, QueueOf(timer_), &keep_alive_timing::OnOtherTimer, this, 0, 0,
                                      WT_EXECUTEDEFAULT));
    timer_.Start(kHour, owner_, [] {});
    ASSERT_TRUE(ticked_.Wait());
    worker stopping([this] { timer_.Stop(); });
    EXPECT_FALSE(stopping.FinishesWithin(milliseconds(100)));
    go_on_.Set();
}

TEST_F(keep_alive_timing, nothing_ticks_after_a_stop) {
    timer_.Start(kShort, owner_, [this] {
        ++ticks_;
        ticked_.Set();
    });
    ASSERT_TRUE(ticked_.Wait());
    timer_.Stop();
    const int ticks = ticks_;
    signal never;
    (void)never.Wait(kManyPeriods);
    EXPECT_EQ(ticks_, ticks);
}

TEST_F(keep_alive_timing, stop_is_idempotent_and_needs_no_start) {
    const stopwatch watch;
    timer_.Stop();
    timer_.Stop();
    EXPECT_LT(watch.Elapsed(), milliseconds(2500));
    timer_.Start(kShort, owner_, [this] { ticked_.Set(); });
    EXPECT_FALSE(ticked_.Wait(kManyPeriods)) << "a timer that was stopped does not start again";
}

TEST_F(keep_alive_timing, timers_are_independent_of_each_other) {
    keep_alive_timer other;
    other.Start(kShort, owner_, [this] {
        ticked_.Set();
        EXPECT_TRUE(go_on_.Wait());
    });
    ASSERT_TRUE(ticked_.Wait());
    // The other one's tick is still running.
    const stopwatch watch;
    timer_.Start(kShort, owner_, [] {});
    timer_.Stop();
    EXPECT_LT(watch.Elapsed(), milliseconds(2500));
    go_on_.Set();
}

}  // namespace
}  // namespace brivelnox::test
