#pragma once

// Something that happens once on one thread and is waited for on another: the tests wait for events, never
// for time to pass.

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace brivelnox::test {

/// How long a test waits for something that should come at once. Only a broken product uses it up.
inline constexpr std::chrono::milliseconds kSoon{15000};

/// Can be set once and waited for by any number of threads.
class signal {
  public:
    void Set() {
        // Told under the lock: the thread that waits may destroy the signal as soon as it sees it set.
        const std::lock_guard guard(lock_);
        set_ = true;
        changed_.notify_all();
    }

    [[nodiscard]] bool IsSet() const {
        const std::lock_guard guard(lock_);
        return set_;
    }

    /// Returns false when the time is over first.
    [[nodiscard]] bool Wait(std::chrono::milliseconds timeout = kSoon) const {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, timeout, [this] { return set_; });
    }

  private:
    mutable std::mutex lock_;
    mutable std::condition_variable changed_;
    bool set_ = false;
};

/// Measures how long something takes.
class stopwatch {
  public:
    [[nodiscard]] std::chrono::milliseconds Elapsed() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                     start_);
    }

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace brivelnox::test
