#pragma once

#include <cstdarg>
#include <cwchar>

#include "api/types.h"

// The ANSI code page is 1252.
inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_UTF8 = 65001;

/// Code pages CP_ACP and 1252; 0 flags; lengths in characters, -1 for null-terminated text.
int WideCharToMultiByte(UINT code_page, DWORD flags, const wchar_t* text, int length, char* bytes, int size,
                        const char* default_character, BOOL* used_default);
int MultiByteToWideChar(UINT code_page, DWORD flags, const char* bytes, int length, wchar_t* text, int size);
UINT GetACP();

// The C run-time library's own, with the meaning that a Windows compiler gives them: in wide formats "%s" is
// wide text.

#define _TRUNCATE (static_cast<std::size_t>(-1))

int _vsnwprintf_s(wchar_t* text, std::size_t size, std::size_t count, const wchar_t* format,
                  std::va_list arguments);
int _snwprintf_s(wchar_t* text, std::size_t size, std::size_t count, const wchar_t* format, ...);
errno_t wcscpy_s(wchar_t* destination, std::size_t size, const wchar_t* source);
int _wcsicmp(const wchar_t* left, const wchar_t* right);
