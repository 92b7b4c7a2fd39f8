#include <windows.h>
#include <dirent.h>
#include <fnmatch.h>
#include <shlobj.h>
#include <shlwapi.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "shim/drive.h"
#include "shim/kernel_object.h"
#include "shim/misuse.h"
#include "shim/text_conversion.h"

namespace brivelnox::native {

namespace {

constexpr mode_t kFolderMode = 0755;
constexpr wchar_t kCommonApplicationData[] = L"C:\\ProgramData";
constexpr std::wstring_view kTemporaryVariable = L"TMP";

struct temporary_folder {
    std::mutex mutex;
    std::wstring path = L"C:\\Temp";
};

temporary_folder& Temporary() {
    static temporary_folder& instance = *new temporary_folder;
    return instance;
}

/// The entries that a search has found, and how far it has handed them out.
class file_search final : public kernel_object {
  public:
    explicit file_search(std::vector<WIN32_FIND_DATAW> found)
        : kernel_object(object_kind::file_search), found_(std::move(found)) {}

    bool Next(WIN32_FIND_DATAW& next) {
        if (at_ == found_.size()) {
            return false;
        }
        next = found_[at_++];
        return true;
    }

  private:
    const std::vector<WIN32_FIND_DATAW> found_;
    std::size_t at_ = 0;
};

std::vector<WIN32_FIND_DATAW> Find(const std::string& folder, const std::string& pattern) {
    std::vector<WIN32_FIND_DATAW> found;
    DIR* const listing = opendir(folder.c_str());
    if (listing == nullptr) {
        return found;
    }
    while (const dirent* const entry = readdir(listing)) {
        WIN32_FIND_DATAW described = {};
        const std::string name = static_cast<const char*>(entry->d_name);
        if (fnmatch(pattern.c_str(), name.c_str(), FNM_CASEFOLD) == 0 &&
            Describe(folder + "/" + name, described)) {
            (void)wcscpy_s(described.cFileName, MAX_PATH, FromUtf8(name).c_str());
            found.push_back(described);
        }
    }
    (void)closedir(listing);
    std::sort(found.begin(), found.end(), [](const WIN32_FIND_DATAW& left, const WIN32_FIND_DATAW& right) {
        return std::wstring_view(left.cFileName) < right.cFileName;
    });
    return found;
}

}  // namespace

}  // namespace brivelnox::native

namespace native = brivelnox::native;
using native::FailWith;
using native::FromHandle;

DWORD GetFileAttributesW(const wchar_t* path) {
    WIN32_FIND_DATAW described = {};
    return native::Describe(native::ToSystemPath(path), described) ? described.dwFileAttributes
                                                                   : INVALID_FILE_ATTRIBUTES;
}

BOOL SetFileAttributesW(const wchar_t* path, DWORD attributes) {
    const mode_t mode = (attributes & FILE_ATTRIBUTE_READONLY) != 0 ? 0444 : 0644;
    return chmod(native::ToSystemPath(path).c_str(), mode) == 0 ? TRUE : FailWith(errno);
}

BOOL CreateDirectoryW(const wchar_t* path, SECURITY_ATTRIBUTES*) {
    return mkdir(native::ToSystemPath(path).c_str(), native::kFolderMode) == 0 ? TRUE : FailWith(errno);
}

BOOL RemoveDirectoryW(const wchar_t* path) {
    return rmdir(native::ToSystemPath(path).c_str()) == 0 ? TRUE : FailWith(errno);
}

HANDLE FindFirstFileW(const wchar_t* pattern, WIN32_FIND_DATAW* found) {
    const std::string path = native::ToSystemPath(pattern);
    const std::size_t separator = path.rfind('/');
    auto entries = native::Find(path.substr(0, separator), path.substr(separator + 1));
    if (entries.empty()) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    auto* const search = new native::file_search(std::move(entries));
    (void)search->Next(*found);
    return ToHandle(search);
}

BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* found) {
    const auto object = FromHandle<native::file_search>(search);
    if (!object || !object->Next(*found)) {
        SetLastError(ERROR_NO_MORE_FILES);
        return FALSE;
    }
    return TRUE;
}

BOOL FindClose(HANDLE search) {
    const auto object = FromHandle<native::file_search>(search);
    if (!object) {
        return FALSE;
    }
    object->CloseByHandle();
    return TRUE;
}

DWORD GetTempPathW(DWORD size, wchar_t* path) {
    const native::hidden_from_order hidden;
    const std::lock_guard guard(native::Temporary().mutex);
    std::wstring whole = native::Temporary().path;
    if (!whole.ends_with(L'\\')) {
        whole += L'\\';
    }
    const auto length = static_cast<DWORD>(whole.size());
    if (size <= length) {
        return length + 1;
    }
    (void)wcscpy_s(path, size, whole.c_str());
    return length;
}

BOOL SetEnvironmentVariableW(const wchar_t* name, const wchar_t* value) {
    if (name != native::kTemporaryVariable) {
        native::Misuse("the only environment variable that is known here is TMP");
    }
    const native::hidden_from_order hidden;
    const std::lock_guard guard(native::Temporary().mutex);
    native::Temporary().path = value;
    return TRUE;
}

HRESULT SHGetFolderPathW(HWND, int folder, HANDLE, DWORD, wchar_t* path) {
    // Without this folder the provider's log does not start, and its lock orders no threads.
    if (folder != CSIDL_COMMON_APPDATA || std::getenv("BRIVELNOX_WITHOUT_LOG") != nullptr) {
        return E_FAIL;
    }
    return wcscpy_s(path, MAX_PATH, native::kCommonApplicationData) == 0 ? S_OK : E_FAIL;
}

BOOL PathAppendW(wchar_t* path, const wchar_t* more) {
    std::wstring joined = path;
    while (*more == L'\\') {
        ++more;
    }
    if (!joined.empty() && joined.back() != L'\\') {
        joined += L'\\';
    }
    return wcscpy_s(path, MAX_PATH, (joined + more).c_str()) == 0 ? TRUE : FALSE;
}
