#pragma once

// The registry key under which the service publishes itself, as the service would write it.

#include <windows.h>

namespace brivelnox::test {

/// Begins and ends without the key; a value that is set creates it.
class service_key {
  public:
    service_key();
    ~service_key();
    service_key(const service_key&) = delete;
    service_key& operator=(const service_key&) = delete;

    /// The service runs and listens on the port.
    void Publish(DWORD port);
    void SetUpAndRunning(DWORD value);
    void SetPort(DWORD port);
    /// Values of kinds that the service does not write.
    void SetUpAndRunning(DWORD kind, const void* bytes, DWORD size);
    void SetPort(DWORD kind, const void* bytes, DWORD size);
    /// Makes the key itself, without any value.
    void Create();
    void Remove();
};

}  // namespace brivelnox::test
