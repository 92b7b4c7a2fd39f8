// The one lock around everything that is told to TAPI.

#include "platform/event_lock.h"

#include <chrono>

#include <gtest/gtest.h>

#include "platform/locks.h"
#include "tests/support/worker.h"

namespace brivelnox::test {
namespace {

using namespace std::chrono_literals;

/// Whether the calling thread gets the lock at once; it does not keep it.
bool CanTake(event_lock& events) {
    const bool taken = events.try_lock();
    if (taken) {
        events.unlock();
    }
    return taken;
}

TEST(event_lock, ItsHolderMayTakeItAgain) {
    event_lock events;
    const lock_guard outer(events);
    EXPECT_TRUE(CanTake(events));
}

TEST(event_lock, NobodyElseGetsItWhileItIsHeld) {
    event_lock events;
    const lock_guard guard(events);
    worker other([&] { EXPECT_FALSE(CanTake(events)); });
    EXPECT_TRUE(other.FinishesWithin(kSoon));
}

TEST(event_lock, AHeldLockIsWaitedForUntilTheDeadlineOnly) {
    event_lock events;
    const lock_guard guard(events);
    worker other([&] {
        const auto deadline = lock_clock::now() + 50ms;
        const bool taken = events.try_lock_until(deadline);
        EXPECT_FALSE(taken);
        EXPECT_GE(lock_clock::now(), deadline);
        if (taken) {
            events.unlock();
        }
    });
    EXPECT_TRUE(other.FinishesWithin(kSoon));
}

TEST(event_lock, IsOpenUntilItIsShutAndThenShutForGood) {
    event_lock events;
    EXPECT_FALSE(events.IsShut());
    events.Shut();
    EXPECT_TRUE(events.IsShut());
    events.Shut();
    EXPECT_TRUE(events.IsShut());
}

}  // namespace
}  // namespace brivelnox::test
