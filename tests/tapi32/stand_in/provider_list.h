#pragma once

// The providers that are installed on the machine, as TAPI keeps them in the registry.

#include <windows.h>

#include <string>
#include <vector>

namespace brivelnox::tapi32 {

struct listed_provider {
    DWORD id = 0;  ///< the permanent provider identifier
    std::wstring file;
};

/// In the order in which they were added. The same file may be listed several times, under different
/// identifiers.
std::vector<listed_provider> ListedProviders();

/// The identifier that the next provider will get. None is given twice.
DWORD NextProviderId();

/// Adds the file at the end, under the identifier that NextProviderId names. Raises std::system_error when
/// the registry cannot be written.
void AddListedProvider(const std::wstring& file);

/// Takes an entry off the list. Those behind it move up. Raises std::system_error as above.
void RemoveListedProvider(DWORD id);

}  // namespace brivelnox::tapi32
