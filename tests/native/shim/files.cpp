#include <windows.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>

#include "shim/drive.h"
#include "shim/kernel_object.h"

namespace brivelnox::native {

namespace {

constexpr mode_t kFileMode = 0644;

class file_object final : public kernel_object {
  public:
    file_object(int descriptor, std::string path, DWORD access, DWORD share)
        : kernel_object(object_kind::file),
          descriptor_(descriptor),
          path_(std::move(path)),
          access_(access),
          share_(share) {}

    void OnClose() override {
        (void)::close(descriptor_);
        file_records::NoteClosed(path_, access_, share_);
    }

    [[nodiscard]] int Descriptor() const { return descriptor_; }
    [[nodiscard]] const std::string& Path() const { return path_; }

  private:
    const int descriptor_;
    const std::string path_;
    const DWORD access_;
    const DWORD share_;
};

/// From those who write to a file to those who read one.
const order_token& Written() {
    static const order_token& token = *new order_token;
    return token;
}

/// The system's flags for an access and a disposition.
int OpenFlags(DWORD access, DWORD disposition) {
    constexpr struct {
        DWORD disposition;
        int flags;
    } kDispositions[] = {
        {CREATE_NEW, O_CREAT | O_EXCL}, {CREATE_ALWAYS, O_CREAT | O_TRUNC}, {OPEN_EXISTING, 0},
        {OPEN_ALWAYS, O_CREAT},         {TRUNCATE_EXISTING, O_TRUNC},
    };
    const bool reads = (access & (GENERIC_READ | FILE_READ_DATA)) != 0;
    const bool writes = (access & (GENERIC_WRITE | FILE_WRITE_DATA)) != 0;
    const bool appends = !writes && (access & FILE_APPEND_DATA) != 0;
    int flags = O_CLOEXEC | (appends ? O_APPEND : 0);
    flags |= writes || appends ? (reads ? O_RDWR : O_WRONLY) : O_RDONLY;
    for (const auto& row : kDispositions) {
        if (row.disposition == disposition) {
            return flags | row.flags;
        }
    }
    Misuse("a way of opening files that is not known here");
}

/// Whether the owner of a pipe that is opened with these flags could act as the user who opens it.
bool LetsItselfBeImpersonated(DWORD flags) {
    return (flags & SECURITY_SQOS_PRESENT) == 0 || (flags & SECURITY_DELEGATION) != SECURITY_ANONYMOUS;
}

HANDLE Open(const std::string& path, DWORD access, DWORD share, DWORD disposition, DWORD flags) {
    struct stat status = {};
    const bool existed = stat(path.c_str(), &status) == 0;
    if (existed && S_ISDIR(status.st_mode) && (flags & FILE_FLAG_BACKUP_SEMANTICS) == 0) {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    if (existed && S_ISFIFO(status.st_mode) && LetsItselfBeImpersonated(flags)) {
        Misuse("a pipe whose owner may impersonate whoever opens it");
    }
    if (!file_records::TryOpen(path, access, share)) {
        SetLastError(ERROR_SHARING_VIOLATION);
        return INVALID_HANDLE_VALUE;
    }
    const int descriptor = ::open(path.c_str(), OpenFlags(access, disposition), kFileMode);
    if (descriptor < 0) {
        (void)FailWith(errno);
        file_records::NoteClosed(path, access, share);
        return INVALID_HANDLE_VALUE;
    }
    if (!existed) {
        file_records::NoteCreated(path);
    }
    const bool tells_existed = disposition == OPEN_ALWAYS || disposition == CREATE_ALWAYS;
    SetLastError(existed && tells_existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return ToHandle(new file_object(descriptor, path, access, share));
}

/// The count of a read or write, or the failure.
BOOL Result(ssize_t count, DWORD* told) {
    if (count < 0) {
        return FailWith(errno);
    }
    if (told != nullptr) {
        *told = static_cast<DWORD>(count);
    }
    return TRUE;
}

}  // namespace

}  // namespace brivelnox::native

namespace native = brivelnox::native;
using native::FailWith;
using native::file_object;
using native::FromHandle;

HANDLE CreateFileW(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES*, DWORD disposition,
                   DWORD flags, HANDLE) {
    return native::Open(native::ToSystemPath(path), access, share, disposition, flags);
}

DWORD GetFileType(HANDLE file) {
    constexpr struct {
        mode_t kind;
        DWORD type;
    } kTypes[] = {
        {S_IFREG, FILE_TYPE_DISK},
        {S_IFDIR, FILE_TYPE_DISK},
        {S_IFCHR, FILE_TYPE_CHAR},
        {S_IFIFO, FILE_TYPE_PIPE},
    };
    const auto object = FromHandle<file_object>(file);
    struct stat status = {};
    if (object && fstat(object->Descriptor(), &status) == 0) {
        for (const auto& row : kTypes) {
            if (row.kind == (status.st_mode & S_IFMT)) {
                return row.type;
            }
        }
    }
    return FILE_TYPE_UNKNOWN;
}

BOOL ReadFile(HANDLE file, void* bytes, DWORD size, DWORD* read, void*) {
    const auto object = FromHandle<file_object>(file);
    const BOOL result = object ? native::Result(::read(object->Descriptor(), bytes, size), read) : FALSE;
    native::Written().Take();
    return result;
}

BOOL WriteFile(HANDLE file, const void* bytes, DWORD size, DWORD* written, void*) {
    const auto object = FromHandle<file_object>(file);
    native::Written().Give();
    return object ? native::Result(::write(object->Descriptor(), bytes, size), written) : FALSE;
}

BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size) {
    const auto object = FromHandle<file_object>(file);
    struct stat status = {};
    if (!object || fstat(object->Descriptor(), &status) != 0) {
        return FALSE;
    }
    size->QuadPart = status.st_size;
    return TRUE;
}

BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* position, DWORD method) {
    const auto object = FromHandle<file_object>(file);
    if (!object) {
        return FALSE;
    }
    // The three methods have the same numbers.
    const off_t reached = lseek(object->Descriptor(), distance.QuadPart, static_cast<int>(method));
    if (reached < 0) {
        return FailWith(errno);
    }
    if (position != nullptr) {
        position->QuadPart = reached;
    }
    return TRUE;
}

