#pragma once

#include <atomic>
#include <stdexcept>

#include "platform/locks.h"

namespace brivelnox {

/// The one lock around every call of a TAPI event procedure and of TAPI's completion procedure, so that TAPI
/// never receives two messages of this provider at once. It is the last lock in the order. An operation that
/// works on a line with the lines lock held, or that may come to send, takes its own lock and this one
/// together (lock_pair_guard): nobody waits for the event lock while holding a lock that a request made from
/// inside a callback could need. Such a request comes with the event lock held and takes the others after it;
/// that is safe because whoever holds them then neither has the event lock nor waits for it.
///
/// It can be shut: at shutdown, after which nothing is told to TAPI any more.
class BRIVELNOX_CAPABILITY("mutex") event_lock : public recursive_mutex {
  public:
    event_lock() : recursive_mutex(lock_rank::event) {}

    /// Hides the base's operations behind this capability's own.
    void lock() BRIVELNOX_ACQUIRE() BRIVELNOX_NO_THREAD_SAFETY_ANALYSIS { recursive_mutex::lock(); }
    bool try_lock() BRIVELNOX_TRY_ACQUIRE(true) BRIVELNOX_NO_THREAD_SAFETY_ANALYSIS {
        return recursive_mutex::try_lock();
    }
    bool try_lock_until(lock_clock::time_point deadline)
        BRIVELNOX_TRY_ACQUIRE(true) BRIVELNOX_NO_THREAD_SAFETY_ANALYSIS {
        return recursive_mutex::try_lock_until(deadline);
    }
    void unlock() BRIVELNOX_RELEASE() BRIVELNOX_NO_THREAD_SAFETY_ANALYSIS { recursive_mutex::unlock(); }

    /// Shuts the way to TAPI for good. A thread that shuts it while holding the lock knows that nothing is
    /// told after it lets go; without the lock, only the message that is on its way at that moment still
    /// arrives.
    void Shut() { shut_.store(true); }
    /// Whether it is shut. Meaningful with the lock held.
    [[nodiscard]] bool IsShut() const { return shut_.load(); }
    /// Throws std::runtime_error when it is shut: a request whose success TAPI could not be told has to fail
    /// before it does anything. To be called with the lock held.
    void RequireOpen() const {
        if (IsShut()) {
            throw std::runtime_error("shutting down");
        }
    }

  private:
    std::atomic<bool> shut_{false};
};

}  // namespace brivelnox
