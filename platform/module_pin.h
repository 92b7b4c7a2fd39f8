#pragma once

#include <windows.h>

#include "platform/unique_handle.h"

namespace brivelnox {

/// Keeps the module that this is part of loaded as long as the returned owner lives: code of a thread that
/// nobody waits for may still run when the telephony service unloads the provider. Empty when the system
/// refuses. A thread that gives up its own pin ends itself with it (FreeLibraryAndExitThread): behind a mere
/// FreeLibrary there may be no code left. Any thread.
[[nodiscard]] inline unique_module PinThisModule() {
    unique_module module;
    // Any address inside the module will do.
    (void)GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                             reinterpret_cast<const wchar_t*>(&PinThisModule), module.put());
    return module;
}

}  // namespace brivelnox
