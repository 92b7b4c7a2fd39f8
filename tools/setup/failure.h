#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>

namespace brivelnox::setup {

/// Why something could not be done, in words for the administrator (UTF-8).
class failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Throws a failure: what was tried, what the system says to the error code, and the code.
[[noreturn]] void FailWith(DWORD code, const std::string& what);

/// As FailWith, with the thread's last error.
[[noreturn]] void FailWithLastError(const std::string& what);

}  // namespace brivelnox::setup
