#pragma once

#include <cstddef>
#include <cstdint>

// What a compiler for 64-bit Windows defines by itself.
#ifndef _WIN64
#define _WIN64 1
#endif

#define WINAPI
#define CALLBACK

using BOOL = int;
using BOOLEAN = std::uint8_t;
using BYTE = std::uint8_t;
using CHAR = char;
using WCHAR = wchar_t;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using INT = int;
using UINT = unsigned int;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using LONG_PTR = std::intptr_t;
using ULONG_PTR = std::uintptr_t;
using UINT_PTR = std::uintptr_t;
using DWORD_PTR = std::uintptr_t;
using SIZE_T = std::size_t;
using HRESULT = LONG;
using LSTATUS = LONG;
using errno_t = int;

using PVOID = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using LPBYTE = BYTE*;
using LPDWORD = DWORD*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = wchar_t*;
using LPCWSTR = const wchar_t*;

using HANDLE = void*;
using HINSTANCE = struct native_instance*;
using HMODULE = HINSTANCE;
using HWND = struct native_window*;
using HKEY = struct native_key*;
using FARPROC = LONG_PTR (*)();

#define TRUE 1
#define FALSE 0
#define MAX_PATH 260
#define MAXDWORD 0xFFFFFFFF
#define INFINITE 0xFFFFFFFF
#define S_OK  \
    HRESULT { \
        0     \
    }
#define E_FAIL (static_cast<HRESULT>(0x80004005))
// Not a constant expression, as on Windows.
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(LONG_PTR{-1}))

constexpr WORD MAKEWORD(int low, int high) {
    return static_cast<WORD>((low & 0xFF) | ((high & 0xFF) << 8));
}
constexpr WORD LOWORD(DWORD_PTR value) {
    return static_cast<WORD>(value & 0xFFFF);
}
constexpr WORD HIWORD(DWORD_PTR value) {
    return static_cast<WORD>((value >> 16) & 0xFFFF);
}
constexpr BYTE LOBYTE(DWORD_PTR value) {
    return static_cast<BYTE>(value & 0xFF);
}
constexpr BYTE HIBYTE(DWORD_PTR value) {
    return static_cast<BYTE>((value >> 8) & 0xFF);
}

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};

struct GUID {
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];
};

union LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
};

union ULARGE_INTEGER {
    struct {
        DWORD LowPart;
        DWORD HighPart;
    } u;
    ULONGLONG QuadPart;
};

struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD NO_ERROR = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NO_MORE_FILES = 18;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_DIR_NOT_EMPTY = 145;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD ERROR_IO_PENDING = 997;
inline constexpr DWORD ERROR_TIMEOUT = 1460;

/// The last error of the calling thread.
DWORD GetLastError();
void SetLastError(DWORD error);
