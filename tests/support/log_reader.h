#pragma once

// Reads the provider's log file back, so that tests can compare what was logged with what should have been.
// Needs nothing of the product: it serves the tests in its process and those of the built DLL alike.

#include <windows.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace brivelnox::test {

/// One line of the log. The texts are as the file holds them, in the ANSI code page.
struct log_line {
    std::string time;      // "11-16 09:05:03"
    std::string category;  // without the blanks that fill its field
    std::string text;      // to the end of the line, trailing blanks included

    bool operator==(const log_line&) const = default;
};

/// For the messages of failed assertions.
std::ostream& operator<<(std::ostream& out, const log_line& line);

/// The lines that were written to one log file since the reader was made, or since its last Skip. The file
/// does not have to exist yet. The product writes each line at once and as a whole, so what a call has logged
/// is there when the call returns; for what another thread logs there are the Wait operations. One thread at
/// a time.
class log_reader {
  public:
    using milliseconds = std::chrono::milliseconds;

    /// Everything that is in the file at this moment is left out.
    explicit log_reader(std::wstring path);

    /// The current file of the log with this name: under the machine-wide application-data folder, or under
    /// the temporary folder.
    static std::wstring PathOf(bool use_common_application_data, const std::wstring& log_name);
    /// A reader of the log that the built provider writes.
    static log_reader OfProvider();

    /// Leaves out everything that has been written so far.
    void Skip();

    /// All lines, or those of one category, oldest first. A line that is being written is not among them.
    [[nodiscard]] std::vector<log_line> Lines() const;
    [[nodiscard]] std::vector<log_line> Lines(std::string_view category) const;
    /// Only the texts.
    [[nodiscard]] std::vector<std::string> Texts() const;
    [[nodiscard]] std::vector<std::string> Texts(std::string_view category) const;

    /// Everything, as the file holds it.
    [[nodiscard]] std::string Bytes() const;

    /// How many lines of the category have exactly this text.
    [[nodiscard]] std::size_t Count(std::string_view category, std::string_view text) const;
    [[nodiscard]] bool Has(std::string_view category, std::string_view text) const {
        return Count(category, text) != 0;
    }
    /// How many lines of the category begin with this text.
    [[nodiscard]] std::size_t CountStarting(std::string_view category, std::string_view beginning) const;

    /// Until there are at least `count` lines of the category with exactly this text. Returns false when the
    /// time is over first.
    bool WaitFor(std::string_view category, std::string_view text, milliseconds timeout,
                 std::size_t count = 1) const;
    /// Likewise for lines that begin with the text.
    bool WaitForStarting(std::string_view category, std::string_view beginning, milliseconds timeout,
                         std::size_t count = 1) const;

    /// Where the file is.
    [[nodiscard]] const std::wstring& Path() const { return path_; }

  private:
    [[nodiscard]] std::uint64_t FileSize() const;

    std::wstring path_;
    std::uint64_t start_ = 0;
};

}  // namespace brivelnox::test
