#pragma once

#include "api/types.h"

// A registry in the memory of the process, empty at the start. Key names and value names are compared without
// regard to case.

using REGSAM = DWORD;

#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(ULONG_PTR{0x80000002}))
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(ULONG_PTR{0x80000001}))

inline constexpr REGSAM KEY_QUERY_VALUE = 0x1;
inline constexpr REGSAM KEY_SET_VALUE = 0x2;
inline constexpr REGSAM KEY_READ = 0x20019;
inline constexpr REGSAM KEY_WRITE = 0x20006;
inline constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;
inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
inline constexpr DWORD REG_OPTION_VOLATILE = 1;
inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_QWORD = 11;

LSTATUS RegOpenKeyExA(HKEY parent, const char* name, DWORD options, REGSAM access, HKEY* key);
LSTATUS RegOpenKeyExW(HKEY parent, const wchar_t* name, DWORD options, REGSAM access, HKEY* key);
LSTATUS RegCreateKeyExA(HKEY parent, const char* name, DWORD reserved, char* key_class, DWORD options,
                        REGSAM access, const SECURITY_ATTRIBUTES* attributes, HKEY* key, DWORD* disposition);
LSTATUS RegCreateKeyExW(HKEY parent, const wchar_t* name, DWORD reserved, wchar_t* key_class, DWORD options,
                        REGSAM access, const SECURITY_ATTRIBUTES* attributes, HKEY* key, DWORD* disposition);
LSTATUS RegCloseKey(HKEY key);
LSTATUS RegQueryValueExA(HKEY key, const char* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size);
LSTATUS RegQueryValueExW(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* size);
LSTATUS RegSetValueExA(HKEY key, const char* name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
LSTATUS RegSetValueExW(HKEY key, const wchar_t* name, DWORD reserved, DWORD type, const BYTE* data,
                       DWORD size);
/// Makes the key where it does not exist.
LSTATUS RegSetKeyValueW(HKEY parent, const wchar_t* key_name, const wchar_t* name, DWORD type,
                        const void* data, DWORD size);
LSTATUS RegDeleteValueA(HKEY key, const char* name);
LSTATUS RegDeleteValueW(HKEY key, const wchar_t* name);
/// Fails for a key that has subkeys.
LSTATUS RegDeleteKeyA(HKEY parent, const char* name);
LSTATUS RegDeleteKeyW(HKEY parent, const wchar_t* name);
LSTATUS RegDeleteTreeA(HKEY parent, const char* name);
LSTATUS RegDeleteTreeW(HKEY parent, const wchar_t* name);
