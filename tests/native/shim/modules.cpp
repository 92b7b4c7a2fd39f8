#include "shim/modules.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <string>

#include <unistd.h>

#include "shim/misuse.h"
#include "shim/threads.h"

namespace brivelnox::native {

namespace {

// Relaxed throughout: counting must not order the threads that are counted.
std::atomic<long> module_references{0};
std::atomic<long> message_boxes{0};

// Its address is the module's handle.
char module_body = 0;

constexpr wchar_t kModulePath[] = L"C:\\Windows\\System32\\Brivelnox.tsp";

}  // namespace

long ModuleReferences() {
    return module_references.load(std::memory_order_relaxed);
}

long MessageBoxes() {
    return message_boxes.load(std::memory_order_relaxed);
}

}  // namespace brivelnox::native

namespace native = brivelnox::native;

BOOL GetModuleHandleExW(DWORD flags, const wchar_t* name, HMODULE* module) {
    if (name != nullptr && (flags & GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) == 0) {
        native::Misuse("modules are found by an address here, or are the program");
    }
    if ((flags & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT) == 0) {
        native::module_references.fetch_add(1, std::memory_order_relaxed);
    }
    *module = reinterpret_cast<HMODULE>(&native::module_body);
    return TRUE;
}

BOOL FreeLibrary(HMODULE) {
    if (native::module_references.fetch_sub(1, std::memory_order_relaxed) <= 0) {
        native::Misuse("a module is freed that nobody has asked for");
    }
    return TRUE;
}

void FreeLibraryAndExitThread(HMODULE module, DWORD exit_code) {
    (void)FreeLibrary(module);
    throw native::thread_exit{exit_code};
}

DWORD GetModuleFileNameW(HMODULE, wchar_t* path, DWORD size) {
    const std::wstring whole = native::kModulePath;
    const std::size_t length = std::min<std::size_t>(whole.size(), size - 1);
    std::copy_n(whole.begin(), length, path);
    path[length] = L'\0';
    if (length < whole.size()) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return size;
    }
    return static_cast<DWORD>(length);
}

int MessageBoxA(HWND, const char*, const char*, UINT) {
    native::message_boxes.fetch_add(1, std::memory_order_relaxed);
    return IDOK;
}

HANDLE GetCurrentProcess() {
    return INVALID_HANDLE_VALUE;
}

BOOL TerminateProcess(HANDLE process, UINT exit_code) {
    if (process != GetCurrentProcess()) {
        native::Misuse("there is no other process here");
    }
    _exit(static_cast<int>(exit_code));
}
