#include "logging/logger.h"

#include <windows.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <string>
#include <utility>

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
constexpr std::size_t kBackupNameCharacters = 32;
// Behind the time and its blank, and the category in a field of 20 characters.
constexpr std::size_t kTextColumn = 15 + 20;

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

/// "11-16 09:05:03 "
void AppendTimestamp(std::wstring& line, const SYSTEMTIME& time) {
    const std::pair<int, wchar_t> fields[] = {{time.wMonth, L'-'},
                                              {time.wDay, L' '},
                                              {time.wHour, L':'},
                                              {time.wMinute, L':'},
                                              {time.wSecond, L' '}};
    for (const auto& [number, separator] : fields) {
        line += static_cast<wchar_t>(L'0' + number / 10);
        line += static_cast<wchar_t>(L'0' + number % 10);
        line += separator;
    }
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

void logger::Start(bool use_common_application_data, const wchar_t* log_name) {
    const lock_guard guard(lock_);
    if (started_.load()) {
        return;
    }
    wchar_t folder[MAX_PATH] = {};
    if (!FindRootFolder(use_common_application_data, folder)) {
        return;
    }
    for (const wchar_t* name : {kMakerFolder, log_name, kLogsFolder}) {
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
    wchar_t text[kMessageCharacters];
    text[0] = L'\0';
    va_list arguments;
    va_start(arguments, format);
    // The family of functions with a wide %s on every compiler; longer output is cut at 511 characters.
    (void)_vsnwprintf_s(text, std::size(text), _TRUNCATE, format, arguments);
    va_end(arguments);
    Write(category, text);
}

void logger::Write(std::wstring_view category, std::wstring_view text) noexcept {
    if (!started_.load()) {
        return;
    }
    try {
        const SYSTEMTIME now = clock_();
        const lock_guard guard(lock_);
        if (IsDayCheckDue(now) && MustRoll(now)) {
            Roll(now);
        }
        first_write_pending_ = false;
        date_of_last_line_ = now;
        AssembleLine(now, category, text);
        AppendToFile();
    } catch (...) {
        // No failure of the log may reach the work that is being logged.
    }
}

void logger::AssembleLine(const SYSTEMTIME& now, std::wstring_view category, std::wstring_view text) {
    line_.clear();
    AppendTimestamp(line_, now);
    line_ += category;
    line_.resize(std::max(line_.size(), kTextColumn), L' ');
    line_ += L' ';
    line_ += text;
    line_ += L'\n';
    bytes_.clear();
    AppendAnsi(bytes_, line_);
    // The log is a text file: a line feed is stored as CR LF.
    for (auto at = bytes_.find('\n'); at != std::string::npos; at = bytes_.find('\n', at + 2)) {
        bytes_.insert(at, 1, '\r');
    }
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

void logger::AppendToFile() const {
    const unique_file file =
        OpenOnDisk(log_file_path_, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_ALWAYS);
    if (file) {
        DWORD written = 0;
        (void)WriteFile(file.get(), bytes_.data(), static_cast<DWORD>(bytes_.size()), &written, nullptr);
    }
}

}  // namespace brivelnox
