#include "platform/locks.h"

#include <chrono>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/signal.h"

// Locks are tried, kept and given back across blocks and threads here, which clang's analysis cannot follow.
#define BRIVELNOX_TEST_UNCHECKED BRIVELNOX_NO_THREAD_SAFETY_ANALYSIS

namespace brivelnox::test {
namespace {

using std::chrono::milliseconds;

template <class Lock>
bool TryAndGiveBack(Lock& lock) BRIVELNOX_TEST_UNCHECKED {
    if (!lock.try_lock()) {
        return false;
    }
    lock.unlock();
    return true;
}

/// Whether another thread could take the lock now.
template <class Lock>
bool IsFree(Lock& lock) {
    return std::async(std::launch::async, [&lock] { return TryAndGiveBack(lock); }).get();
}

/// Whether a guard that takes charge of a held lock keeps it held.
template <class Lock>
bool IsHeldByAdoptingGuard(Lock& lock) BRIVELNOX_TEST_UNCHECKED {
    if (!lock.try_lock()) {
        return false;
    }
    const lock_guard guard(lock, std::adopt_lock);
    return !IsFree(lock);
}

/// Whether a lock that its holder has taken again, and given back once, is still held.
template <class Lock>
bool StaysHeldWhenTakenTwiceAndGivenBackOnce(Lock& lock) BRIVELNOX_TEST_UNCHECKED {
    const lock_guard outer(lock);
    {
        const lock_guard inner(lock);
        if (!TryAndGiveBack(lock)) {
            return false;
        }
    }
    return !IsFree(lock);
}

/// A thread that holds a lock until it is told to give it back.
template <class Lock>
class holder {
  public:
    explicit holder(Lock& lock)
        : thread_([this, &lock] {
              const lock_guard guard(lock);
              held_.Set();
              (void)release_.Wait(std::chrono::minutes(2));
          }) {
        EXPECT_TRUE(held_.Wait());
    }
    ~holder() { Release(); }
    holder(const holder&) = delete;
    holder& operator=(const holder&) = delete;

    void Release() {
        release_.Set();
        if (thread_.joinable()) {
            thread_.join();
        }
    }

  private:
    signal held_;
    signal release_;
    std::thread thread_;
};

lock_clock::time_point In(milliseconds time) {
    return lock_clock::now() + time;
}

template <class Lock>
struct new_lock {
    Lock lock;
};
template <>
struct new_lock<critical_section> {
    critical_section lock{1024};
};

template <class Lock>
class locks : public testing::Test {};

using all_locks = testing::Types<mutex, recursive_mutex, critical_section>;
TYPED_TEST_SUITE(locks, all_locks);

TYPED_TEST(locks, guard_holds_the_lock_for_the_block) {
    new_lock<TypeParam> owner;
    {
        const lock_guard guard(owner.lock);
        EXPECT_FALSE(IsFree(owner.lock));
    }
    EXPECT_TRUE(IsFree(owner.lock));
}

TYPED_TEST(locks, guard_gives_the_lock_back_when_the_block_throws) {
    new_lock<TypeParam> owner;
    try {
        const lock_guard guard(owner.lock);
        throw 1;
    } catch (int) {
    }
    EXPECT_TRUE(IsFree(owner.lock));
}

TYPED_TEST(locks, guard_takes_charge_of_a_lock_that_is_already_held) {
    new_lock<TypeParam> owner;
    EXPECT_TRUE(IsHeldByAdoptingGuard(owner.lock));
    EXPECT_TRUE(IsFree(owner.lock));
}

TYPED_TEST(locks, two_threads_never_hold_the_lock_at_once) {
    constexpr int kRounds = 20000;
    new_lock<TypeParam> owner;
    int count = 0;
    const auto count_up = [&] {
        for (int round = 0; round < kRounds; ++round) {
            const lock_guard guard(owner.lock);
            ++count;
        }
    };
    std::thread first(count_up);
    std::thread second(count_up);
    first.join();
    second.join();
    EXPECT_EQ(count, 2 * kRounds);
}

template <class Lock>
class recursive_locks : public testing::Test {};

using locks_that_may_be_taken_again = testing::Types<recursive_mutex, critical_section>;
TYPED_TEST_SUITE(recursive_locks, locks_that_may_be_taken_again);

TYPED_TEST(recursive_locks, holder_may_take_the_lock_again_and_gives_it_back_as_often) {
    new_lock<TypeParam> owner;
    EXPECT_TRUE(StaysHeldWhenTakenTwiceAndGivenBackOnce(owner.lock));
    EXPECT_TRUE(IsFree(owner.lock));
}

TEST(recursive_mutex, bounded_wait_ends_without_the_lock_when_its_holder_keeps_it) {
    recursive_mutex lock;
    const holder held(lock);
    const stopwatch watch;
    EXPECT_FALSE(lock.try_lock_until(In(milliseconds(50))));
    EXPECT_GE(watch.Elapsed(), milliseconds(40));
}

TEST(recursive_mutex, bounded_wait_takes_a_lock_that_becomes_free) {
    recursive_mutex lock;
    holder held(lock);
    signal waiting;
    auto taken = std::async(std::launch::async, [&]() BRIVELNOX_TEST_UNCHECKED {
        waiting.Set();
        const bool result = lock.try_lock_until(In(kSoon));
        if (result) {
            lock.unlock();
        }
        return result;
    });
    ASSERT_TRUE(waiting.Wait());
    held.Release();
    EXPECT_TRUE(taken.get());
}

TEST(recursive_mutex, every_thread_that_waits_gets_its_turn) {
    constexpr int kThreads = 8;
    recursive_mutex lock;
    holder held(lock);
    int turns = 0;
    std::vector<std::future<void>> waiting;
    for (int thread = 0; thread < kThreads; ++thread) {
        waiting.push_back(std::async(std::launch::async, [&] {
            const lock_guard outer(lock);
            ++turns;
        }));
    }
    held.Release();
    for (std::future<void>& turn : waiting) {
        ASSERT_EQ(turn.wait_for(kSoon), std::future_status::ready);
    }
    EXPECT_EQ(turns, kThreads);
}

TEST(recursive_mutex, wait_that_ends_in_vain_does_not_cost_another_thread_its_turn) {
    recursive_mutex lock;
    for (int round = 0; round < 20; ++round) {
        holder held(lock);
        // One gives up at about the time at which the lock is given back; the other one has to get it.
        auto impatient = std::async(std::launch::async, [&]() BRIVELNOX_TEST_UNCHECKED {
            if (lock.try_lock_until(In(milliseconds(5)))) {
                lock.unlock();
            }
        });
        auto patient = std::async(std::launch::async, [&] { const lock_guard guard(lock); });
        EXPECT_EQ(patient.wait_for(milliseconds(5)), std::future_status::timeout);
        held.Release();
        ASSERT_EQ(patient.wait_for(kSoon), std::future_status::ready);
        impatient.get();
    }
}

}  // namespace
}  // namespace brivelnox::test
