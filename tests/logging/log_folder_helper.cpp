#include "tests/logging/log_folder_helper.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <system_error>

#include <gtest/gtest.h>

#include "platform/unique_handle.h"

namespace brivelnox::test {

namespace {

std::mutex clock_lock;
SYSTEMTIME clock_time = {};

/// Sets the file's creation and its last write to the same local time.
void SetFileDates(const std::wstring& path, const SYSTEMTIME& local) {
    const unique_file file(CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(file);
    const FILETIME time = FileTimeOf(local);
    ASSERT_TRUE(SetFileTime(file.get(), &time, nullptr, &time));
}

std::wstring TemporaryFolder() {
    wchar_t folder[MAX_PATH] = {};
    EXPECT_NE(GetTempPathW(MAX_PATH, folder), 0u);
    return folder;
}

}  // namespace

SYSTEMTIME OnDay(WORD year, WORD month, WORD day) {
    SYSTEMTIME time = kToday;
    time.wYear = year;
    time.wMonth = month;
    time.wDay = day;
    return time;
}

FILETIME FileTimeOf(const SYSTEMTIME& local) {
    SYSTEMTIME utc = {};
    FILETIME result = {};
    EXPECT_TRUE(TzSpecificLocalTimeToSystemTime(nullptr, &local, &utc));
    EXPECT_TRUE(SystemTimeToFileTime(&utc, &result));
    return result;
}

void test_clock::Set(const SYSTEMTIME& now) {
    const std::lock_guard guard(clock_lock);
    clock_time = now;
}

SYSTEMTIME test_clock::Now() {
    const std::lock_guard guard(clock_lock);
    return clock_time;
}

log_folder::log_folder() : old_temporary_folder_(TemporaryFolder()) {
    static int number = 0;
    root_ = old_temporary_folder_ + L"brivelnox-logging-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
            std::to_wstring(++number);
    std::filesystem::create_directory(root_);
    SetEnvironmentVariableW(L"TMP", root_.c_str());
    test_clock::Set(kToday);
}

log_folder::~log_folder() {
    SetEnvironmentVariableW(L"TMP", old_temporary_folder_.c_str());
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
}

std::wstring log_folder::LogPath() const {
    return root_ + L"\\Brivelnox\\" + kLogName + L"\\logs\\" + kLogName + L".log";
}

std::wstring log_folder::BackupPath(const std::wstring& name) const {
    return root_ + L"\\Brivelnox\\" + kLogName + L"\\logs\\bak\\" + name;
}

std::vector<std::string> log_folder::LogLines() const {
    const std::string bytes = LogBytes();
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end = bytes.find("\r\n"); end != std::string::npos; end = bytes.find("\r\n", start)) {
        lines.push_back(bytes.substr(start, end - start));
        start = end + 2;
    }
    EXPECT_EQ(start, bytes.size()) << "the last line has no end";
    return lines;
}

std::vector<std::wstring> log_folder::Backups() const {
    std::vector<std::wstring> names;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(BackupPath(L""), none)) {
        names.push_back(entry.path().filename().wstring());
    }
    std::sort(names.begin(), names.end());
    return names;
}

void log_folder::AddBackup(const std::wstring& name, const SYSTEMTIME& created) const {
    WriteBytes(BackupPath(name), "old\r\n");
    SetFileDates(BackupPath(name), created);
}

void log_folder::DateLog(const SYSTEMTIME& created) const {
    SetFileDates(LogPath(), created);
}

bool log_folder::Exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::string log_folder::BytesOf(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

void log_folder::WriteBytes(const std::wstring& path, const std::string& bytes) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream file(std::filesystem::path(path), std::ios::binary | std::ios::trunc);
    file << bytes;
    ASSERT_TRUE(file.good());
}

}  // namespace brivelnox::test
