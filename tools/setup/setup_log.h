#pragma once

#include <filesystem>
#include <string>

#include "platform/unique_handle.h"
#include "tools/console/line_io.h"

namespace brivelnox::setup {

/// Writes what the setup does to the screen and, with the time in front, to the end of a file (both UTF-8).
/// While it lives nobody else can write the file: two setups cannot run at the same time.
class setup_log {
  public:
    /// Opens the file, and makes its folder if that is missing. Throws a failure if the file cannot be
    /// written.
    setup_log(const std::filesystem::path& file, console::line_writer& screen);

    /// Writes one line. A screen or a disk that takes no more keeps nobody from his work.
    void Write(const std::string& line);

  private:
    console::line_writer& screen_;
    unique_file file_;
};

}  // namespace brivelnox::setup
