#include "tests/faults/log_place_helper.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include <gtest/gtest.h>

#include "platform/unique_handle.h"
#include "tests/support/log_reader.h"
#include "tests/support/missing_common_folder.h"

namespace brivelnox::faults {

namespace {

namespace fs = std::filesystem;

constexpr long long kUnitsOfADay = 864000000000;
constexpr DWORD kLookAgainMilliseconds = 10;
constexpr int kLooks = 500;

unique_file Open(const std::wstring& path, DWORD access, DWORD creation) {
    return unique_file(CreateFileW(path.c_str(), access,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, creation,
                                   FILE_ATTRIBUTE_NORMAL, nullptr));
}

/// A device node has no attributes that Windows knows, but it can be opened.
bool Exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES ||
           Open(path, FILE_READ_ATTRIBUTES, OPEN_EXISTING);
}

/// The name by which the system beneath Wine knows a file. Empty where there is no such system.
std::string UnixName(const std::wstring& path) {
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
bool RunUnixProgram(const std::wstring& program, const std::string& arguments) {
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

}  // namespace

log_place::log_place() : file_(test::log_reader::OfProvider().Path()) {
    folder_ = fs::path(file_).parent_path().wstring();
    aside_ = folder_ + L".aside";
    if (fs::exists(aside_)) {
        // A run that was ended in the middle has left it.
        PutBack();
    }
    fs::create_directories(folder_);
    fs::rename(folder_, aside_);
    fs::create_directories(folder_);
}

log_place::~log_place() {
    try {
        PutBack();
    } catch (const std::exception& failure) {
        ADD_FAILURE() << failure.what();
    }
}

void log_place::PutBack() const {
    RemoveFile();
    fs::remove_all(folder_);
    fs::rename(aside_, folder_);
}

std::wstring log_place::BackupOfToday() const {
    SYSTEMTIME now = {};
    GetLocalTime(&now);
    std::array<wchar_t, 32> name = {};
    (void)_snwprintf(name.data(), name.size() - 1, L"\\bak\\%04d%02d%02d.log", now.wYear, now.wMonth,
                     now.wDay);
    return folder_ + name.data();
}

void log_place::PutAFileInPlaceOfTheFolder() {
    fs::remove_all(folder_);
    (void)Open(folder_, GENERIC_WRITE, CREATE_NEW);
}

void log_place::PutTheFolderBack() {
    fs::remove(folder_);
    fs::create_directories(folder_);
}

void log_place::WriteFile(std::string_view text) const {
    const unique_file file = Open(file_, GENERIC_WRITE, CREATE_ALWAYS);
    DWORD written = 0;
    if (!::WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr)) {
        throw std::runtime_error("the log cannot be written");
    }
}

std::string log_place::Read(const std::wstring& path) {
    const unique_file file = Open(path, GENERIC_READ, OPEN_EXISTING);
    std::string text;
    std::array<char, 4096> bytes;
    DWORD length = 0;
    while (file && ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &length, nullptr) &&
           length != 0) {
        text.append(bytes.data(), length);
    }
    return text;
}

void log_place::DateFile(int days_from_now) const {
    const unique_file file = Open(file_, FILE_WRITE_ATTRIBUTES, OPEN_EXISTING);
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    ULARGE_INTEGER units = {};
    units.LowPart = now.dwLowDateTime;
    units.HighPart = now.dwHighDateTime;
    units.QuadPart += static_cast<ULONGLONG>(days_from_now * kUnitsOfADay);
    const FILETIME time = {units.LowPart, units.HighPart};
    // There are systems that derive the one from the other.
    if (!SetFileTime(file.get(), &time, nullptr, &time)) {
        throw std::runtime_error("the log cannot be dated");
    }
}

std::string log_place::KeepEverybodyFromWriting() const {
    (void)SetFileAttributesW(file_.c_str(), FILE_ATTRIBUTE_READONLY);
    if (!Open(file_, FILE_APPEND_DATA, OPEN_EXISTING)) {
        return "the file is read-only";
    }
    RemoveFile();
    fs::create_directory(file_);
    return "a folder in the file's place, as read-only files may be written by this user";
}

std::string log_place::PutAFullDiskInPlaceOfTheFile() const {
    if (!test::RunsUnderWine()) {
        return "a disk that is full cannot be had on a real machine";
    }
    RemoveFile();
    // A node of the device that is always full, of this log's own: whatever is done to it is done to no other
    // file.
    const std::string name = UnixName(folder_) + "/" + fs::path(file_).filename().string();
    if (!RunUnixProgram(L"Z:\\bin\\mknod", "-m 666 \"" + name + "\" c 1 7")) {
        return "the program that makes device nodes cannot be run";
    }
    for (int look = 0; look < kLooks && !Exists(file_); ++look) {
        Sleep(kLookAgainMilliseconds);
    }
    const unique_file full = Open(file_, FILE_APPEND_DATA, OPEN_EXISTING);
    DWORD written = 0;
    if (!full) {
        return "a device node cannot be made here";
    }
    if (::WriteFile(full.get(), "x", 1, &written, nullptr) || GetLastError() != ERROR_DISK_FULL) {
        return "the device that is always full takes bytes here";
    }
    return {};
}

void log_place::RemoveFile() const {
    if (!Exists(file_)) {
        return;
    }
    (void)SetFileAttributesW(file_.c_str(), FILE_ATTRIBUTE_NORMAL);
    (void)DeleteFileW(file_.c_str());
    (void)RemoveDirectoryW(file_.c_str());
    // A device node is no file for Windows to delete.
    if (Exists(file_) && !RunUnixProgram(L"Z:\\bin\\rm", "-f \"" + UnixName(file_) + "\"")) {
        throw std::runtime_error("the file in the log's place cannot be removed");
    }
    for (int look = 0; look < kLooks && Exists(file_); ++look) {
        Sleep(kLookAgainMilliseconds);
    }
}

}  // namespace brivelnox::faults
