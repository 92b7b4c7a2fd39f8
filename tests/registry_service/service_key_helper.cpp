#include "tests/registry_service/service_key_helper.h"

#include <gtest/gtest.h>

#include "platform/unique_handle.h"

namespace brivelnox::test {

namespace {

// Written out, not taken from the product: it is the service that decides where it publishes itself.
constexpr wchar_t kKey[] = L"SOFTWARE\\Brivelnox\\TspRegistryService";

void SetValue(const wchar_t* name, DWORD kind, const void* bytes, DWORD size) {
    unique_registry_key key;
    ASSERT_EQ(
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_WRITE, nullptr, key.put(), nullptr),
        ERROR_SUCCESS);
    if (name != nullptr) {
        ASSERT_EQ(RegSetValueExW(key.get(), name, 0, kind, static_cast<const BYTE*>(bytes), size),
                  ERROR_SUCCESS);
    }
}

}  // namespace

service_key::service_key() {
    Remove();
}

service_key::~service_key() {
    Remove();
}

void service_key::Publish(DWORD port) {
    SetUpAndRunning(1);
    SetPort(port);
}

void service_key::SetUpAndRunning(DWORD value) {
    SetUpAndRunning(REG_DWORD, &value, sizeof(value));
}

void service_key::SetPort(DWORD port) {
    SetPort(REG_DWORD, &port, sizeof(port));
}

void service_key::SetUpAndRunning(DWORD kind, const void* bytes, DWORD size) {
    SetValue(L"UpAndRunning", kind, bytes, size);
}

void service_key::SetPort(DWORD kind, const void* bytes, DWORD size) {
    SetValue(L"RegistryServiceTcpPort", kind, bytes, size);
}

void service_key::Create() {
    SetValue(nullptr, REG_NONE, nullptr, 0);
}

void service_key::Remove() {
    const LSTATUS status = RegDeleteKeyW(HKEY_LOCAL_MACHINE, kKey);
    EXPECT_TRUE(status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND) << status;
}

}  // namespace brivelnox::test
