#pragma once

#include <windows.h>

#include <atomic>
#include <string>
#include <string_view>

#include "platform/locks.h"

namespace brivelnox {

/// The provider's diagnostic log: one text file with the current day's lines, rolled into a backup folder
/// when the day changes, with the five newest backups kept. There are no levels and no settings; once started
/// it is always on, for the life of the process.
///
/// The file is opened, appended to and closed again for every line, so that it can be read, moved or deleted
/// at any time. No failure reaches the caller: a line that cannot be written is lost. Where something else
/// than a file on a disk has the file's place, as a link to a pipe, nothing is written to it and nobody waits
/// for it.
///
/// All operations may be called on any thread. One recursive lock serialises start, day check, roll and the
/// writing of a line.
class logger {
  public:
    /// Tells the current local time.
    using local_clock = SYSTEMTIME (*)();

    explicit logger(local_clock clock = &SystemLocalTime) : clock_(clock) {}
    logger(const logger&) = delete;
    logger& operator=(const logger&) = delete;

    /// The one logger of this process.
    static logger& Process();

    /// Creates the folders and fixes the paths; does nothing once the logger is started. With
    /// `use_common_application_data` the log lives under the machine-wide application-data folder, otherwise
    /// under the user's temporary folder. If that folder cannot be found the logger stays unstarted, every
    /// line is dropped, and a later start tries again. Takes the logger's lock.
    void Start(bool use_common_application_data, const wchar_t* log_name);

    /// Formats into 512 wide characters (longer output is cut) and writes the line. A null format writes
    /// nothing.
    void Log(const wchar_t* category, const wchar_t* format, ...) noexcept;

    /// Writes one line: time, category in a field of 20 characters, text. Does nothing before the start.
    void Write(std::wstring_view category, std::wstring_view text) noexcept;

    /// Whether the folders exist and the paths are known.
    [[nodiscard]] bool IsStarted() const { return started_.load(); }

  private:
    static SYSTEMTIME SystemLocalTime();

    [[nodiscard]] bool IsDayCheckDue(const SYSTEMTIME& now) const BRIVELNOX_REQUIRES(lock_);
    [[nodiscard]] bool MustRoll(const SYSTEMTIME& now) const BRIVELNOX_REQUIRES(lock_);
    void Roll(const SYSTEMTIME& now) const BRIVELNOX_REQUIRES(lock_);
    /// Makes the line's bytes; both buffers keep their memory for the next one.
    void AssembleLine(const SYSTEMTIME& now, std::wstring_view category, std::wstring_view text)
        BRIVELNOX_REQUIRES(lock_);
    void AppendToFile() const BRIVELNOX_REQUIRES(lock_);

    const local_clock clock_;
    std::atomic<bool> started_{false};
    recursive_mutex lock_{lock_rank::log};
    std::wstring log_file_path_ BRIVELNOX_GUARDED_BY(lock_);
    std::wstring backup_folder_path_ BRIVELNOX_GUARDED_BY(lock_);
    bool first_write_pending_ BRIVELNOX_GUARDED_BY(lock_) = true;
    SYSTEMTIME date_of_last_line_ BRIVELNOX_GUARDED_BY(lock_) = {};
    std::wstring line_ BRIVELNOX_GUARDED_BY(lock_);
    std::string bytes_ BRIVELNOX_GUARDED_BY(lock_);
};

}  // namespace brivelnox
