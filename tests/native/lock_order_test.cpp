// The check of lock orders: finds what can lock up and nothing else.

#include <chrono>
#include <functional>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "platform/locks.h"

namespace brivelnox::native {
namespace {

using lock = recursive_mutex;
using guard = lock_guard<lock>;

/// Holds the locks, taken in the order given, one after the other and lets go of them again.
template <class... Locks>
void Take(lock& first, Locks&... others) {
    const guard held(first);
    if constexpr (sizeof...(others) != 0) {
        Take(others...);
    }
}

class native_lock_order : public testing::Test {
  protected:
    native_lock_order() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
    lock a_;
    lock b_;
    lock c_;
    lock gate_;
};

using native_lock_order_death = native_lock_order;

constexpr char kReport[] = "wait for each other for ever";

TEST_F(native_lock_order_death, OppositeOrdersAreReported) {
    EXPECT_DEATH(
        {
            Take(a_, b_);
            std::thread(&Take<lock>, std::ref(b_), std::ref(a_)).join();
        },
        kReport);
}

TEST_F(native_lock_order_death, CycleOfThreeIsReported) {
    EXPECT_DEATH(
        {
            Take(a_, b_);
            Take(b_, c_);
            Take(c_, a_);
        },
        kReport);
}

TEST_F(native_lock_order_death, OrderWithoutTheGateIsReportedBesideOneWithIt) {
    EXPECT_DEATH(
        {
            Take(gate_, a_, b_);
            Take(b_, a_);
        },
        kReport);
}

TEST_F(native_lock_order, OneOrderEverywhereIsFine) {
    Take(a_, b_, c_);
    Take(a_, c_);
    Take(b_, c_);
    SUCCEED();
}

TEST_F(native_lock_order, GateHeldByEverybodyKeepsOppositeOrdersApart) {
    Take(gate_, a_, b_);
    Take(gate_, b_, a_);
    SUCCEED();
}

TEST_F(native_lock_order, LockThatIsOnlyTriedMakesNoOrder) {
    Take(a_, b_);
    const guard held(b_);
    ASSERT_TRUE(a_.try_lock());
    a_.unlock();
    ASSERT_TRUE(a_.try_lock_until(lock_clock::now() + std::chrono::seconds(1)));
    a_.unlock();
}

TEST_F(native_lock_order, LockThatIsHeldAlreadyMakesNoOrder) {
    Take(a_, b_);
    const guard first(a_);
    const guard second(b_);
    Take(a_);
    SUCCEED();
}

TEST_F(native_lock_order, TakingSeveralTogetherMakesNoOrder) {
    { const lock_pair_guard together(a_, b_); }
    const lock_pair_guard together(b_, a_);
    SUCCEED();
}

}  // namespace
}  // namespace brivelnox::native
