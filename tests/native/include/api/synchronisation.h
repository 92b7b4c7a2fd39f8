#pragma once

#include <pthread.h>

#include "api/types.h"

inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_ABANDONED = 0x80;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
inline constexpr DWORD MAXIMUM_WAIT_OBJECTS = 64;

/// Events, threads, files and timer queues. A handle that is used after it has been closed, is closed while a
/// thread waits on it, or is of another kind than the call expects, ends the program with a message: on
/// Windows it would hit whatever got the number next.
BOOL CloseHandle(HANDLE handle);

HANDLE CreateEventW(SECURITY_ATTRIBUTES* attributes, BOOL manual_reset, BOOL initially_set,
                    const wchar_t* name);
BOOL SetEvent(HANDLE event);
BOOL ResetEvent(HANDLE event);

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);
DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_for_all, DWORD milliseconds);

using LPTHREAD_START_ROUTINE = DWORD (*)(void*);

HANDLE CreateThread(SECURITY_ATTRIBUTES* attributes, SIZE_T stack_size, LPTHREAD_START_ROUTINE start,
                    void* argument, DWORD flags, DWORD* id);
BOOL GetExitCodeThread(HANDLE thread, DWORD* exit_code);
DWORD GetCurrentThreadId();
DWORD GetCurrentProcessId();
void Sleep(DWORD milliseconds);

struct CRITICAL_SECTION {
    pthread_mutex_t mutex;
};

void InitializeCriticalSection(CRITICAL_SECTION* section);
BOOL InitializeCriticalSectionAndSpinCount(CRITICAL_SECTION* section, DWORD spin_count);
void DeleteCriticalSection(CRITICAL_SECTION* section);
void EnterCriticalSection(CRITICAL_SECTION* section);
BOOL TryEnterCriticalSection(CRITICAL_SECTION* section);
void LeaveCriticalSection(CRITICAL_SECTION* section);

struct SRWLOCK {
    pthread_mutex_t mutex;
};
struct CONDITION_VARIABLE {
    pthread_cond_t condition;
};
#define SRWLOCK_INIT \
    { PTHREAD_MUTEX_INITIALIZER }
#define CONDITION_VARIABLE_INIT \
    { PTHREAD_COND_INITIALIZER }

void AcquireSRWLockExclusive(SRWLOCK* lock);
BOOLEAN TryAcquireSRWLockExclusive(SRWLOCK* lock);
void ReleaseSRWLockExclusive(SRWLOCK* lock);
BOOL SleepConditionVariableSRW(CONDITION_VARIABLE* condition, SRWLOCK* lock, DWORD milliseconds, ULONG flags);
void WakeConditionVariable(CONDITION_VARIABLE* condition);
void WakeAllConditionVariable(CONDITION_VARIABLE* condition);

using WAITORTIMERCALLBACK = void (*)(void* context, BOOLEAN fired);
inline constexpr ULONG WT_EXECUTEDEFAULT = 0;

HANDLE CreateTimerQueue();
/// Callbacks run on threads of their own, so one that takes longer than the period meets the next.
BOOL CreateTimerQueueTimer(HANDLE* timer, HANDLE queue, WAITORTIMERCALLBACK callback, void* context,
                           DWORD due_milliseconds, DWORD period_milliseconds, ULONG flags);
/// The event is signalled when no callback of the timer runs any more, which may be at once;
/// INVALID_HANDLE_VALUE waits here. False with ERROR_IO_PENDING while one still runs.
BOOL DeleteTimerQueueTimer(HANDLE queue, HANDLE timer, HANDLE completion_event);
/// The same for all timers of the queue and the queue itself.
BOOL DeleteTimerQueueEx(HANDLE queue, HANDLE completion_event);
