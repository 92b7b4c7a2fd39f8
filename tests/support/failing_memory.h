#pragma once

// Memory that runs out at a chosen moment.

#include <cstddef>

namespace brivelnox::test {

/// While it lives, one allocation of the calling thread fails: the one that comes after `successes` others.
/// Allocations of other threads are left alone. One at a time on a thread.
class failing_memory {
  public:
    explicit failing_memory(std::size_t successes);
    ~failing_memory();
    failing_memory(const failing_memory&) = delete;
    failing_memory& operator=(const failing_memory&) = delete;

    /// Whether that allocation has come.
    [[nodiscard]] bool HasFailed() const;
};

}  // namespace brivelnox::test
