#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace brivelnox::stress {

/// What the run is at. Everything that makes orders looks at it before each of them.
enum class phase {
    kParked,    ///< between two lives of the provider: nobody does anything
    kStarting,  ///< the provider is being started: requests for information and with wrong handles only
    kRunning,   ///< anything goes, the provider's shutdown included
    kDone,      ///< threads end
};

/// Where the threads of the run are stopped between two lives of the provider. Thread-safe.
class phase_gate {
  public:
    using milliseconds = std::chrono::milliseconds;

    /// Parked to begin with.
    explicit phase_gate(std::size_t threads) : threads_(threads) {}

    /// Called by each thread before each order: waits while the run is parked, and tells the phase.
    phase Pass();
    /// Waits between two bursts of orders, but not longer than the phase lasts.
    void Pause(milliseconds time);
    /// A thread will not come again.
    void Leave();

    /// Sets any phase but kParked.
    void Open(phase next);
    /// Parks, and waits until every thread has come to the gate. Returns whether they have within the time.
    bool Park(milliseconds timeout);

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    phase phase_ = phase::kParked;
    std::size_t threads_;
    std::size_t waiting_ = 0;
};

}  // namespace brivelnox::stress
