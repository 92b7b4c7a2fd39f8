#pragma once

#include <windows.h>

#include <cstddef>
#include <string>
#include <vector>

namespace brivelnox {

/// One file of the backup folder.
struct log_backup {
    std::wstring name;
    FILETIME created = {};
    FILETIME written = {};
};

/// How many backups are kept.
inline constexpr std::size_t kBackupsKept = 5;

/// Whether `left` counts as older than `right`: by creation time, then by name (ordinal comparison of the
/// wide characters, a prefix first), then by the time of the last write.
bool IsOlderBackup(const log_backup& left, const log_backup& right);

/// The backups to delete so that only the newest five remain, oldest first. Fewer than six: none.
std::vector<log_backup> SelectBackupsToDelete(std::vector<log_backup> backups);

/// Deletes all but the five newest "*.log" files of the folder (a full path without a closing backslash).
/// Failures are ignored. The caller holds the logger's lock.
void DeleteOldBackups(const std::wstring& folder);

}  // namespace brivelnox
