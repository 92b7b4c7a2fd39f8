#include "tools/setup/files.h"

#include <windows.h>

#include <utility>

#include "platform/unique_handle.h"
#include "tools/setup/failure.h"
#include "tools/setup/path_text.h"

namespace brivelnox::setup {

namespace {

namespace fs = std::filesystem;

bool HasAttribute(const fs::path& path, DWORD attribute) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & attribute) != 0;
}

void Move(const fs::path& from, const fs::path& to) {
    if (!MoveFileExW(from.c_str(), to.c_str(), 0)) {
        FailWithLastError(PathText(from) + " cannot be renamed to " + PathText(to.filename()));
    }
}

/// A name beside the path that nothing has. It does not end as providers do: Windows offers every file of its
/// folder that does.
fs::path NameAside(const fs::path& path) {
    for (int number = 1;; ++number) {
        fs::path name = path;
        name += L"." + std::to_wstring(number) + L".old";
        if (!IsThere(name)) {
            return name;
        }
    }
}

bool DeleteContents(const fs::path& folder) {
    WIN32_FIND_DATAW entry = {};
    const unique_find search(FindFirstFileW((folder / L"*").c_str(), &entry));
    bool all_gone = true;
    for (bool more = static_cast<bool>(search); more; more = FindNextFileW(search.get(), &entry) != FALSE) {
        const std::wstring name = entry.cFileName;
        if (name != L"." && name != L"..") {
            all_gone = DeleteTree(folder / name) && all_gone;
        }
    }
    return all_gone;
}

}  // namespace

bool IsThere(const fs::path& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool IsLink(const fs::path& path) {
    return HasAttribute(path, FILE_ATTRIBUTE_REPARSE_POINT);
}

bool DeleteTree(const fs::path& path) {
    if (!HasAttribute(path, FILE_ATTRIBUTE_DIRECTORY)) {
        return DeleteFileW(path.c_str()) != FALSE;
    }
    return (IsLink(path) || DeleteContents(path)) && RemoveDirectoryW(path.c_str()) != FALSE;
}

bring_file::bring_file(fs::path source, fs::path target)
    : source_(std::move(source)), target_(std::move(target)) {}

std::string bring_file::Title() const {
    return "Copy " + PathText(source_);
}

std::string bring_file::Do() {
    // A source on a medium that cannot be written is read-only, and so would be the copy.
    if (!CopyFileW(source_.c_str(), target_.c_str(), FALSE) ||
        !SetFileAttributesW(target_.c_str(), FILE_ATTRIBUTE_NORMAL)) {
        FailWithLastError("it cannot be copied to " + PathText(target_));
    }
    return "to " + PathText(target_);
}

bool bring_file::Undo() {
    if (!IsThere(target_)) {
        return false;
    }
    if (!DeleteFileW(target_.c_str())) {
        FailWithLastError(PathText(target_) + " cannot be deleted");
    }
    return true;
}

set_aside::set_aside(fs::path path) : path_(std::move(path)) {}

std::string set_aside::Title() const {
    return "Set " + PathText(path_) + " aside";
}

std::string set_aside::Do() {
    if (!IsThere(path_)) {
        return "it is not there";
    }
    const fs::path aside = NameAside(path_);
    Move(path_, aside);
    aside_ = aside;
    return "as " + PathText(aside_.filename());
}

bool set_aside::Undo() {
    if (!aside_.empty()) {
        Move(aside_, path_);
    }
    return !aside_.empty();
}

bool set_aside::Finish() {
    return !aside_.empty() && !DeleteTree(aside_) &&
           MoveFileExW(aside_.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT) != FALSE;
}

put_in_place::put_in_place(fs::path from, fs::path to, telephony_services& services)
    : from_(std::move(from)), to_(std::move(to)), services_(services) {}

std::string put_in_place::Title() const {
    return "Put " + PathText(to_) + " in its place";
}

std::string put_in_place::Do() {
    Move(from_, to_);
    is_moved_ = true;
    // Clients may have started the service again, with the file that was set aside. It goes on with this one.
    services_.Stop();
    return {};
}

bool put_in_place::Undo() {
    if (is_moved_) {
        // TAPI has started the service again if it was asked for its list, and so with this file.
        services_.Stop();
        Move(to_, from_);
    }
    return is_moved_;
}

}  // namespace brivelnox::setup
