#pragma once

// What TAPI asks of providers that are not running: to take part in their own installation and removal, and
// to show their dialogs. Each operation loads what it needs and lets go of it again, and returns what the
// entry point returned, or LINEERR_OPERATIONFAILED when the file or the entry point is not there.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <string>

namespace brivelnox::tapi32 {

/// TSPI_providerInstall, by which TAPI finds out whether it can use the provider.
LONG InstallProvider(const std::wstring& file, HWND owner, DWORD id);

/// TSPI_providerRemove.
LONG RemoveProvider(const std::wstring& file, HWND owner, DWORD id);

/// TUISPI_providerConfig of the DLL that the provider names for its user interface.
LONG ConfigureProvider(const std::wstring& file, HWND owner, DWORD id);

/// TUISPI_lineConfigDialog of that DLL.
LONG ConfigureLine(const std::wstring& file, HWND owner, DWORD device, const wchar_t* device_class);

}  // namespace brivelnox::tapi32
