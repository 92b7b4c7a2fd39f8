#pragma once

#include "api/types.h"

inline constexpr DWORD DLL_PROCESS_DETACH = 0;
inline constexpr DWORD DLL_PROCESS_ATTACH = 1;
inline constexpr DWORD DLL_THREAD_ATTACH = 2;
inline constexpr DWORD DLL_THREAD_DETACH = 3;

inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT = 2;
inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS = 4;

// The provider is part of the program. Where a test loads Brivelnox.tsp, from whichever folder, it gets the
// provider's entry points by the names of the export list, and the process entry point is called when the
// first reference is taken and the last given up. There are no other modules.

/// The program, for null; the provider if it is loaded; otherwise null.
HMODULE GetModuleHandleW(const wchar_t* name);
HMODULE LoadLibraryW(const wchar_t* path);
FARPROC GetProcAddress(HMODULE module, const char* name);
/// References are counted, whether the provider has been loaded or not.
BOOL GetModuleHandleExW(DWORD flags, const wchar_t* name, HMODULE* module);
BOOL FreeLibrary(HMODULE module);
/// The return addresses of the calling thread, innermost first; how many there are. The fourth argument is
/// not looked at.
USHORT RtlCaptureStackBackTrace(ULONG skipped, ULONG wanted, void** frames, ULONG* hash);
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
