#pragma once

// Where every thread of this process is, for the report of a hang or a crash. Made differently for each
// system, as process_figures are.

namespace brivelnox::stress {

/// Prints the stack of every thread but the calling one to the standard output, as modules with offsets. The
/// threads are stopped for the time of a look.
void PrintThreadStacks();

/// From now on a crash, an abort and an exception that nobody catches print `line`, what happened and where,
/// and the stacks, and end the process with kCrashExitCode. The text is kept by its address.
void ReportCrashes(const char* line);

/// Ends the process at once, without a destructor or a handler.
[[noreturn]] void EndProcess(int exit_code);

// 3 is what an abort that nobody reports ends with.
inline constexpr int kHangExitCode = 5;
inline constexpr int kCrashExitCode = 4;

}  // namespace brivelnox::stress
