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
    AcquireSRWLockExclusive(&state_lock_);
    if (owner_ != 0 && owner_ != self && milliseconds != 0) {
        (void)SleepConditionVariableSRW(&released_, &state_lock_, milliseconds, 0);
    }
    const bool acquired = owner_ == 0 || owner_ == self;
    if (acquired) {
        owner_ = self;
        ++depth_;
    }
    ReleaseSRWLockExclusive(&state_lock_);
    return watch_.TakenIf(acquired);
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
    AcquireSRWLockExclusive(&state_lock_);
    const bool released = --depth_ == 0;
    if (released) {
        owner_ = 0;
    }
    ReleaseSRWLockExclusive(&state_lock_);
    if (released) {
        WakeConditionVariable(&released_);
    }
}

}  // namespace brivelnox
