// The process entry point of the DLL.

#include <windows.h>

#include "logging/logger.h"
#include "provider/module_handle.h"

namespace {

constexpr wchar_t kLogName[] = L"Brivelnox.Tsp";

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    switch (reason) {
        case DLL_PROCESS_ATTACH:
            try {
                brivelnox::logger::Process().Start(true, kLogName);
            } catch (...) {
                // Without a log the provider still works.
            }
            brivelnox::module_handle.store(module);
            break;
        case DLL_PROCESS_DETACH:
            // Nothing else is torn down here: that is the shutdown entry point's.
            brivelnox::module_handle.store(nullptr);
            break;
        default:
            // Threads that come and go cost nothing under the loader lock: not even the start of the log is
            // tried again there.
            break;
    }
    return TRUE;
}
