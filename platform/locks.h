#pragma once

// The locks of the provider and the guards that take them. Locks are taken only through the guards below, so
// that clang's analysis sees every acquisition and no path can leave one held.

#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>

#include "platform/lock_order.h"
#include "platform/thread_annotations.h"

namespace brivelnox {

using lock_clock = std::chrono::steady_clock;

// The locks stand on the system's own slim lock and condition variable, which need no memory and no handle: a
// lock is part of every call record, and some runtimes give each standard mutex an allocation that they never
// free.

/// A lock for a few lines of code, which its holder must not take again. Most are leaves: nothing outside
/// their own class is called under them.
class BRIVELNOX_CAPABILITY("mutex") mutex {
  public:
    /// `rank` is its place in the order of locks.
    explicit mutex(lock_rank rank = lock_rank::leaf) : watch_(rank, false) {}
    mutex(const mutex&) = delete;
    mutex& operator=(const mutex&) = delete;

    void lock() BRIVELNOX_ACQUIRE() {
        watch_.BeforeWait();
        AcquireSRWLockExclusive(&inner_);
        watch_.Taken();
    }
    bool try_lock() BRIVELNOX_TRY_ACQUIRE(true) {
        return watch_.TakenIf(TryAcquireSRWLockExclusive(&inner_) != FALSE);
    }
    void unlock() BRIVELNOX_RELEASE() {
        watch_.Released();
        ReleaseSRWLockExclusive(&inner_);
    }

  private:
    SRWLOCK inner_ = SRWLOCK_INIT;
    lock_watch watch_;
};

/// A lock that its holder may take again, because TAPI calls back into the provider from inside an event
/// procedure. Waiting can be bounded, which shutdown needs: an application that blocks in a callback must not
/// keep the telephony service from stopping.
class BRIVELNOX_CAPABILITY("mutex") recursive_mutex {
  public:
    /// `rank` is its place in the order of locks.
    explicit recursive_mutex(lock_rank rank = lock_rank::leaf) : watch_(rank) {}
    recursive_mutex(const recursive_mutex&) = delete;
    recursive_mutex& operator=(const recursive_mutex&) = delete;

    void lock() BRIVELNOX_ACQUIRE();
    bool try_lock() BRIVELNOX_TRY_ACQUIRE(true) { return AcquireOnce(0); }
    /// Waits until the deadline at the latest. Returns whether the lock is held.
    bool try_lock_until(lock_clock::time_point deadline) BRIVELNOX_TRY_ACQUIRE(true);
    void unlock() BRIVELNOX_RELEASE();

  private:
    /// Takes the lock, waiting once where another thread has it. Another thread may be quicker when it is
    /// released.
    [[nodiscard]] bool AcquireOnce(DWORD milliseconds);

    SRWLOCK state_lock_ = SRWLOCK_INIT;  // for coming and going; its holder comes again without it
    CONDITION_VARIABLE released_ = CONDITION_VARIABLE_INIT;
    std::atomic<DWORD> owner_{0};  // the holder's thread id; 0 is nobody's
    std::uint32_t depth_ = 0;      // the holder's alone
    lock_watch watch_;
};

/// A Win32 critical section, re-entrant, with a spin count for short holds on several processors.
class BRIVELNOX_CAPABILITY("mutex") critical_section {
  public:
    /// `rank` is its place in the order of locks.
    explicit critical_section(DWORD spin_count, lock_rank rank = lock_rank::leaf) : watch_(rank) {
        // Documented to succeed on every Windows that this provider can be loaded on.
        (void)InitializeCriticalSectionAndSpinCount(&inner_, spin_count);
    }
    ~critical_section() { DeleteCriticalSection(&inner_); }
    critical_section(const critical_section&) = delete;
    critical_section& operator=(const critical_section&) = delete;

    void lock() BRIVELNOX_ACQUIRE() {
        watch_.BeforeWait();
        EnterCriticalSection(&inner_);
        watch_.Taken();
    }
    bool try_lock() BRIVELNOX_TRY_ACQUIRE(true) {
        return watch_.TakenIf(TryEnterCriticalSection(&inner_) != FALSE);
    }
    void unlock() BRIVELNOX_RELEASE() {
        watch_.Released();
        LeaveCriticalSection(&inner_);
    }

  private:
    CRITICAL_SECTION inner_;
    lock_watch watch_;
};

/// Holds one lock for the length of a block.
template <class Lock>
class BRIVELNOX_SCOPED_CAPABILITY lock_guard {
  public:
    explicit lock_guard(Lock& lock) BRIVELNOX_ACQUIRE(lock) : lock_(lock) { lock_.lock(); }
    /// Takes charge of a lock that a successful try_lock has left held.
    lock_guard(Lock& lock, std::adopt_lock_t) BRIVELNOX_REQUIRES(lock) : lock_(lock) {}
    ~lock_guard() BRIVELNOX_RELEASE() { lock_.unlock(); }
    lock_guard(const lock_guard&) = delete;
    lock_guard& operator=(const lock_guard&) = delete;

  private:
    Lock& lock_;
};

}  // namespace brivelnox
