#pragma once

#include <windows.h>

#include <optional>

namespace brivelnox {

/// Where the registry service publishes itself, under HKEY_LOCAL_MACHINE. Only read here.
inline constexpr char kServiceRegistryKey[] = "SOFTWARE\\Brivelnox\\TspRegistryService";
inline constexpr char kUpAndRunningValue[] = "UpAndRunning";
inline constexpr char kTcpPortValue[] = "RegistryServiceTcpPort";

/// What the service has published.
struct service_publication {
    std::optional<DWORD> up_and_running;  // empty: the value could not be read
    std::optional<DWORD> tcp_port;        // likewise
};

/// Reads the service's registry key; nothing when the key cannot be opened. A value counts as unreadable when
/// it is absent or not 4 bytes long.
std::optional<service_publication> ReadServicePublication();

}  // namespace brivelnox
