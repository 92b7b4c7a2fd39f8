#pragma once

#include <type_traits>

#include "logging/log_format.h"
#include "logging/logger.h"

namespace brivelnox {

/// A class's own way to the log: the category is fixed, the text and its arguments are checked against each
/// other at compile time. The source of each class that logs has one as a constant `Log` and calls it
/// like a function.
class category_log {
  public:
    constexpr explicit category_log(const wchar_t* category) : category_(category) {}

    /// Formats one line into at most 511 characters and hands it to the process's logger. Never throws. Any
    /// thread; takes the logger's lock while the line is written.
    template <class... Args>
    void operator()(log_format<std::type_identity_t<Args>...> format, Args... args) const noexcept {
        logger::Process().Log(category_, format.Text(), args...);
    }

  private:
    const wchar_t* category_;
};

}  // namespace brivelnox
