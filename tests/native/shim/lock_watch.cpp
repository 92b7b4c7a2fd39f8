// Shows the provider's recursive locks to the check of lock orders. The linker leads every call of their
// operations from another source to the functions here ("--wrap" in the build file names the same symbols),
// and the operations themselves are then called by the name with "__real_".

#include "platform/locks.h"
#include "shim/lock_order.h"

#define BRIVELNOX_LOCK "_ZN9brivelnox15recursive_mutex4lockEv"
#define BRIVELNOX_UNLOCK "_ZN9brivelnox15recursive_mutex6unlockEv"
#define BRIVELNOX_ACQUIRE_ONCE "_ZN9brivelnox15recursive_mutex11AcquireOnceEj"
#define BRIVELNOX_TRY_UNTIL                                                  \
    "_ZN9brivelnox15recursive_mutex14try_lock_untilENSt6chrono10time_pointI" \
    "NS1_3_V212steady_clockENS1_8durationIlSt5ratioILl1ELl1000000000EEEEEE"

namespace {

using brivelnox::recursive_mutex;
namespace lock_order = brivelnox::native::lock_order;

bool Note(recursive_mutex* lock, bool taken) {
    if (taken) {
        lock_order::Taken(lock);
    }
    return taken;
}

}  // namespace

void RealLock(recursive_mutex* lock) asm("__real_" BRIVELNOX_LOCK);
void RealUnlock(recursive_mutex* lock) asm("__real_" BRIVELNOX_UNLOCK);
bool RealAcquireOnce(recursive_mutex* lock, DWORD milliseconds) asm("__real_" BRIVELNOX_ACQUIRE_ONCE);
bool RealTryUntil(recursive_mutex* lock,
                  brivelnox::lock_clock::time_point deadline) asm("__real_" BRIVELNOX_TRY_UNTIL);

void WatchedLock(recursive_mutex* lock) asm("__wrap_" BRIVELNOX_LOCK);
void WatchedUnlock(recursive_mutex* lock) asm("__wrap_" BRIVELNOX_UNLOCK);
bool WatchedAcquireOnce(recursive_mutex* lock, DWORD milliseconds) asm("__wrap_" BRIVELNOX_ACQUIRE_ONCE);
bool WatchedTryUntil(recursive_mutex* lock,
                     brivelnox::lock_clock::time_point deadline) asm("__wrap_" BRIVELNOX_TRY_UNTIL);

void WatchedLock(recursive_mutex* lock) {
    lock_order::BeforeWait(lock);
    RealLock(lock);
    lock_order::Taken(lock);
}

void WatchedUnlock(recursive_mutex* lock) {
    lock_order::Released(lock);
    RealUnlock(lock);
}

/// Called from elsewhere only by try_lock, which does not wait.
bool WatchedAcquireOnce(recursive_mutex* lock, DWORD milliseconds) {
    return Note(lock, RealAcquireOnce(lock, milliseconds));
}

/// A wait that ends in any case cannot lock up.
bool WatchedTryUntil(recursive_mutex* lock, brivelnox::lock_clock::time_point deadline) {
    return Note(lock, RealTryUntil(lock, deadline));
}
