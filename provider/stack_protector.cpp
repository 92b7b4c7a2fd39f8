// What the code that GCC adds to functions with buffers calls when one of them has written beyond its end.
// GCC's own library ends in an exception, which a service that guards its calls into providers would catch
// and live on with; and it loads a cryptographic provider while the DLL is being loaded. Visual C++ brings
// its own of both.

#include <windows.h>
#include <ntsecapi.h>

#include <cstdint>

namespace {

std::uintptr_t NewGuard() {
    // Where the system has no random numbers: what no text holds.
    std::uintptr_t guard = 0xFF0A0D00;
    (void)RtlGenRandom(&guard, sizeof guard);
    return guard;
}

}  // namespace

extern "C" {

/// What is put behind the buffers, and compared when the function returns. It is made as the DLL is loaded,
/// by this file alone, so no other function is under way and sees it change.
std::uintptr_t __stack_chk_guard = NewGuard();

/// Ends the process at once, as Visual C++'s check does, and past all exception handlers.
[[noreturn]] void __stack_chk_fail() {
    EXCEPTION_RECORD record = {};
    record.ExceptionCode = STATUS_STACK_BUFFER_OVERRUN;
    RaiseFailFastException(&record, nullptr, FAIL_FAST_GENERATE_EXCEPTION_ADDRESS);
    __builtin_trap();
}
}
