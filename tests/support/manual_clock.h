#pragma once

// A UTC clock that tests set by hand.

#include <windows.h>

#include <atomic>
#include <cstdint>

namespace brivelnox::test {

/// The time is counted from an arbitrary day. A clock is a plain function, so there is one for the process.
class manual_clock {
  public:
    static SYSTEMTIME Now() {
        // 100-nanosecond units; the base is in the year 2026.
        constexpr std::uint64_t kBase = 134'000'000'000'000'000;
        const std::uint64_t units = kBase + static_cast<std::uint64_t>(milliseconds_.load()) * 10000;
        const FILETIME time = {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
        SYSTEMTIME now = {};
        (void)FileTimeToSystemTime(&time, &now);
        return now;
    }
    static void Set(std::int64_t milliseconds) { milliseconds_ = milliseconds; }
    static void Advance(std::int64_t milliseconds) { milliseconds_ += milliseconds; }

  private:
    static inline std::atomic<std::int64_t> milliseconds_{0};
};

}  // namespace brivelnox::test
