#include "logging/log_backups.h"

#include <algorithm>
#include <cstddef>

#include "platform/unique_handle.h"

namespace brivelnox {

namespace {

std::vector<log_backup> ListBackups(const std::wstring& folder) {
    std::vector<log_backup> backups;
    WIN32_FIND_DATAW entry = {};
    const unique_find search(FindFirstFileW((folder + L"\\*.log").c_str(), &entry));
    if (!search) {
        return backups;
    }
    do {
        backups.push_back({entry.cFileName, entry.ftCreationTime, entry.ftLastWriteTime});
    } while (FindNextFileW(search.get(), &entry));
    return backups;
}

}  // namespace

bool IsOlderBackup(const log_backup& left, const log_backup& right) {
    if (const LONG order = CompareFileTime(&left.created, &right.created); order != 0) {
        return order < 0;
    }
    if (const int order = left.name.compare(right.name); order != 0) {
        return order < 0;
    }
    return CompareFileTime(&left.written, &right.written) < 0;
}

std::vector<log_backup> SelectBackupsToDelete(std::vector<log_backup> backups) {
    if (backups.size() <= kBackupsKept) {
        return {};
    }
    std::sort(backups.begin(), backups.end(), IsOlderBackup);
    backups.resize(backups.size() - kBackupsKept);
    return backups;
}

void DeleteOldBackups(const std::wstring& folder) {
    for (const log_backup& backup : SelectBackupsToDelete(ListBackups(folder))) {
        (void)DeleteFileW((folder + L"\\" + backup.name).c_str());
    }
}

}  // namespace brivelnox
