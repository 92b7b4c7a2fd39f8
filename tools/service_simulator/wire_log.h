#pragma once

// What passed over the service's connections, for whoever watches.

#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace brivelnox::simulator {

enum class wire_direction {
    kReceived,  ///< from the provider to the service
    kSent,      ///< from the service to the provider
    kNote,      ///< something that happened to the connection: "connected", "disconnected", "dropped", ...
};

struct wire_line {
    wire_direction direction = wire_direction::kNote;
    std::size_t connection = 0;  ///< 1 for the first connection accepted, then 2, 3, ...; 0 for none
    std::string text;            ///< exact bytes of the message, or the note
    std::chrono::steady_clock::time_point time;
};

/// Called for each wire line, on the thread that sent or received it, one call at a time. It must return soon
/// and must not stop the simulator or wait for it.
using wire_observer = std::function<void(const wire_line&)>;

/// Hands wire lines to one observer. Thread-safe.
class wire_log {
  public:
    /// Replaces the observer; an empty one ends the watching. After it returned, the old one is not called
    /// any more. Must not be called from inside an observer.
    void SetObserver(wire_observer observer);

    void Report(wire_direction direction, std::size_t connection, std::string_view text);

  private:
    std::mutex mutex_;
    wire_observer observer_;
};

}  // namespace brivelnox::simulator
