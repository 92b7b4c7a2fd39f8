#include "tools/service_simulator/wire_log.h"

namespace brivelnox::simulator {

void wire_log::SetObserver(wire_observer observer) {
    // The old observer is destroyed after the lock is released.
    const std::lock_guard lock(mutex_);
    observer_.swap(observer);
}

void wire_log::Report(wire_direction direction, std::size_t connection, std::string_view text) {
    const std::lock_guard lock(mutex_);
    if (observer_) {
        observer_({direction, connection, std::string(text), std::chrono::steady_clock::now()});
    }
}

}  // namespace brivelnox::simulator
