#include "shim/drive.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <system_error>
#include <vector>

#include "shim/misuse.h"
#include "shim/text_conversion.h"
#include "shim/thread_order.h"

namespace brivelnox::native {

namespace {

namespace fs = std::filesystem;

/// The folder of this process, with the folders that a Windows has from the start.
class drive_folder {
  public:
    drive_folder() {
        std::string pattern = (fs::temp_directory_path() / "brivelnox-native-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            Misuse("no folder can be made for drive C:");
        }
        path_ = pattern;
        fs::create_directories(path_ + "/ProgramData");
        fs::create_directories(path_ + "/Temp");
    }
    ~drive_folder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    drive_folder(const drive_folder&) = delete;
    drive_folder& operator=(const drive_folder&) = delete;
    [[nodiscard]] const std::string& Path() const { return path_; }

  private:
    std::string path_;
};

struct open_handle {
    DWORD access;
    DWORD share;
};

struct records {
    std::mutex mutex;
    std::map<std::string, FILETIME> created;
    std::multimap<std::string, open_handle> open;
};

records& Records() {
    static records& instance = *new records;
    return instance;
}

struct sharing {
    DWORD access;
    DWORD share;
};

constexpr sharing kSharing[] = {
    {GENERIC_READ | FILE_READ_DATA, FILE_SHARE_READ},
    {GENERIC_WRITE | FILE_WRITE_DATA | FILE_APPEND_DATA, FILE_SHARE_WRITE},
};

bool Allows(DWORD share, DWORD access) {
    return std::all_of(std::begin(kSharing), std::end(kSharing), [&](const sharing& row) {
        return (access & row.access) == 0 || (share & row.share) != 0;
    });
}

// From 1601 to 1970, in seconds.
constexpr long long kSecondsToUnixEpoch = 11644473600;
constexpr long long kTicksPerSecond = 10000000;

}  // namespace

std::string ToSystemPath(const wchar_t* path) {
    static const drive_folder drive;
    std::string converted = ToUtf8(path);
    std::replace(converted.begin(), converted.end(), '\\', '/');
    if (converted.size() >= 2 && converted[1] == ':') {
        converted.erase(0, 2);
    }
    while (converted.size() > 1 && converted.back() == '/') {
        converted.pop_back();
    }
    return drive.Path() + (converted.starts_with('/') ? "" : "/") + converted;
}

BOOL FailWith(int error) {
    constexpr struct {
        int error;
        DWORD windows_error;
    } kErrors[] = {
        {ENOENT, ERROR_FILE_NOT_FOUND},
        {ENOTDIR, ERROR_PATH_NOT_FOUND},
        {EACCES, ERROR_ACCESS_DENIED},
        {EPERM, ERROR_ACCESS_DENIED},
        {EISDIR, ERROR_ACCESS_DENIED},
        {EROFS, ERROR_ACCESS_DENIED},
        {EEXIST, ERROR_ALREADY_EXISTS},
        {ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
        {ENOSPC, 112},
        {EINVAL, ERROR_INVALID_PARAMETER},
        {ENAMETOOLONG, 206},
    };
    const auto* const found = std::find_if(std::begin(kErrors), std::end(kErrors),
                                           [&](const auto& row) { return row.error == error; });
    SetLastError(found != std::end(kErrors) ? found->windows_error : ERROR_ACCESS_DENIED);
    return FALSE;
}

void file_records::NoteCreated(const std::string& path) {
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    SetCreated(path, now);
}

void file_records::SetCreated(const std::string& path, const FILETIME& created) {
    const hidden_from_order hidden;
    const std::lock_guard guard(Records().mutex);
    Records().created[path] = created;
}

bool file_records::Created(const std::string& path, FILETIME& created) {
    const hidden_from_order hidden;
    const std::lock_guard guard(Records().mutex);
    const auto found = Records().created.find(path);
    if (found == Records().created.end()) {
        return false;
    }
    created = found->second;
    return true;
}

void file_records::NoteMoved(const std::string& from, const std::string& to) {
    FILETIME created = {};
    if (Created(from, created)) {
        SetCreated(to, created);
        Forget(from);
    }
}

void file_records::Forget(const std::string& path) {
    const hidden_from_order hidden;
    const std::lock_guard guard(Records().mutex);
    Records().created.erase(path);
}

bool file_records::TryOpen(const std::string& path, DWORD access, DWORD share) {
    const hidden_from_order hidden;
    const std::lock_guard guard(Records().mutex);
    const auto [begin, end] = Records().open.equal_range(path);
    const bool shared = std::all_of(begin, end, [&](const auto& other) {
        return Allows(other.second.share, access) && Allows(share, other.second.access);
    });
    if (shared) {
        Records().open.insert({path, {access, share}});
    }
    return shared;
}

void file_records::NoteClosed(const std::string& path, DWORD access, DWORD share) {
    const hidden_from_order hidden;
    const std::lock_guard guard(Records().mutex);
    const auto [begin, end] = Records().open.equal_range(path);
    const auto found = std::find_if(begin, end, [&](const auto& other) {
        return other.second.access == access && other.second.share == share;
    });
    Records().open.erase(found);
}

bool file_records::MayDelete(const std::string& path) {
    const hidden_from_order hidden;
    const std::lock_guard guard(Records().mutex);
    const auto [begin, end] = Records().open.equal_range(path);
    return std::all_of(begin, end,
                       [](const auto& other) { return (other.second.share & FILE_SHARE_DELETE) != 0; });
}

bool Describe(const std::string& path, WIN32_FIND_DATAW& described) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return FailWith(errno) != FALSE;
    }
    const bool is_folder = S_ISDIR(status.st_mode);
    described = {};
    described.dwFileAttributes = is_folder ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    if (!is_folder && (status.st_mode & S_IWUSR) == 0) {
        described.dwFileAttributes = FILE_ATTRIBUTE_READONLY;
    }
    described.ftLastWriteTime = FromSystemTime({status.st_mtim.tv_sec, status.st_mtim.tv_nsec});
    described.ftLastAccessTime = FromSystemTime({status.st_atim.tv_sec, status.st_atim.tv_nsec});
    if (!file_records::Created(path, described.ftCreationTime)) {
        described.ftCreationTime = described.ftLastWriteTime;
    }
    const auto size = static_cast<std::uint64_t>(status.st_size);
    described.nFileSizeHigh = static_cast<DWORD>(size >> 32);
    described.nFileSizeLow = static_cast<DWORD>(size);
    return true;
}

FILETIME FromSystemTime(const system_time& time) {
    const auto count = static_cast<std::uint64_t>((time.seconds + kSecondsToUnixEpoch) * kTicksPerSecond +
                                                  time.nanoseconds / 100);
    return {static_cast<DWORD>(count), static_cast<DWORD>(count >> 32)};
}

system_time ToSystemTime(const FILETIME& time) {
    const auto count =
        static_cast<long long>((static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime);
    return {count / kTicksPerSecond - kSecondsToUnixEpoch, static_cast<long>(count % kTicksPerSecond) * 100};
}

}  // namespace brivelnox::native
