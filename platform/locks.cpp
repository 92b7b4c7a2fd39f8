#include "platform/locks.h"

#include <algorithm>

namespace brivelnox {

namespace {

/// The milliseconds until the deadline, rounded up and never INFINITE; 0 when it has passed.
DWORD MillisecondsUntil(lock_clock::time_point deadline) {
    using std::chrono::milliseconds;
    const auto remaining = std::chrono::ceil<milliseconds>(deadline - lock_clock::now()).count();
    return static_cast<DWORD>(std::clamp<std::int64_t>(remaining, 0, INFINITE - 1));
}

}  // namespace

bool recursive_mutex::AcquireOnce(DWORD milliseconds) {
    const DWORD self = GetCurrentThreadId();
    // No other thread ever writes this one's id.
    if (owner_.load() != self) {
        AcquireSRWLockExclusive(&state_lock_);
        if (owner_.load() != 0 && milliseconds != 0) {
            (void)SleepConditionVariableSRW(&released_, &state_lock_, milliseconds, 0);
        }
        const bool is_free = owner_.load() == 0;
        if (is_free) {
            owner_.store(self);
        }
        ReleaseSRWLockExclusive(&state_lock_);
        if (!is_free) {
            return false;
        }
    }
    ++depth_;
    watch_.Taken();
    return true;
}

void recursive_mutex::lock() {
    watch_.BeforeWait();
    while (!AcquireOnce(INFINITE)) {
    }
}

bool recursive_mutex::try_lock_until(lock_clock::time_point deadline) {
    for (;;) {
        // What is left, so that a thread which is woken and finds the lock taken again does not begin anew.
        const DWORD remaining = MillisecondsUntil(deadline);
        if (AcquireOnce(remaining)) {
            return true;
        }
        if (remaining == 0) {
            return false;
        }
    }
}

void recursive_mutex::unlock() {
    watch_.Released();
    if (--depth_ != 0) {
        return;
    }
    AcquireSRWLockExclusive(&state_lock_);
    owner_.store(0);
    ReleaseSRWLockExclusive(&state_lock_);
    WakeConditionVariable(&released_);
}

}  // namespace brivelnox
