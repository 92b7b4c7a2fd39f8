#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace brivelnox::stress {

/// What the process holds between two lives of the provider, and how much of it the provider keeps
/// deliberately.
struct usage_sample {
    double seconds = 0;
    std::size_t handles = 0;
    std::size_t kept_handles = 0;
    std::uint64_t private_bytes = 0;
    std::uint64_t kept_bytes = 0;

    [[nodiscard]] std::int64_t NetHandles() const {
        return static_cast<std::int64_t>(handles) - static_cast<std::int64_t>(kept_handles);
    }
    [[nodiscard]] std::int64_t NetBytes() const {
        return static_cast<std::int64_t>(private_bytes) - static_cast<std::int64_t>(kept_bytes);
    }
};

/// More handles than these, net, in the last quarter than in the first are growth. So many may come late: the
/// compiler's runtime gives a mutex of the host, the simulator or a softphone a handle when it is first
/// waited for, and the system's pool makes threads as it finds need.
inline constexpr double kHandleTolerance = 8;
/// The same for private memory. The heap's own pattern of holes moves by as much.
inline constexpr double kByteTolerance = 4.0 * 1024 * 1024;

struct growth_verdict {
    bool judged = false;  ///< false where there are too few samples
    bool handles_grow = false;
    bool bytes_grow = false;
    std::string text;
};

/// Leaves out the first part of the samples, in which caches fill, and compares the means of the first and
/// of the last quarter of the others. Also tells the slope of the straight line that fits them best.
growth_verdict JudgeGrowth(const std::vector<usage_sample>& samples);

}  // namespace brivelnox::stress
