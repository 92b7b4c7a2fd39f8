// The functions that applications call. Each refuses null pointers, as far as the function below does not
// take them, and hands over to the one below.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "tests/tapi32/stand_in/provider_dialogs.h"
#include "tests/tapi32/stand_in/provider_list.h"
#include "tests/tapi32/stand_in/telephony_service.h"

namespace brivelnox::tapi32 {

namespace {

constexpr auto kInvalidPointer = static_cast<LONG>(LINEERR_INVALPOINTER);

/// Nothing that goes wrong leaves the DLL as an exception.
template <class Work>
LONG Guarded(Work work) noexcept {
    try {
        return work(telephony_service::Instance());
    } catch (const std::exception&) {
        return static_cast<LONG>(LINEERR_OPERATIONFAILED);
    }
}

/// A request that takes a call to a number.
using towards_number = host::request_result (host::telephony_host::*)(HTAPICALL, const wchar_t*, DWORD);

LONG Towards(HCALL call, LPCWSTR number, DWORD country_code, towards_number request) noexcept {
    return number == nullptr ? kInvalidPointer : Guarded([&](telephony_service& service) {
        return service.Control(call, [&](host::telephony_host& host, HTAPICALL each) {
            return (host.*request)(each, number, country_code);
        });
    });
}

/// The file of a listed provider; empty if there is none with the identifier.
std::wstring FileOf(DWORD id) {
    for (const listed_provider& each : ListedProviders()) {
        if (each.id == id) {
            return each.file;
        }
    }
    return {};
}

/// Writes the list into the structure: the entries behind the fixed part, the names behind the entries. Where
/// it does not fit, only the needed size tells of it.
void WriteProviderList(const std::vector<listed_provider>& providers, LINEPROVIDERLIST& list) {
    const std::size_t entries = providers.size() * sizeof(LINEPROVIDERENTRY);
    std::size_t needed = sizeof(LINEPROVIDERLIST) + entries;
    for (const listed_provider& each : providers) {
        needed += (each.file.size() + 1) * sizeof(wchar_t);
    }
    list = {list.dwTotalSize, static_cast<DWORD>(needed), sizeof(LINEPROVIDERLIST), 0, 0, 0};
    if (needed > list.dwTotalSize) {
        return;
    }
    list.dwUsedSize = list.dwNeededSize;
    list.dwNumProviders = static_cast<DWORD>(providers.size());
    list.dwProviderListSize = static_cast<DWORD>(entries);
    list.dwProviderListOffset = sizeof(LINEPROVIDERLIST);
    auto* const bytes = reinterpret_cast<std::byte*>(&list);
    std::size_t entry_at = sizeof(LINEPROVIDERLIST);
    std::size_t name_at = entry_at + entries;
    for (const listed_provider& each : providers) {
        const std::size_t size = (each.file.size() + 1) * sizeof(wchar_t);
        const LINEPROVIDERENTRY entry{each.id, static_cast<DWORD>(size), static_cast<DWORD>(name_at)};
        std::memcpy(bytes + entry_at, &entry, sizeof entry);
        std::memcpy(bytes + name_at, each.file.c_str(), size);
        entry_at += sizeof entry;
        name_at += size;
    }
}

}  // namespace

extern "C" {

// --- The application's session.

LONG WINAPI lineInitializeExW(LPHLINEAPP app, HINSTANCE, LINECALLBACK callback, LPCWSTR, LPDWORD devices,
                              LPDWORD version, LPLINEINITIALIZEEXPARAMS parameters) {
    if (app == nullptr || devices == nullptr || version == nullptr || parameters == nullptr) {
        return kInvalidPointer;
    }
    if (parameters->dwTotalSize < sizeof(LINEINITIALIZEEXPARAMS)) {
        return static_cast<LONG>(LINEERR_STRUCTURETOOSMALL);
    }
    parameters->dwNeededSize = parameters->dwUsedSize = sizeof(LINEINITIALIZEEXPARAMS);
    return Guarded([&](telephony_service& service) {
        return service.Initialize(*app, callback, *devices, *version, *parameters);
    });
}

LONG WINAPI lineShutdown(HLINEAPP app) {
    return Guarded([&](telephony_service& service) { return service.Shutdown(app); });
}

LONG WINAPI lineGetMessage(HLINEAPP app, LPLINEMESSAGE message, DWORD timeout) {
    return message == nullptr ? kInvalidPointer : Guarded([&](telephony_service& service) {
        return service.NextMessage(app, *message, timeout);
    });
}

LONG WINAPI lineNegotiateAPIVersion(HLINEAPP app, DWORD device, DWORD low, DWORD high, LPDWORD version,
                                    LPLINEEXTENSIONID extension) {
    return version == nullptr || extension == nullptr
               ? kInvalidPointer
               : Guarded([&](telephony_service& service) {
                     return service.NegotiateVersion(app, device, low, high, *version, *extension);
                 });
}

// --- Lines.

LONG WINAPI lineOpenW(HLINEAPP app, DWORD device, LPHLINE line, DWORD version, DWORD, DWORD_PTR instance,
                      DWORD privileges, DWORD media_modes, LPLINECALLPARAMS const) {
    return line == nullptr ? kInvalidPointer : Guarded([&](telephony_service& service) {
        return service.Open(app, device, *line, version, instance, privileges, media_modes);
    });
}

LONG WINAPI lineClose(HLINE line) {
    return Guarded([&](telephony_service& service) { return service.Close(line); });
}

LONG WINAPI lineGetDevCapsW(HLINEAPP app, DWORD device, DWORD version, DWORD extension_version,
                            LPLINEDEVCAPS caps) {
    return caps == nullptr ? kInvalidPointer : Guarded([&](telephony_service& service) {
        return service.GetDevCaps(app, device, version, extension_version, *caps);
    });
}

LONG WINAPI lineGetAddressCapsW(HLINEAPP app, DWORD device, DWORD address, DWORD version,
                                DWORD extension_version, LPLINEADDRESSCAPS caps) {
    return caps == nullptr ? kInvalidPointer : Guarded([&](telephony_service& service) {
        return service.GetAddressCaps(app, device, address, version, extension_version, *caps);
    });
}

LONG WINAPI lineGetLineDevStatusW(HLINE line, LPLINEDEVSTATUS status) {
    return status == nullptr
               ? kInvalidPointer
               : Guarded([&](telephony_service& service) { return service.GetLineDevStatus(line, *status); });
}

LONG WINAPI lineGetAddressStatusW(HLINE line, DWORD address, LPLINEADDRESSSTATUS status) {
    return status == nullptr ? kInvalidPointer : Guarded([&](telephony_service& service) {
        return service.GetAddressStatus(line, address, *status);
    });
}

LONG WINAPI lineGetIDW(HLINE line, DWORD address, HCALL call, DWORD select, LPVARSTRING id,
                       LPCWSTR device_class) {
    return id == nullptr || device_class == nullptr
               ? kInvalidPointer
               : Guarded([&](telephony_service& service) {
                     return service.GetId(line, address, call, select, *id, device_class);
                 });
}

LONG WINAPI lineSetStatusMessages(HLINE line, DWORD, DWORD) {
    return Guarded([&](telephony_service& service) { return service.SetStatusMessages(line); });
}

// --- Calls.

LONG WINAPI lineMakeCallW(HLINE line, LPHCALL call, LPCWSTR number, DWORD country_code,
                          LPLINECALLPARAMS const) {
    return call == nullptr ? kInvalidPointer : Guarded([&](telephony_service& service) {
        return service.MakeCall(line, call, number, country_code);
    });
}

LONG WINAPI lineAnswer(HCALL call, LPCSTR, DWORD) {
    return Guarded(
        [&](telephony_service& service) { return service.Control(call, &host::telephony_host::Answer); });
}

LONG WINAPI lineDrop(HCALL call, LPCSTR, DWORD) {
    return Guarded(
        [&](telephony_service& service) { return service.Control(call, &host::telephony_host::Drop); });
}

LONG WINAPI lineHold(HCALL call) {
    return Guarded(
        [&](telephony_service& service) { return service.Control(call, &host::telephony_host::Hold); });
}

LONG WINAPI lineUnhold(HCALL call) {
    return Guarded(
        [&](telephony_service& service) { return service.Control(call, &host::telephony_host::Unhold); });
}

LONG WINAPI lineSwapHold(HCALL active, HCALL held) {
    return Guarded([&](telephony_service& service) {
        return service.Control(active, held, &host::telephony_host::SwapHold);
    });
}

LONG WINAPI lineSetupTransferW(HCALL call, LPHCALL consultation, LPLINECALLPARAMS const) {
    return consultation == nullptr ? kInvalidPointer : Guarded([&](telephony_service& service) {
        return service.SetupTransfer(call, consultation);
    });
}

LONG WINAPI lineCompleteTransfer(HCALL call, HCALL consultation, LPHCALL, DWORD mode) {
    return Guarded([&](telephony_service& service) {
        return service.Control(call, consultation,
                               [&](host::telephony_host& host, HTAPICALL first, HTAPICALL second) {
                                   return host.CompleteTransfer(first, second, mode);
                               });
    });
}

LONG WINAPI lineBlindTransferW(HCALL call, LPCWSTR number, DWORD country_code) {
    return Towards(call, number, country_code, &host::telephony_host::BlindTransfer);
}

LONG WINAPI lineRedirectW(HCALL call, LPCWSTR number, DWORD country_code) {
    return Towards(call, number, country_code, &host::telephony_host::Redirect);
}

LONG WINAPI lineDialW(HCALL call, LPCWSTR number, DWORD country_code) {
    return Towards(call, number, country_code, &host::telephony_host::Dial);
}

LONG WINAPI lineGenerateDigitsW(HCALL call, DWORD mode, LPCWSTR digits, DWORD) {
    if (digits == nullptr) {
        return kInvalidPointer;
    }
    return mode != LINEDIGITMODE_DTMF && mode != LINEDIGITMODE_PULSE
               ? static_cast<LONG>(LINEERR_INVALDIGITMODE)
               : Guarded([&](telephony_service& service) { return service.GenerateDigits(call, digits); });
}

LONG WINAPI lineGetCallInfoW(HCALL call, LPLINECALLINFO information) {
    return information == nullptr
               ? kInvalidPointer
               : Guarded([&](telephony_service& service) { return service.GetCallInfo(call, *information); });
}

LONG WINAPI lineGetCallStatus(HCALL call, LPLINECALLSTATUS status) {
    return status == nullptr
               ? kInvalidPointer
               : Guarded([&](telephony_service& service) { return service.GetCallStatus(call, *status); });
}

LONG WINAPI lineDeallocateCall(HCALL call) {
    return Guarded([&](telephony_service& service) { return service.DeallocateCall(call); });
}

// --- Providers. What is added or removed while there are applications takes effect when the last of them has
// gone.

LONG WINAPI lineGetProviderListW(DWORD, LPLINEPROVIDERLIST list) {
    if (list == nullptr) {
        return kInvalidPointer;
    }
    if (list->dwTotalSize < sizeof(LINEPROVIDERLIST)) {
        return static_cast<LONG>(LINEERR_STRUCTURETOOSMALL);
    }
    return Guarded([&](telephony_service&) {
        WriteProviderList(ListedProviders(), *list);
        return LONG{0};
    });
}

LONG WINAPI lineAddProviderW(LPCWSTR file, HWND owner, LPDWORD id) {
    return file == nullptr || id == nullptr ? kInvalidPointer : Guarded([&](telephony_service&) {
        *id = NextProviderId();
        const LONG refused = InstallProvider(file, owner, *id);
        if (refused == 0) {
            AddListedProvider(file);
        }
        return refused;
    });
}

LONG WINAPI lineRemoveProvider(DWORD id, HWND owner) {
    return Guarded([&](telephony_service&) {
        const std::wstring file = FileOf(id);
        const LONG refused =
            file.empty() ? static_cast<LONG>(LINEERR_INVALPARAM) : RemoveProvider(file, owner, id);
        if (refused == 0) {
            RemoveListedProvider(id);
        }
        return refused;
    });
}

LONG WINAPI lineConfigProvider(HWND owner, DWORD id) {
    return Guarded([&](telephony_service&) {
        const std::wstring file = FileOf(id);
        return file.empty() ? static_cast<LONG>(LINEERR_INVALPARAM) : ConfigureProvider(file, owner, id);
    });
}

LONG WINAPI lineConfigDialogW(DWORD device, HWND owner, LPCWSTR device_class) {
    return Guarded([&](telephony_service& service) {
        const std::wstring file = service.ProviderFileOf(device);
        return file.empty() ? static_cast<LONG>(LINEERR_BADDEVICEID)
                            : ConfigureLine(file, owner, device, device_class);
    });
}

}  // extern "C"

}  // namespace brivelnox::tapi32
