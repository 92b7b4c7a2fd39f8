#pragma once

// Other programs, run to their end.

#include <windows.h>

#include <chrono>
#include <string>

namespace brivelnox::console {

struct program_result {
    bool ended = false;  ///< by itself, within the time
    DWORD exit_code = 0;
    std::string output;  ///< what it wrote to its standard output and its standard error
};

/// Runs a command with the input, and waits for its end; kills it when the time is over. What it has started
/// itself is not waited for. `token` is the user as whom it runs, or null for this one. Raises
/// std::runtime_error when it does not start.
program_result RunProgram(std::wstring command_line, const std::string& input,
                          std::chrono::milliseconds timeout, HANDLE token = nullptr);

}  // namespace brivelnox::console
