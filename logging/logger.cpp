#include "logging/logger.h"

#include <windows.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <mutex>
#include <string>

#include "logging/log_backups.h"
#include "platform/ansi_text.h"
#include "platform/unique_handle.h"

namespace brivelnox {

namespace {

constexpr wchar_t kMakerFolder[] = L"Brivelnox";
constexpr wchar_t kLogsFolder[] = L"logs";
constexpr wchar_t kBackupFolder[] = L"\\bak";
constexpr wchar_t kLogFileSuffix[] = L".log";
constexpr std::size_t kMessageCharacters = 512;
constexpr std::size_t kTimestampCharacters = 20;
constexpr std::size_t kBackupNameCharacters = 32;
constexpr std::size_t kCategoryWidth = 20;

bool IsSameDay(const SYSTEMTIME& left, const SYSTEMTIME& right) {
    return left.wDay == right.wDay && left.wMonth == right.wMonth && left.wYear == right.wYear;
}

/// Writes the root folder of the log, or tells that there is none.
bool FindRootFolder(bool use_common_application_data, wchar_t (&folder)[MAX_PATH]) {
    if (use_common_application_data) {
        return SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, folder) == S_OK;
    }
    const DWORD length = GetTempPathW(MAX_PATH, folder);
    return length != 0 && length < MAX_PATH;
}

std::wstring FormatTimestamp(const SYSTEMTIME& time) {
    wchar_t text[kTimestampCharacters] = {};
    (void)_snwprintf_s(text, std::size(text), _TRUNCATE, L"%02d-%02d %02d:%02d:%02d", time.wMonth, time.wDay,
                       time.wHour, time.wMinute, time.wSecond);
    return text;
}

/// Opens the log's file; nothing where what has its place is no file on a disk. A pipe there would keep the
/// thread for as long as the pipe's owner likes, and the owner could act as the user of this process.
unique_file OpenOnDisk(const std::wstring& path, DWORD access, DWORD share, DWORD disposition) {
    unique_file file(CreateFileW(path.c_str(), access, share, nullptr, disposition,
                                 FILE_ATTRIBUTE_NORMAL | SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS,
                                 nullptr));
    if (file && GetFileType(file.get()) != FILE_TYPE_DISK) {
        file.reset();
    }
    return file;
}

/// The log is a text file: a line feed is stored as CR LF.
std::string ToTextFileBytes(const std::wstring& line) {
    std::string bytes;
    for (const char character : ToAnsi(line)) {
        if (character == '\n') {
            bytes += '\r';
        }
        bytes += character;
    }
    return bytes;
}

}  // namespace

logger& logger::Process() {
    static logger instance;
    return instance;
}

SYSTEMTIME logger::SystemLocalTime() {
    SYSTEMTIME now = {};
    GetLocalTime(&now);
    return now;
}

void logger::Start(bool use_common_application_data, const std::wstring& log_name) {
    if (started_.load()) {
        return;
    }
    const lock_guard guard(lock_);
    StartLocked(use_common_application_data, log_name);
}

void logger::StartWithoutWaiting(bool use_common_application_data, const std::wstring& log_name) {
    if (started_.load() || !lock_.try_lock()) {
        return;
    }
    const lock_guard guard(lock_, std::adopt_lock);
    StartLocked(use_common_application_data, log_name);
}

void logger::StartLocked(bool use_common_application_data, const std::wstring& log_name) {
    if (started_.load()) {
        return;
    }
    wchar_t folder[MAX_PATH] = {};
    if (!FindRootFolder(use_common_application_data, folder)) {
        return;
    }
    for (const wchar_t* name : {kMakerFolder, log_name.c_str(), kLogsFolder}) {
        // No result is checked: a folder that exists already is the usual case, and where none can be made
        // the lines are lost, not the calls of TAPI.
        (void)PathAppendW(folder, name);
        (void)CreateDirectoryW(folder, nullptr);
    }
    backup_folder_path_ = std::wstring(folder) + kBackupFolder;
    log_file_path_ = std::wstring(folder) + L"\\" + log_name + kLogFileSuffix;
    started_.store(true);
}

void logger::Log(const wchar_t* category, const wchar_t* format, ...) noexcept {
    if (format == nullptr || category == nullptr) {
        return;
    }
    wchar_t text[kMessageCharacters] = {};
    va_list arguments;
    va_start(arguments, format);
    // The family of functions with a wide %s on every compiler; longer output is cut at 511 characters.
    (void)_vsnwprintf_s(text, std::size(text), _TRUNCATE, format, arguments);
    va_end(arguments);
    try {
        Write(category, text);
    } catch (...) {
        // Out of memory for the line's strings: the line is lost.
    }
}

void logger::Write(const std::wstring& category, const std::wstring& text) noexcept {
    if (!started_.load()) {
        return;
    }
    try {
        const SYSTEMTIME now = clock_();
        const lock_guard guard(lock_);
        WriteLocked(now, category, text);
    } catch (...) {
        // No failure of the log may reach the work that is being logged.
    }
}

void logger::WriteLocked(const SYSTEMTIME& now, const std::wstring& category, const std::wstring& text) {
    if (IsDayCheckDue(now) && MustRoll(now)) {
        Roll(now);
    }
    first_write_pending_ = false;
    date_of_last_line_ = now;

    std::wstring line = FormatTimestamp(now) + L" " + category;
    if (category.size() < kCategoryWidth) {
        line.append(kCategoryWidth - category.size(), L' ');
    }
    AppendLine(line + L" " + text + L"\n");
}

bool logger::IsDayCheckDue(const SYSTEMTIME& now) const {
    if (first_write_pending_) {
        return true;
    }
    // A line whose time was read just before midnight may get its turn after the first line of the new day.
    // It must not put that day's file away again.
    return !IsSameDay(now, date_of_last_line_) && !IsSameDay(clock_(), date_of_last_line_);
}

bool logger::MustRoll(const SYSTEMTIME& now) const {
    const unique_file file = OpenOnDisk(log_file_path_, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    FILETIME created = {};
    if (!file || !GetFileTime(file.get(), &created, nullptr, nullptr)) {
        return false;
    }
    SYSTEMTIME created_utc = {};
    SYSTEMTIME created_local = {};
    if (!FileTimeToSystemTime(&created, &created_utc) ||
        !SystemTimeToTzSpecificLocalTime(nullptr, &created_utc, &created_local)) {
        return false;
    }
    return !IsSameDay(created_local, now);
}

void logger::Roll(const SYSTEMTIME& now) const {
    (void)CreateDirectoryW(backup_folder_path_.c_str(), nullptr);
    // The backup is named after the day of the line being written, not after the day of the lines in the old
    // file. That is intended: the name tells when the file was put away.
    wchar_t name[kBackupNameCharacters] = {};
    (void)_snwprintf_s(name, std::size(name), _TRUNCATE, L"\\%02d%02d%02d.log", now.wYear, now.wMonth,
                       now.wDay);
    // No replace: where a backup of that name exists, the old file stays current and goes on growing.
    (void)MoveFileW(log_file_path_.c_str(), (backup_folder_path_ + name).c_str());
    DeleteOldBackups(backup_folder_path_);
}

void logger::AppendLine(const std::wstring& line) const {
    const unique_file file =
        OpenOnDisk(log_file_path_, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_ALWAYS);
    if (!file) {
        return;
    }
    const std::string bytes = ToTextFileBytes(line);
    DWORD written = 0;
    (void)WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

}  // namespace brivelnox
