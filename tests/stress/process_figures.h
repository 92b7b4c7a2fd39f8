#pragma once

#include <cstddef>
#include <cstdint>

namespace brivelnox::stress {

/// What this process holds of the system.
struct process_figures {
    std::size_t handles = 0;
    std::uint64_t private_bytes = 0;
};

process_figures TakeFigures();

/// Puts the provider's log away when it has become large, so that a long run does not fill the disk: the run
/// keeps this file and the one before it. Between two lives of the provider.
void LimitProviderLog();

}  // namespace brivelnox::stress
