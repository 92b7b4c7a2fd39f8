#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace brivelnox::stress {

struct stress_options {
    std::uint64_t seed = 0;
    std::chrono::seconds duration{60};
    std::size_t threads = 4;  ///< application threads, at least 1
    std::int32_t lines = 8;   ///< softphones that are there most of the time, at least 1
    /// Multiplies every bound, for builds that run many times slower.
    std::int32_t patience = 1;
    /// How long a life may take that waits for the provider's timer: shorter only where the timer is quicker.
    std::chrono::seconds timer_life{45};
    /// Whether growing handles and memory are a failure. Not where the tools of a build keep both themselves.
    bool check_growth = true;
};

/// What the words of the command line say; nothing, and the complaint in `error`, if they say nothing
/// sensible. Without a seed the clock gives one.
std::optional<stress_options> ParseOptions(const std::vector<std::string>& words, std::string& error);

/// The options as text, one to a line.
std::string Usage();

}  // namespace brivelnox::stress