BOOL SetEndOfFile(HANDLE file) {
    const auto object = FromHandle<file_object>(file);
    return object && ftruncate(object->Descriptor(), lseek(object->Descriptor(), 0, SEEK_CUR)) == 0;
}

BOOL FlushFileBuffers(HANDLE file) {
    return FromHandle<file_object>(file) ? TRUE : FALSE;
}

BOOL GetFileTime(HANDLE file, FILETIME* created, FILETIME* accessed, FILETIME* written) {
    const auto object = FromHandle<file_object>(file);
    WIN32_FIND_DATAW described = {};
    if (!object || !native::Describe(object->Path(), described)) {
        return FALSE;
    }
    if (created != nullptr) {
        *created = described.ftCreationTime;
    }
    if (accessed != nullptr) {
        *accessed = described.ftLastAccessTime;
    }
    if (written != nullptr) {
        *written = described.ftLastWriteTime;
    }
    return TRUE;
}

BOOL SetFileTime(HANDLE file, const FILETIME* created, const FILETIME* accessed, const FILETIME* written) {
    const auto object = FromHandle<file_object>(file);
    if (!object) {
        return FALSE;
    }
    if (created != nullptr) {
        native::file_records::SetCreated(object->Path(), *created);
    }
    timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_OMIT}};
    const FILETIME* const wanted[2] = {accessed, written};
    for (std::size_t i = 0; i < 2; ++i) {
        if (wanted[i] != nullptr) {
            const native::system_time time = native::ToSystemTime(*wanted[i]);
            times[i] = {time.seconds, time.nanoseconds};
        }
    }
    return futimens(object->Descriptor(), times) == 0 ? TRUE : FailWith(errno);
}

BOOL DeleteFileW(const wchar_t* path) {
    const std::string system_path = native::ToSystemPath(path);
    if (!native::file_records::MayDelete(system_path)) {
        SetLastError(ERROR_SHARING_VIOLATION);
        return FALSE;
    }
    if (unlink(system_path.c_str()) != 0) {
        return FailWith(errno);
    }
    native::file_records::Forget(system_path);
    return TRUE;
}

BOOL MoveFileW(const wchar_t* from, const wchar_t* to) {
    return MoveFileExW(from, to, 0);
}

BOOL MoveFileExW(const wchar_t* from, const wchar_t* to, DWORD flags) {
    const std::string source = native::ToSystemPath(from);
    const std::string target = native::ToSystemPath(to);
    struct stat status = {};
    if ((flags & MOVEFILE_REPLACE_EXISTING) == 0 && stat(target.c_str(), &status) == 0) {
        SetLastError(ERROR_ALREADY_EXISTS);
        return FALSE;
    }
    if (!native::file_records::MayDelete(source)) {
        SetLastError(ERROR_SHARING_VIOLATION);
        return FALSE;
    }
    if (rename(source.c_str(), target.c_str()) != 0) {
        return FailWith(errno);
    }
    native::file_records::NoteMoved(source, target);
    return TRUE;
}
