#pragma once

// A second process with the provider in it: this very program, started with another task.

#include <windows.h>

#include <chrono>
#include <string>

#include "platform/unique_handle.h"

namespace brivelnox::test {

/// The device identifiers of the second process begin here, so that its lines can be told apart in the log.
inline constexpr DWORD kSecondDeviceIdBase = 501;
/// The number that the second process dials.
inline constexpr wchar_t kSecondNumber[] = L"4712";

/// Starts the second process and tells when it is ready. It opens the first line, waits for a call that is
/// connected, makes a call of its own, and ends when that first call has ended.
class second_process {
  public:
    second_process();
    /// Ends it, if it has not ended.
    ~second_process();
    second_process(const second_process&) = delete;
    second_process& operator=(const second_process&) = delete;

    /// Until its line is open.
    [[nodiscard]] bool WaitUntilReady(std::chrono::milliseconds timeout) const;
    /// Until it has ended by itself. Returns what went wrong in it, 0 for nothing, and -1 if it has not
    /// ended.
    [[nodiscard]] int WaitForEnd(std::chrono::milliseconds timeout) const;

  private:
    unique_event ready_;
    unique_process process_;
};

/// The task of the second process: its exit code.
int RunSecondProcess(const std::wstring& ready_name);

}  // namespace brivelnox::test
