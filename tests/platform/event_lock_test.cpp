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

TEST(event_lock, its_holder_may_take_it_again) {
    event_lock events;
    const lock_guard outer(events);
    EXPECT_TRUE(CanTake(events));
}

TEST(event_lock, nobody_else_gets_it_while_it_is_held) {
    event_lock events;
    const lock_guard guard(events);
    worker other([&] { EXPECT_FALSE(CanTake(events)); });
    EXPECT_TRUE(other.FinishesWithin(kSoon));
}

TEST(event_lock, a_held_lock_is_waited_for_until_the_deadline_only) {
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

TEST(event_lock, is_open_until_it_is_shut_and_then_shut_for_good) {
    event_lock events;
    EXPECT_FALSE(events.IsShut());
    events.Shut();
    EXPECT_TRUE(events.IsShut());
    events.Shut();
    EXPECT_TRUE(events.IsShut());
}

}  // namespace
}  // namespace brivelnox::test
