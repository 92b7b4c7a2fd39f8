#pragma once

// The record of everything that the provider sent, in order, and waiting for something in it.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

#include "tools/telephony_host/tapi_event.h"

namespace brivelnox::host {

using event_predicate = std::function<bool(const tapi_event&)>;

/// Thread-safe. Predicates are called with the history's lock held, so they must not call back into it.
class event_history {
  public:
    /// Gives the event its index and keeps it. Returns the index.
    std::uint64_t Add(tapi_event event);

    /// The index of the next event. To see only what comes later, take it first and pass it as `since`.
    [[nodiscard]] std::uint64_t Next() const;

    /// The events from index `since` on that are still kept.
    [[nodiscard]] std::vector<tapi_event> Since(std::uint64_t since) const;

    /// The first event from index `since` on that the predicate accepts, waiting for it at most `timeout`.
    std::optional<tapi_event> WaitFor(const event_predicate& predicate, std::chrono::milliseconds timeout,
                                      std::uint64_t since = 0);

    /// Keeps only the newest `count` events from now on (their indexes go on counting); 0 keeps all.
    void Limit(std::size_t count);

  private:
    void Trim();

    mutable std::mutex mutex_;
    std::condition_variable added_;
    std::deque<tapi_event> events_;
    std::uint64_t next_ = 0;
    std::size_t limit_ = 0;
};

}  // namespace brivelnox::host
