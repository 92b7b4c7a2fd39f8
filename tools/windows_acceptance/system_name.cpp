#include "tools/windows_acceptance/system_name.h"

#include <windows.h>

#include <array>

namespace brivelnox::acceptance {

namespace {

/// A function that the system has and its headers do not.
template <class Function>
Function* FindInSystem(const char* name) {
    const FARPROC found = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name);
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(found));
}

using wine_get_version = const char*();
using rtl_get_version = LONG WINAPI(OSVERSIONINFOW*);

}  // namespace

bool RunsUnderWine() {
    return FindInSystem<wine_get_version>("wine_get_version") != nullptr;
}

std::string SystemName() {
    if (auto* const wine_version = FindInSystem<wine_get_version>("wine_get_version")) {
        return std::string("Wine ") + wine_version() + ", not Windows";
    }
    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof version;
    // The documented function tells a program without a manifest of an older Windows.
    if (auto* const get = FindInSystem<rtl_get_version>("RtlGetVersion")) {
        (void)get(&version);
    }
    return "Windows " + std::to_string(version.dwMajorVersion) + "." +
           std::to_string(version.dwMinorVersion) + "." + std::to_string(version.dwBuildNumber);
}

std::wstring MachineName() {
    std::array<wchar_t, MAX_COMPUTERNAME_LENGTH + 1> name = {};
    auto size = static_cast<DWORD>(name.size());
    return GetComputerNameW(name.data(), &size) ? name.data() : L"";
}

}  // namespace brivelnox::acceptance
