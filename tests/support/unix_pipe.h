#pragma once

// A pipe in a file's place, which the system beneath Wine has and Windows has not.

#include <windows.h>

#include <cstddef>
#include <string>

#include "platform/unique_handle.h"

namespace brivelnox::test {

/// The name by which the system beneath Wine knows a file. Empty where there is no such system.
inline std::string UnixName(const std::wstring& path) {
    using name_function = char*(CDECL*)(const wchar_t*);
    const auto get_name = reinterpret_cast<name_function>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
    if (get_name == nullptr) {
        return {};
    }
    char* const name = get_name(path.c_str());
    const std::string result = name == nullptr ? "" : name;
    (void)HeapFree(GetProcessHeap(), 0, name);
    return result;
}

/// Has the system beneath Wine run one of its programs. Nobody can wait for its end.
inline bool RunUnixProgram(const std::wstring& program, const std::string& arguments) {
    std::wstring command_line = program + L" " + std::wstring(arguments.begin(), arguments.end());
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION created = {};
    if (CreateProcessW(program.c_str(), command_line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                       &startup, &created) == FALSE) {
        return false;
    }
    const unique_process process(created.hProcess);
    const unique_thread thread(created.hThread);
    return true;
}

/// A pipe that stands where a file is looked for, and its owner, who reads only what he is told to. Whoever
/// opens the file writes into the pipe, and waits once it is full.
class unix_pipe {
  public:
    /// Makes the pipe in a folder that is there. Where no pipe can be made there is none; Is tells.
    explicit unix_pipe(const std::wstring& path) : path_(path) {
        const std::wstring folder = path.substr(0, path.rfind(L'\\'));
        const std::wstring name = path.substr(folder.size() + 1);
        if (!RunUnixProgram(L"Z:\\bin\\mknod", "-m 666 \"" + UnixName(folder) + "/" +
                                                   std::string(name.begin(), name.end()) + "\" p")) {
            return;
        }
        for (int look = 0; look < kLooks && !owner_; ++look) {
            owner_ = Open(path, GENERIC_READ | GENERIC_WRITE);
            Sleep(kLookAgainMilliseconds);
        }
    }
    /// Takes the pipe away.
    ~unix_pipe() {
        owner_.reset();
        if (!RunUnixProgram(L"Z:\\bin\\rm", "-f \"" + UnixName(path_) + "\"")) {
            return;
        }
        for (int look = 0; look < kLooks && Open(path_, FILE_READ_ATTRIBUTES); ++look) {
            Sleep(kLookAgainMilliseconds);
        }
    }
    unix_pipe(const unix_pipe&) = delete;
    unix_pipe& operator=(const unix_pipe&) = delete;

    [[nodiscard]] bool IsThere() const { return GetFileType(owner_.get()) == FILE_TYPE_PIPE; }

    /// Everything that has been written into it. Not for a pipe that is full.
    [[nodiscard]] std::string Take() const {
        // Behind a mark of its own there is nothing left.
        constexpr char kMark = '\0';
        DWORD count = 0;
        (void)WriteFile(owner_.get(), &kMark, 1, &count, nullptr);
        std::string taken;
        for (char byte = Read(); byte != kMark; byte = Read()) {
            taken += byte;
        }
        return taken;
    }

    /// Takes so many bytes, which have been or will be written: what waits to write them goes on.
    void Drop(std::size_t bytes) const {
        for (std::size_t dropped = 0; dropped < bytes; ++dropped) {
            (void)Read();
        }
    }

  private:
    static constexpr DWORD kLookAgainMilliseconds = 10;
    static constexpr int kLooks = 500;

    static unique_file Open(const std::wstring& path, DWORD access) {
        return unique_file(CreateFileW(path.c_str(), access,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    }

    [[nodiscard]] char Read() const {
        char byte = 0;
        DWORD count = 0;
        (void)ReadFile(owner_.get(), &byte, 1, &count, nullptr);
        return byte;
    }

    const std::wstring path_;
    unique_file owner_;
};

}  // namespace brivelnox::test
