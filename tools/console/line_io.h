#pragma once

// Whole lines over pipes, consoles and files, without buffering beyond a line.

#include <windows.h>

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace brivelnox::console {

/// Reads lines from a handle that it does not own. For one thread at a time.
class line_reader {
  public:
    explicit line_reader(HANDLE input) : input_(input) {}

    /// The next line without its line end (LF or CR LF), waiting for it; nothing when the input is at its
    /// end. A last line without a line end counts.
    std::optional<std::string> Read();

  private:
    HANDLE input_;
    std::string rest_;
    bool ended_ = false;
};

/// Writes lines to a handle that it does not own, each with one write, so that lines of several threads do
/// not mix. Thread-safe.
class line_writer {
  public:
    explicit line_writer(HANDLE output) : output_(output) {}

    /// Writes the line and a line feed. Returns false when nobody is there to read any more.
    bool Write(std::string_view line);
    /// Writes the text as it is, for a prompt.
    bool WritePart(std::string_view text);

  private:
    bool WriteLocked(std::string_view text);

    std::mutex mutex_;
    HANDLE output_;
};

}  // namespace brivelnox::console
