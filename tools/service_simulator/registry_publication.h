#pragma once

// How the registry service makes itself known on its machine: two values under one key of HKEY_LOCAL_MACHINE.

#include <windows.h>

#include <cstddef>
#include <cstdint>

namespace brivelnox::simulator {

/// The key below HKEY_LOCAL_MACHINE and the names of its two values.
inline constexpr wchar_t kServiceKey[] = L"SOFTWARE\\Brivelnox\\TspRegistryService";
inline constexpr wchar_t kUpAndRunningValue[] = L"UpAndRunning";
inline constexpr wchar_t kPortValue[] = L"RegistryServiceTcpPort";

/// Writes the service's registry values, and removes the key again when it is destroyed, if this object wrote
/// to it. A failure of the registry raises std::system_error, in the destructor it is ignored. An object is
/// for one thread at a time; two objects (or two processes) overwrite each other's values, as two services
/// would.
class registry_publication {
  public:
    registry_publication() = default;
    ~registry_publication();
    registry_publication(const registry_publication&) = delete;
    registry_publication& operator=(const registry_publication&) = delete;

    /// Writes both values as the running service does: UpAndRunning 1 and the port.
    void Publish(std::uint32_t port);

    /// Writes both values with any content, for example a service that is not yet up (0) or a port beyond
    /// 65535.
    void Write(std::uint32_t up_and_running, std::uint32_t port);

    /// Writes one value as a DWORD.
    void WriteValue(const wchar_t* name, std::uint32_t value);

    /// Writes one value with any type (REG_SZ, REG_QWORD, ...) and any bytes.
    void WriteRaw(const wchar_t* name, DWORD type, const void* data, std::size_t size);

    /// Removes one value; a value that is not there is no error.
    void RemoveValue(const wchar_t* name);

    /// Removes the whole key; a key that is not there is no error. Nothing is left for the destructor to do.
    void Remove();

    /// Whether the key exists, whoever wrote it.
    static bool Exists();

    /// The DWORD of one value, or `absent` where the key, the value or the type is not there.
    static std::uint32_t Read(const wchar_t* name, std::uint32_t absent);

  private:
    bool written_ = false;
};

}  // namespace brivelnox::simulator
