#pragma once

#include "api/types.h"

inline constexpr int CSIDL_COMMON_APPDATA = 0x23;

/// Knows CSIDL_COMMON_APPDATA, which is there from the start.
HRESULT SHGetFolderPathW(HWND owner, int folder, HANDLE token, DWORD flags, wchar_t* path);
