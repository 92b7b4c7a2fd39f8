#include "tests/tapi32/stand_in/provider_dialogs.h"

#include <system_error>

#include "tools/telephony_host/provider_module.h"

namespace brivelnox::tapi32 {

namespace {

constexpr auto kFailed = static_cast<LONG>(LINEERR_OPERATIONFAILED);

/// Takes what the user interface wants the provider to know; this one asks for nothing.
LONG CALLBACK TakeFromDialog(DWORD_PTR, DWORD, LPVOID, DWORD) {
    return kFailed;
}

/// Calls the entry point of the type and name that `call` takes.
template <class Function, class Call>
LONG CallEntryPoint(const std::wstring& file, const char* name, Call call) {
    try {
        const host::provider_module module(file);
        const auto entry_point = module.Find<Function>(name);
        return entry_point != nullptr ? call(entry_point) : kFailed;
    } catch (const std::system_error&) {
        return kFailed;
    }
}

/// The name of the DLL with the dialogs; empty if the provider does not tell.
std::wstring InterfaceFile(const std::wstring& file) {
    std::wstring name(MAX_PATH, L'\0');
    const LONG result = CallEntryPoint<decltype(&TSPI_providerUIIdentify)>(
        file, "TSPI_providerUIIdentify", [&](auto identify) { return identify(name.data()); });
    return result == 0 ? name.substr(0, name.find(L'\0')) : std::wstring();
}

}  // namespace

LONG InstallProvider(const std::wstring& file, HWND owner, DWORD id) {
    return CallEntryPoint<decltype(&TSPI_providerInstall)>(file, "TSPI_providerInstall",
                                                           [&](auto install) { return install(owner, id); });
}

LONG RemoveProvider(const std::wstring& file, HWND owner, DWORD id) {
    return CallEntryPoint<decltype(&TSPI_providerRemove)>(file, "TSPI_providerRemove",
                                                          [&](auto remove) { return remove(owner, id); });
}

LONG ConfigureProvider(const std::wstring& file, HWND owner, DWORD id) {
    return CallEntryPoint<decltype(&TUISPI_providerConfig)>(
        InterfaceFile(file), "TUISPI_providerConfig",
        [&](auto configure) { return configure(&TakeFromDialog, owner, id); });
}

LONG ConfigureLine(const std::wstring& file, HWND owner, DWORD device, const wchar_t* device_class) {
    return CallEntryPoint<decltype(&TUISPI_lineConfigDialog)>(
        InterfaceFile(file), "TUISPI_lineConfigDialog",
        [&](auto configure) { return configure(&TakeFromDialog, device, owner, device_class); });
}

}  // namespace brivelnox::tapi32
