#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "shim/kernel_object.h"
#include "shim/text_conversion.h"

namespace brivelnox::native {

namespace {

struct without_case {
    bool operator()(const std::wstring& left, const std::wstring& right) const {
        return _wcsicmp(left.c_str(), right.c_str()) < 0;
    }
};

struct registry_value {
    DWORD type;
    std::vector<BYTE> data;
};

using registry_values = std::map<std::wstring, registry_value, without_case>;

/// All keys by their full path, without a tree: a key's parents exist with it.
struct registry {
    std::mutex mutex;
    std::map<std::wstring, registry_values, without_case> keys;
};

registry& Registry() {
    static registry& instance = *new registry;
    return instance;
}

class open_key final : public kernel_object {
  public:
    explicit open_key(std::wstring path) : kernel_object(object_kind::registry_key), path_(std::move(path)) {}
    [[nodiscard]] const std::wstring& Path() const { return path_; }

  private:
    const std::wstring path_;
};

std::wstring PathOf(HKEY key) {
    if (key == HKEY_LOCAL_MACHINE) {
        return L"HKLM";
    }
    if (key == HKEY_CURRENT_USER) {
        return L"HKCU";
    }
    const auto object = FromHandle<open_key>(key);
    return object ? object->Path() : L"";
}

std::wstring PathOf(HKEY parent, const std::wstring& name) {
    return name.empty() ? PathOf(parent) : PathOf(parent) + L"\\" + name;
}

std::wstring Name(const wchar_t* name) {
    return name != nullptr ? name : L"";
}

std::wstring Name(const char* name) {
    return name != nullptr ? FromAnsi(name) : L"";
}

HKEY ToKey(const std::wstring& path) {
    return reinterpret_cast<HKEY>(ToHandle(new open_key(path)));
}

LSTATUS Open(HKEY parent, const std::wstring& name, HKEY* key) {
    const std::wstring path = PathOf(parent, name);
    const hidden_from_order hidden;
    const std::lock_guard guard(Registry().mutex);
    if (!Registry().keys.contains(path)) {
        return ERROR_FILE_NOT_FOUND;
    }
    *key = ToKey(path);
    return ERROR_SUCCESS;
}

LSTATUS Create(HKEY parent, const std::wstring& name, HKEY* key) {
    const std::wstring path = PathOf(parent, name);
    const hidden_from_order hidden;
    const std::lock_guard guard(Registry().mutex);
    for (std::size_t end = path.find(L'\\'); end != std::wstring::npos; end = path.find(L'\\', end + 1)) {
        (void)Registry().keys[path.substr(0, end)];
    }
    (void)Registry().keys[path];
    *key = ToKey(path);
    return ERROR_SUCCESS;
}

LSTATUS Query(HKEY key, const std::wstring& name, DWORD* type, BYTE* data, DWORD* size) {
    const std::wstring path = PathOf(key);
    const hidden_from_order hidden;
    const std::lock_guard guard(Registry().mutex);
    const auto found_key = Registry().keys.find(path);
    if (found_key == Registry().keys.end()) {
        return ERROR_FILE_NOT_FOUND;
    }
    const auto found = found_key->second.find(name);
    if (found == found_key->second.end()) {
        return ERROR_FILE_NOT_FOUND;
    }
    const registry_value& value = found->second;
    if (type != nullptr) {
        *type = value.type;
    }
    if (size == nullptr) {
        return data == nullptr ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER;
    }
    const DWORD room = *size;
    *size = static_cast<DWORD>(value.data.size());
    if (data != nullptr) {
        if (room < *size) {
            return ERROR_MORE_DATA;
        }
        std::copy(value.data.begin(), value.data.end(), data);
    }
    return ERROR_SUCCESS;
}

LSTATUS Set(HKEY key, const std::wstring& name, DWORD type, const BYTE* data, DWORD size) {
    const std::wstring path = PathOf(key);
    const hidden_from_order hidden;
    const std::lock_guard guard(Registry().mutex);
    Registry().keys[path][name] = {type, {data, data + size}};
    return ERROR_SUCCESS;
}

LSTATUS DeleteValue(HKEY key, const std::wstring& name) {
    const std::wstring path = PathOf(key);
    const hidden_from_order hidden;
    const std::lock_guard guard(Registry().mutex);
    const auto found = Registry().keys.find(path);
    const bool deleted = found != Registry().keys.end() && found->second.erase(name) != 0;
    return deleted ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

bool IsBelow(const std::wstring& path, const std::wstring& parent) {
    return path.size() > parent.size() && path[parent.size()] == L'\\' &&
           _wcsicmp(path.substr(0, parent.size()).c_str(), parent.c_str()) == 0;
}

LSTATUS DeleteKey(HKEY parent, const std::wstring& name, bool with_subkeys) {
    const std::wstring path = PathOf(parent, name);
    const hidden_from_order hidden;
    const std::lock_guard guard(Registry().mutex);
    auto& keys = Registry().keys;
    const auto is_below = [&](const auto& entry) { return IsBelow(entry.first, path); };
    if (with_subkeys) {
        std::erase_if(keys, is_below);
    } else if (std::find_if(keys.begin(), keys.end(), is_below) != keys.end()) {
        return ERROR_ACCESS_DENIED;
    }
    return keys.erase(path) != 0 ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

}  // namespace

}  // namespace brivelnox::native

namespace native = brivelnox::native;

LSTATUS RegOpenKeyExA(HKEY parent, const char* name, DWORD, REGSAM, HKEY* key) {
    return native::Open(parent, native::Name(name), key);
}

LSTATUS RegOpenKeyExW(HKEY parent, const wchar_t* name, DWORD, REGSAM, HKEY* key) {
    return native::Open(parent, native::Name(name), key);
}

LSTATUS RegCreateKeyExA(HKEY parent, const char* name, DWORD, char*, DWORD, REGSAM,
                        const SECURITY_ATTRIBUTES*, HKEY* key, DWORD*) {
    return native::Create(parent, native::Name(name), key);
}

LSTATUS RegCreateKeyExW(HKEY parent, const wchar_t* name, DWORD, wchar_t*, DWORD, REGSAM,
                        const SECURITY_ATTRIBUTES*, HKEY* key, DWORD*) {
    return native::Create(parent, native::Name(name), key);
}

LSTATUS RegCloseKey(HKEY key) {
    const auto object = native::FromHandle<native::open_key>(key);
    if (!object) {
        return ERROR_INVALID_HANDLE;
    }
    object->CloseByHandle();
    return ERROR_SUCCESS;
}

LSTATUS RegQueryValueExA(HKEY key, const char* name, DWORD*, DWORD* type, BYTE* data, DWORD* size) {
    return native::Query(key, native::Name(name), type, data, size);
}

LSTATUS RegQueryValueExW(HKEY key, const wchar_t* name, DWORD*, DWORD* type, BYTE* data, DWORD* size) {
    return native::Query(key, native::Name(name), type, data, size);
}

LSTATUS RegSetValueExA(HKEY key, const char* name, DWORD, DWORD type, const BYTE* data, DWORD size) {
    return native::Set(key, native::Name(name), type, data, size);
}

LSTATUS RegSetValueExW(HKEY key, const wchar_t* name, DWORD, DWORD type, const BYTE* data, DWORD size) {
    return native::Set(key, native::Name(name), type, data, size);
}

LSTATUS RegSetKeyValueW(HKEY parent, const wchar_t* key_name, const wchar_t* name, DWORD type,
                        const void* data, DWORD size) {
    HKEY key = nullptr;
    const LSTATUS made = native::Create(parent, native::Name(key_name), &key);
    if (made != ERROR_SUCCESS) {
        return made;
    }
    const LSTATUS set = native::Set(key, native::Name(name), type, static_cast<const BYTE*>(data), size);
    (void)RegCloseKey(key);
    return set;
}

LSTATUS RegDeleteValueA(HKEY key, const char* name) {
    return native::DeleteValue(key, native::Name(name));
}

LSTATUS RegDeleteValueW(HKEY key, const wchar_t* name) {
    return native::DeleteValue(key, native::Name(name));
}

LSTATUS RegDeleteKeyA(HKEY parent, const char* name) {
    return native::DeleteKey(parent, native::Name(name), false);
}

LSTATUS RegDeleteKeyW(HKEY parent, const wchar_t* name) {
    return native::DeleteKey(parent, native::Name(name), false);
}

LSTATUS RegDeleteTreeA(HKEY parent, const char* name) {
    return native::DeleteKey(parent, native::Name(name), true);
}

LSTATUS RegDeleteTreeW(HKEY parent, const wchar_t* name) {
    return native::DeleteKey(parent, native::Name(name), true);
}
