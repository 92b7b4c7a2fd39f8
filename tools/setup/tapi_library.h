#pragma once

// TAPI, loaded while it is needed: what it keeps of the telephony service is void as soon as that has
// stopped.

#include <windows.h>

#include <string>

#include "platform/unique_handle.h"
#include "tools/setup/failure.h"

namespace brivelnox::setup {

/// TAPI from the system's own folder: the program may have been started in a folder to which anybody could
/// have brought a file of this name. Throws a failure if it cannot be loaded.
[[nodiscard]] unique_module LoadTapi();

/// One of its functions, of the type that its header declares. Throws a failure if it is not there.
template <class Function>
[[nodiscard]] Function* FindInTapi(const unique_module& tapi, const char* name) {
    const FARPROC found = GetProcAddress(tapi.get(), name);
    if (found == nullptr) {
        FailWithLastError(std::string("TAPI does not have ") + name);
    }
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(found));
}

}  // namespace brivelnox::setup
