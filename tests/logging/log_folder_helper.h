#pragma once

// A logger's files in a temporary folder of their own, with dates that a test sets and a clock that it turns.

#include <windows.h>

#include <string>
#include <vector>

#include "logging/logger.h"

namespace brivelnox::test {

/// The day that the tests play in; the files' dates are set, so any day will do.
inline constexpr SYSTEMTIME kToday = {2026, 11, 0, 16, 9, 5, 3, 0};

/// The same time of day on another day.
SYSTEMTIME OnDay(WORD year, WORD month, WORD day);

/// What the loggers of the tests read the time from.
class test_clock {
  public:
    static void Set(const SYSTEMTIME& now);
    static SYSTEMTIME Now();
};

/// Points the temporary folder of this process to a new, empty folder, and empties and removes it at the end.
/// All paths are full; names are names inside the log's folder or its backup folder.
class log_folder {
  public:
    static constexpr wchar_t kLogName[] = L"Brivelnox.Logger";

    log_folder();
    ~log_folder();
    log_folder(const log_folder&) = delete;
    log_folder& operator=(const log_folder&) = delete;

    [[nodiscard]] const std::wstring& Root() const { return root_; }
    [[nodiscard]] std::wstring LogPath() const;
    [[nodiscard]] std::wstring BackupPath(const std::wstring& name) const;

    /// The current file's bytes; empty when there is none.
    [[nodiscard]] std::string LogBytes() const { return BytesOf(LogPath()); }
    [[nodiscard]] std::string BackupBytes(const std::wstring& name) const {
        return BytesOf(BackupPath(name));
    }
    /// The current file's lines without their ends.
    [[nodiscard]] std::vector<std::string> LogLines() const;
    /// The names in the backup folder, in alphabetical order.
    [[nodiscard]] std::vector<std::wstring> Backups() const;

    /// Makes a backup that was created and last written at the given local time. (There are systems that
    /// derive the one from the other, so the two are never apart here.)
    void AddBackup(const std::wstring& name, const SYSTEMTIME& created) const;
    /// Makes the current file one that was created at the given local time.
    void DateLog(const SYSTEMTIME& created) const;

    static bool Exists(const std::wstring& path);
    static std::string BytesOf(const std::wstring& path);
    /// With the folders that are not there yet.
    static void WriteBytes(const std::wstring& path, const std::string& bytes);
    /// A folder and all that is in it, as far as there is such a folder.
    static void Remove(const std::wstring& folder);

  private:
    std::wstring root_;
    std::wstring old_temporary_folder_;
};

/// The UTC file time of a local time.
FILETIME FileTimeOf(const SYSTEMTIME& local);

}  // namespace brivelnox::test
