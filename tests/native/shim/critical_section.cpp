#include <windows.h>

#include <cerrno>

#include "shim/misuse.h"

namespace {

void Check(int error, const char* what) {
    if (error != 0) {
        brivelnox::native::Misuse(what);
    }
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
