#pragma once

// Drive C: as a folder of this process.

#include <windows.h>

#include <string>

namespace brivelnox::native {

/// Where a Windows path leads. Both separators are taken; a path without a drive lies in the drive's root.
std::string ToSystemPath(const wchar_t* path);

/// Sets the last error to what Windows says for an errno of a file operation, and returns FALSE.
BOOL FailWith(int error);

/// What is known of a file by its path here: when it was made, and who has it open.
namespace file_records {

/// Now, for a file that has just been made or has been made anew.
void NoteCreated(const std::string& path);
void SetCreated(const std::string& path, const FILETIME& created);
/// False for a file that was not made by this process.
bool Created(const std::string& path, FILETIME& created);
void NoteMoved(const std::string& from, const std::string& to);
void Forget(const std::string& path);

/// Enters an open handle, unless it and those that are there do not share what they do.
bool TryOpen(const std::string& path, DWORD access, DWORD share);
void NoteClosed(const std::string& path, DWORD access, DWORD share);
/// Whether every open handle lets the file be deleted or renamed.
bool MayDelete(const std::string& path);

}  // namespace file_records

/// The times and attributes of what is at the path. False with the last error set when nothing is.
bool Describe(const std::string& path, WIN32_FIND_DATAW& described);

/// A time of the file system.
struct system_time {
    long long seconds;
    long nanoseconds;
};
FILETIME FromSystemTime(const system_time& time);
system_time ToSystemTime(const FILETIME& time);

}  // namespace brivelnox::native
