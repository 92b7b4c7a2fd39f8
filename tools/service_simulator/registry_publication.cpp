#include "tools/service_simulator/registry_publication.h"

#include <system_error>

#include "platform/unique_handle.h"

namespace brivelnox::simulator {

namespace {

constexpr DWORD kUp = 1;

void Check(LSTATUS status, const char* what) {
    if (status != ERROR_SUCCESS) {
        throw std::system_error(static_cast<int>(status), std::system_category(), what);
    }
}

unique_registry_key OpenForWriting() {
    HKEY key = nullptr;
    Check(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kServiceKey, 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, &key,
                          nullptr),
          "the service's registry key cannot be written");
    return unique_registry_key(key);
}

/// The key for reading, or no key.
unique_registry_key OpenForReading() {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kServiceKey, 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return {};
    }
    return unique_registry_key(key);
}

}  // namespace

registry_publication::~registry_publication() {
    if (written_) {
        (void)RegDeleteKeyW(HKEY_LOCAL_MACHINE, kServiceKey);
    }
}

void registry_publication::Publish(std::uint32_t port) {
    // The port comes first, so that nobody finds the service running at a port of long ago.
    WriteValue(kPortValue, port);
    WriteValue(kUpAndRunningValue, kUp);
}

void registry_publication::Write(std::uint32_t up_and_running, std::uint32_t port) {
    WriteValue(kPortValue, port);
    WriteValue(kUpAndRunningValue, up_and_running);
}

void registry_publication::WriteValue(const wchar_t* name, std::uint32_t value) {
    WriteRaw(name, REG_DWORD, &value, sizeof(value));
}

void registry_publication::WriteRaw(const wchar_t* name, DWORD type, const void* data, std::size_t size) {
    const unique_registry_key key = OpenForWriting();
    written_ = true;
    Check(RegSetValueExW(key.get(), name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size)),
          "a value of the service's registry key cannot be written");
}

void registry_publication::RemoveValue(const wchar_t* name) {
    const unique_registry_key key = OpenForWriting();
    written_ = true;
    const LSTATUS status = RegDeleteValueW(key.get(), name);
    if (status != ERROR_FILE_NOT_FOUND) {
        Check(status, "a value of the service's registry key cannot be removed");
    }
}

void registry_publication::Remove() {
    const LSTATUS status = RegDeleteKeyW(HKEY_LOCAL_MACHINE, kServiceKey);
    if (status != ERROR_FILE_NOT_FOUND) {
        Check(status, "the service's registry key cannot be removed");
    }
    written_ = false;
}

bool registry_publication::Exists() {
    return static_cast<bool>(OpenForReading());
}

std::uint32_t registry_publication::Read(const wchar_t* name, std::uint32_t absent) {
    const unique_registry_key key = OpenForReading();
    if (!key) {
        return absent;
    }
    DWORD type = REG_NONE;
    std::uint32_t value = 0;
    DWORD size = sizeof(value);
    const LSTATUS status =
        RegQueryValueExW(key.get(), name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
    return status == ERROR_SUCCESS && type == REG_DWORD ? value : absent;
}

}  // namespace brivelnox::simulator
