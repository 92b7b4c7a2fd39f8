#include "tests/faults/log_place_helper.h"

#include <array>
#include <cstdio>
#include <cwchar>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "platform/unique_handle.h"
#include "tests/support/log_reader.h"
#include "tests/support/missing_common_folder.h"
#include "tests/support/signal.h"

namespace brivelnox::test {

namespace {

namespace fs = std::filesystem;

constexpr long long kUnitsOfADay = 864000000000;
constexpr int kBytesOfABlock = 4096;

unique_file Open(const std::wstring& path, DWORD access, DWORD creation) {
    return unique_file(CreateFileW(path.c_str(), access,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, creation,
                                   FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

log_place::log_place() : file_(log_reader::OfProvider().Path()) {
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
    (void)std::swprintf(name.data(), name.size(), L"\\bak\\%04d%02d%02d.log", now.wYear, now.wMonth,
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

std::string log_place::LetTheFileGrowToTheLargestSize() const {
    if (!RunsUnderWine()) {
        return "a file of the largest size takes a whole disk on a real machine";
    }
    const unique_file file = Open(file_, GENERIC_WRITE, CREATE_ALWAYS);
    // No byte of it takes any room. The largest size that can be had is between the two.
    LARGE_INTEGER had = {};
    LARGE_INTEGER refused = {};
    refused.QuadPart = std::numeric_limits<LONGLONG>::max();
    while (refused.QuadPart - had.QuadPart > 1) {
        LARGE_INTEGER tried = {};
        tried.QuadPart = had.QuadPart + (refused.QuadPart - had.QuadPart) / 2;
        const bool can_be_had =
            SetFilePointerEx(file.get(), tried, nullptr, FILE_BEGIN) && SetEndOfFile(file.get());
        (can_be_had ? had : refused) = tried;
    }
    const unique_file log = Open(file_, FILE_APPEND_DATA, OPEN_EXISTING);
    DWORD written = 0;
    // Where half a line still has room there is none for the rest.
    for (int byte = 0; byte < kBytesOfABlock; ++byte) {
        if (!::WriteFile(log.get(), "x", 1, &written, nullptr)) {
            return {};
        }
    }
    return "a file of the largest size takes more bytes here";
}

void log_place::RemoveFile() const {
    (void)SetFileAttributesW(file_.c_str(), FILE_ATTRIBUTE_NORMAL);
    (void)RemoveDirectoryW(file_.c_str());
    // A thread of the provider that is just trying to write a line keeps the file from being deleted.
    const stopwatch trying;
    while (!DeleteFileW(file_.c_str()) && GetLastError() == ERROR_SHARING_VIOLATION &&
           trying.Elapsed() < kSoon) {
        std::this_thread::yield();
    }
}

}  // namespace brivelnox::test
