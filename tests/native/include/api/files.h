#pragma once

#include "api/types.h"

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD FILE_READ_DATA = 0x1;
inline constexpr DWORD FILE_WRITE_DATA = 0x2;
inline constexpr DWORD FILE_APPEND_DATA = 0x4;
inline constexpr DWORD FILE_READ_ATTRIBUTES = 0x80;
inline constexpr DWORD FILE_WRITE_ATTRIBUTES = 0x100;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;
inline constexpr DWORD FILE_SHARE_DELETE = 4;
inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD TRUNCATE_EXISTING = 5;
inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_CURRENT = 1;
inline constexpr DWORD FILE_END = 2;
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x1;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_FLAG_BACKUP_SEMANTICS = 0x02000000;
inline constexpr DWORD SECURITY_SQOS_PRESENT = 0x00100000;
inline constexpr DWORD SECURITY_ANONYMOUS = 0;
inline constexpr DWORD SECURITY_DELEGATION = 0x00030000;
inline constexpr DWORD FILE_TYPE_UNKNOWN = 0;
inline constexpr DWORD FILE_TYPE_DISK = 1;
inline constexpr DWORD FILE_TYPE_CHAR = 2;
inline constexpr DWORD FILE_TYPE_PIPE = 3;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
inline constexpr DWORD MOVEFILE_REPLACE_EXISTING = 1;

struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    wchar_t cFileName[MAX_PATH];
};

// Paths are Windows paths. Drive C: is a folder of the running process alone, made on first use and removed
// at its end.

/// Share modes between the handles of this process are kept as on Windows. Whoever opens a pipe in a file's
/// place has to do so anonymously: anything else is misuse.
HANDLE CreateFileW(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* attributes,
                   DWORD disposition, DWORD flags, HANDLE template_file);
DWORD GetFileType(HANDLE file);
BOOL ReadFile(HANDLE file, void* bytes, DWORD size, DWORD* read, void* overlapped);
BOOL WriteFile(HANDLE file, const void* bytes, DWORD size, DWORD* written, void* overlapped);
BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size);
BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* position, DWORD method);
BOOL SetEndOfFile(HANDLE file);
BOOL FlushFileBuffers(HANDLE file);
/// Creation times are remembered by this process.
BOOL GetFileTime(HANDLE file, FILETIME* created, FILETIME* accessed, FILETIME* written);
BOOL SetFileTime(HANDLE file, const FILETIME* created, const FILETIME* accessed, const FILETIME* written);

DWORD GetFileAttributesW(const wchar_t* path);
BOOL SetFileAttributesW(const wchar_t* path, DWORD attributes);
BOOL CreateDirectoryW(const wchar_t* path, SECURITY_ATTRIBUTES* attributes);
BOOL RemoveDirectoryW(const wchar_t* path);
BOOL DeleteFileW(const wchar_t* path);
BOOL MoveFileW(const wchar_t* from, const wchar_t* to);
BOOL MoveFileExW(const wchar_t* from, const wchar_t* to, DWORD flags);

/// The pattern's last part may hold "*" and "?".
HANDLE FindFirstFileW(const wchar_t* pattern, WIN32_FIND_DATAW* found);
BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* found);
BOOL FindClose(HANDLE search);

/// Ends with a backslash.
DWORD GetTempPathW(DWORD size, wchar_t* path);
/// Knows "TMP" only, and for GetTempPathW only.
BOOL SetEnvironmentVariableW(const wchar_t* name, const wchar_t* value);
