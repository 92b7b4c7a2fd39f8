// Critical sections, slim locks and condition variables.

#include <windows.h>

#include <cerrno>
#include <ctime>

#include "shim/misuse.h"

namespace {

void Check(int error, const char* what) {
    if (error != 0) {
        brivelnox::native::Misuse(what);
    }
}

timespec After(DWORD milliseconds) {
    constexpr long kNanosecondsPerSecond = 1000000000;
    timespec time = {};
    (void)clock_gettime(CLOCK_MONOTONIC, &time);
    time.tv_sec += milliseconds / 1000;
    time.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
    if (time.tv_nsec >= kNanosecondsPerSecond) {
        time.tv_nsec -= kNanosecondsPerSecond;
        ++time.tv_sec;
    }
    return time;
}

}  // namespace

void InitializeCriticalSection(CRITICAL_SECTION* section) {
    pthread_mutexattr_t attributes;
    Check(pthread_mutexattr_init(&attributes), "no critical section");
    Check(pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE), "no critical section");
    Check(pthread_mutex_init(&section->mutex, &attributes), "no critical section");
    Check(pthread_mutexattr_destroy(&attributes), "no critical section");
}

BOOL InitializeCriticalSectionAndSpinCount(CRITICAL_SECTION* section, DWORD) {
    InitializeCriticalSection(section);
    return TRUE;
}

void DeleteCriticalSection(CRITICAL_SECTION* section) {
    Check(pthread_mutex_destroy(&section->mutex), "a critical section is deleted while it is held");
}

void EnterCriticalSection(CRITICAL_SECTION* section) {
    Check(pthread_mutex_lock(&section->mutex), "a critical section cannot be entered");
}

BOOL TryEnterCriticalSection(CRITICAL_SECTION* section) {
    const int error = pthread_mutex_trylock(&section->mutex);
    Check(error == EBUSY ? 0 : error, "a critical section cannot be entered");
    return error == 0;
}

void LeaveCriticalSection(CRITICAL_SECTION* section) {
    Check(pthread_mutex_unlock(&section->mutex), "a critical section is left by a thread that is not in it");
}

void AcquireSRWLockExclusive(SRWLOCK* lock) {
    Check(pthread_mutex_lock(&lock->mutex), "a slim lock cannot be taken");
}

BOOLEAN TryAcquireSRWLockExclusive(SRWLOCK* lock) {
    return pthread_mutex_trylock(&lock->mutex) == 0 ? TRUE : FALSE;
}

void ReleaseSRWLockExclusive(SRWLOCK* lock) {
    Check(pthread_mutex_unlock(&lock->mutex), "a slim lock is released that cannot be");
}

BOOL SleepConditionVariableSRW(CONDITION_VARIABLE* condition, SRWLOCK* lock, DWORD milliseconds,
                               ULONG flags) {
    if (flags != 0) {
        brivelnox::native::Misuse("slim locks are known here for exclusive use only");
    }
    int error = 0;
    if (milliseconds == INFINITE) {
        error = pthread_cond_wait(&condition->condition, &lock->mutex);
    } else {
        const timespec until = After(milliseconds);
        error = pthread_cond_clockwait(&condition->condition, &lock->mutex, CLOCK_MONOTONIC, &until);
    }
    if (error == ETIMEDOUT) {
        SetLastError(ERROR_TIMEOUT);
        return FALSE;
    }
    Check(error, "a condition variable cannot be waited for");
    return TRUE;
}

void WakeConditionVariable(CONDITION_VARIABLE* condition) {
    (void)pthread_cond_signal(&condition->condition);
}

void WakeAllConditionVariable(CONDITION_VARIABLE* condition) {
    (void)pthread_cond_broadcast(&condition->condition);
}
