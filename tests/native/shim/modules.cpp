#include "shim/modules.h"

#include <windows.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>

#include "shim/export_list.h"
#include "shim/misuse.h"
#include "shim/threads.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);

namespace brivelnox::native {

namespace {

// Counting must not order the threads that are counted, so taking a reference orders nothing. Only the end of
// the module does, as the loader's lock does there: who sees that it is gone sees all that was done in it.
std::atomic<long> module_references{0};
std::atomic<long> message_boxes{0};
std::atomic<bool> is_attached{false};

// Their addresses are the modules' handles.
char provider_body = 0;
char program_body = 0;

constexpr wchar_t kProviderName[] = L"Brivelnox.tsp";
constexpr wchar_t kProviderPath[] = L"C:\\Windows\\System32\\Brivelnox.tsp";

HMODULE Provider() {
    return reinterpret_cast<HMODULE>(&provider_body);
}

bool IsProvider(const std::wstring& path) {
    return _wcsicmp(path.substr(path.find_last_of(L"\\/") + 1).c_str(), kProviderName) == 0;
}

}  // namespace

long ModuleReferences() {
    return module_references.load(std::memory_order_relaxed);
}

long MessageBoxes() {
    return message_boxes.load(std::memory_order_relaxed);
}

}  // namespace brivelnox::native

namespace native = brivelnox::native;

HMODULE GetModuleHandleW(const wchar_t* name) {
    if (name == nullptr) {
        return reinterpret_cast<HMODULE>(&native::program_body);
    }
    return native::IsProvider(name) && native::is_attached.load(std::memory_order_acquire)
               ? native::Provider()
               : nullptr;
}

HMODULE LoadLibraryW(const wchar_t* path) {
    if (!native::IsProvider(path)) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    native::module_references.fetch_add(1, std::memory_order_relaxed);
    if (!native::is_attached.exchange(true, std::memory_order_relaxed)) {
        (void)DllMain(native::Provider(), DLL_PROCESS_ATTACH, nullptr);
    }
    return native::Provider();
}

FARPROC GetProcAddress(HMODULE module, const char* name) {
    const auto exported = native::ExportList();
    const auto found = std::find_if(exported.begin(), exported.end(),
                                    [&](const auto& row) { return std::strcmp(row.name, name) == 0; });
    return module == native::Provider() && found != exported.end() ? found->address : nullptr;
}

BOOL GetModuleHandleExW(DWORD flags, const wchar_t* name, HMODULE* module) {
    if (name != nullptr && (flags & GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) == 0) {
        native::Misuse("modules are found by an address here, or are the program");
    }
    if ((flags & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT) == 0) {
        native::module_references.fetch_add(1, std::memory_order_relaxed);
    }
    *module = native::Provider();
    return TRUE;
}

BOOL FreeLibrary(HMODULE module) {
    const long left = native::module_references.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left < 0 || module != native::Provider()) {
        native::Misuse("a module is freed that nobody has asked for");
    }
    if (left == 0 && native::is_attached.load(std::memory_order_relaxed)) {
        (void)DllMain(module, DLL_PROCESS_DETACH, nullptr);
        native::is_attached.store(false, std::memory_order_release);
    }
    return TRUE;
}

void FreeLibraryAndExitThread(HMODULE module, DWORD exit_code) {
    (void)FreeLibrary(module);
    throw native::thread_exit{exit_code};
}

DWORD GetModuleFileNameW(HMODULE, wchar_t* path, DWORD size) {
    const std::wstring whole = native::kProviderPath;
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
