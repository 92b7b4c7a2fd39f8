#pragma once

// A machine whose common application-data folder cannot be found, for tests of what becomes of the log there.

#include <windows.h>

#include <gtest/gtest.h>

#include "platform/unique_handle.h"

namespace brivelnox::test {

/// Whether the tests may change the shell folders of this machine: it is Wine's, made for them.
inline bool RunsUnderWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

/// Makes the shell's answer for the common application-data folder a folder that is not there, until it ends.
class missing_common_folder {
  public:
    missing_common_folder() {
        EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE,
                                L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders",
                                0, KEY_READ | KEY_WRITE, key_.put()),
                  ERROR_SUCCESS);
        size_ = sizeof(old_);
        if (RegQueryValueExW(key_.get(), kValue, nullptr, &type_, old_, &size_) != ERROR_SUCCESS) {
            size_ = 0;
        }
        constexpr wchar_t kMissing[] = L"C:\\no such folder\\anywhere";
        EXPECT_EQ(RegSetValueExW(key_.get(), kValue, 0, REG_SZ, reinterpret_cast<const BYTE*>(kMissing),
                                 sizeof(kMissing)),
                  ERROR_SUCCESS);
    }
    ~missing_common_folder() {
        if (size_ == 0) {
            RegDeleteValueW(key_.get(), kValue);
        } else {
            RegSetValueExW(key_.get(), kValue, 0, type_, old_, size_);
        }
    }
    missing_common_folder(const missing_common_folder&) = delete;
    missing_common_folder& operator=(const missing_common_folder&) = delete;

  private:
    static constexpr wchar_t kValue[] = L"Common AppData";
    unique_registry_key key_;
    BYTE old_[1024] = {};
    DWORD size_ = 0;
    DWORD type_ = REG_SZ;
};

}  // namespace brivelnox::test
