#pragma once

// A UTC clock that tests set by hand.

#include <atomic>
#include <cstdint>

namespace brivelnox::test {

/// The time is counted from an arbitrary day. A clock is a plain function, so there is one for the process.
class manual_clock {
  public:
    static std::int64_t Now() {
        constexpr std::int64_t kBase = 13'400'000'000'000;
        return kBase + milliseconds_;
    }
    static void Set(std::int64_t milliseconds) { milliseconds_ = milliseconds; }
    static void Advance(std::int64_t milliseconds) { milliseconds_ += milliseconds; }

  private:
    static inline std::atomic<std::int64_t> milliseconds_{0};
};

}  // namespace brivelnox::test
