#pragma once

// The place of the provider's log, and what can be wrong with it.

#include <windows.h>

#include <string>
#include <string_view>

namespace brivelnox::test {

/// The files that the provider logs to on this machine. Whatever a test does to them is undone at the end:
/// the log that was there before is put aside at the beginning and put back.
class log_place {
  public:
    log_place();
    ~log_place();
    log_place(const log_place&) = delete;
    log_place& operator=(const log_place&) = delete;

    /// Full paths: the current file, its folder, and the backup that a file put away today becomes.
    [[nodiscard]] const std::wstring& File() const { return file_; }
    [[nodiscard]] const std::wstring& Folder() const { return folder_; }
    [[nodiscard]] std::wstring BackupOfToday() const;

    /// A file stands where the log's folder should be.
    void PutAFileInPlaceOfTheFolder();
    /// The folder is there again, empty.
    void PutTheFolderBack();

    /// Writes text to the current file, as an earlier process would have.
    void WriteFile(std::string_view text) const;
    [[nodiscard]] static std::string Read(const std::wstring& path);
    /// Makes the current file one that is so many days old, or from so many days ahead.
    void DateFile(int days_from_now) const;
    /// Makes the current file one that cannot be opened for writing. Returns how: the read-only attribute
    /// does not keep an administrator from it on every system.
    [[nodiscard]] std::string KeepEverybodyFromWriting() const;

    /// Makes the current file one that takes no byte more, though it can be opened. Returns why that cannot
    /// be done here, empty when it was.
    [[nodiscard]] std::string LetTheFileGrowToTheLargestSize() const;
    /// A folder in its place, too.
    void RemoveFile() const;

  private:
    void PutBack() const;

    std::wstring folder_;
    std::wstring file_;
    std::wstring aside_;
};

}  // namespace brivelnox::test
