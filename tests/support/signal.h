#pragma once

// Something that happens once on one thread and is waited for on another: the tests wait for events, never
// for time to pass.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

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

/// A signal that orders nothing. What one thread does before it sets it and another after it has seen it is a
/// race, which the thread sanitizer reports, unless what is tested puts the two in an order itself.
class unordered_signal {
  public:
    void Set() { set_.store(true, std::memory_order_relaxed); }

    /// Returns false when it is not set soon.
    [[nodiscard]] bool Wait() const {
        const auto deadline = std::chrono::steady_clock::now() + kSoon;
        while (!set_.load(std::memory_order_relaxed)) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::yield();
        }
        return true;
    }

  private:
    std::atomic<bool> set_{false};
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
