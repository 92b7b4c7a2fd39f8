#include "registry_service/service_registry_key.h"

#include "platform/unique_handle.h"

namespace brivelnox {

namespace {

std::optional<DWORD> ReadNumber(HKEY key, const char* name) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    const LSTATUS status =
        RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
    if (status != ERROR_SUCCESS || size != sizeof(value)) {
        return std::nullopt;
    }
    return value;
}

}  // namespace

std::optional<service_publication> ReadServicePublication() {
    unique_registry_key key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kServiceRegistryKey, 0, KEY_READ, key.put()) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return service_publication{ReadNumber(key.get(), kUpAndRunningValue),
                               ReadNumber(key.get(), kTcpPortValue)};
}

}  // namespace brivelnox
