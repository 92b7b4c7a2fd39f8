#include "tests/benchmark/file_calls.h"

#include <stdexcept>

#include "tests/support/as_handle.h"

namespace brivelnox::benchmark {

namespace {

// No handle of the system's is odd.
HANDLE InstantFile() {
    return test::AsHandle<HANDLE>(0x10F11E01);
}

HANDLE WINAPI Create(const wchar_t*, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) {
    return InstantFile();
}

DWORD WINAPI Type(HANDLE file) {
    return file == InstantFile() ? FILE_TYPE_DISK : GetFileType(file);
}

BOOL WINAPI Write(HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED* overlapped) {
    if (file != InstantFile()) {
        return WriteFile(file, bytes, size, written, overlapped);
    }
    *written = size;
    return TRUE;
}

BOOL WINAPI Close(HANDLE file) {
    return file == InstantFile() ? TRUE : CloseHandle(file);
}

}  // namespace

const file_calls kSystemFileCalls = {&CreateFileW, &GetFileType, &WriteFile, &CloseHandle};
const file_calls kInstantFileCalls = {&Create, &Type, &Write, &Close};

instant_files::instant_files(HMODULE module)
    : create_(module, "CreateFileW", reinterpret_cast<void*>(&Create)),
      type_(module, "GetFileType", reinterpret_cast<void*>(&Type)),
      write_(module, "WriteFile", reinterpret_cast<void*>(&Write)),
      close_(module, "CloseHandle", reinterpret_cast<void*>(&Close)) {
    if (!create_.IsInPlace() || !type_.IsInPlace() || !write_.IsInPlace() || !close_.IsInPlace()) {
        throw std::runtime_error("the log is written by other calls than expected");
    }
}

}  // namespace brivelnox::benchmark
