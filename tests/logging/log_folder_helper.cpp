#include "tests/logging/log_folder_helper.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <mutex>

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

/// Without the two entries that every folder has. `folder` ends with a backslash.
void ForEachIn(const std::wstring& folder, const std::function<void(const WIN32_FIND_DATAW&)>& act) {
    WIN32_FIND_DATAW entry = {};
    const unique_find search(FindFirstFileW((folder + L"*").c_str(), &entry));
    for (BOOL found = search ? TRUE : FALSE; found; found = FindNextFileW(search.get(), &entry)) {
        const std::wstring name = entry.cFileName;
        if (name != L"." && name != L"..") {
            act(entry);
        }
    }
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
    EXPECT_TRUE(CreateDirectoryW(root_.c_str(), nullptr));
    SetEnvironmentVariableW(L"TMP", root_.c_str());
    test_clock::Set(kToday);
}

log_folder::~log_folder() {
    SetEnvironmentVariableW(L"TMP", old_temporary_folder_.c_str());
    Remove(root_);
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
    ForEachIn(BackupPath(L""), [&](const WIN32_FIND_DATAW& entry) { names.emplace_back(entry.cFileName); });
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
    const unique_file file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                       nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size = {};
    if (!file || !GetFileSizeEx(file.get(), &size)) {
        return {};
    }
    std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    EXPECT_TRUE(ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr));
    bytes.resize(read);
    return bytes;
}

void log_folder::WriteBytes(const std::wstring& path, const std::string& bytes) {
    for (std::size_t end = path.find(L'\\', 3); end != std::wstring::npos; end = path.find(L'\\', end + 1)) {
        (void)CreateDirectoryW(path.substr(0, end).c_str(), nullptr);
    }
    const unique_file file(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                       nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(file);
    DWORD written = 0;
    ASSERT_TRUE(WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
    ASSERT_EQ(written, bytes.size());
}

void log_folder::Remove(const std::wstring& folder) {
    ForEachIn(folder + L"\\", [&](const WIN32_FIND_DATAW& entry) {
        const std::wstring path = folder + L"\\" + entry.cFileName;
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            Remove(path);
        } else {
            (void)DeleteFileW(path.c_str());
        }
    });
    (void)RemoveDirectoryW(folder.c_str());
}

}  // namespace brivelnox::test
