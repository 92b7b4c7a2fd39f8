// GCC's thread library takes a slot of thread-local storage when it is first used, and never gives it back:
// with each unloading of the DLL the process would have one less, until a load finds none and ends it.

#include <windows.h>

#include <cstdlib>

extern "C" {

extern DWORD(WINAPI* const __real___imp_TlsAlloc)();

/// Where the linker sends TlsAlloc. The slot goes when the module goes, behind whatever was made after it.
DWORD WINAPI TakeSlot() {
    static DWORD slot;
    slot = __real___imp_TlsAlloc();
    (void)std::atexit([] { (void)TlsFree(slot); });
    return slot;
}

extern DWORD(WINAPI* const __wrap___imp_TlsAlloc)() = &TakeSlot;
}
