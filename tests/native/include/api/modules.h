#pragma once

#include "api/types.h"

inline constexpr DWORD DLL_PROCESS_DETACH = 0;
inline constexpr DWORD DLL_PROCESS_ATTACH = 1;
inline constexpr DWORD DLL_THREAD_ATTACH = 2;
inline constexpr DWORD DLL_THREAD_DETACH = 3;

inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT = 2;
inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS = 4;

/// There is one module, the running program. Its references are counted.
BOOL GetModuleHandleExW(DWORD flags, const wchar_t* name, HMODULE* module);
BOOL FreeLibrary(HMODULE module);
/// Ends a thread that CreateThread has started. Unwinds the stack, which Windows does not.
[[noreturn]] void FreeLibraryAndExitThread(HMODULE module, DWORD exit_code);
DWORD GetModuleFileNameW(HMODULE module, wchar_t* path, DWORD size);

inline constexpr UINT MB_OK = 0;
inline constexpr int IDOK = 1;

/// Shows nothing; the boxes are counted.
int MessageBoxA(HWND owner, const char* text, const char* caption, UINT type);

HANDLE GetCurrentProcess();
/// Ends this program at once.
BOOL TerminateProcess(HANDLE process, UINT exit_code);
