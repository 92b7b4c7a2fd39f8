#include "tests/stress/phase_gate.h"

namespace brivelnox::stress {

phase phase_gate::Pass() {
    std::unique_lock lock(mutex_);
    if (phase_ == phase::kParked) {
        ++waiting_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return phase_ != phase::kParked; });
        --waiting_;
    }
    return phase_;
}

void phase_gate::Pause(milliseconds time) {
    std::unique_lock lock(mutex_);
    const phase now = phase_;
    (void)changed_.wait_for(lock, time, [&] { return phase_ != now; });
}

void phase_gate::Leave() {
    const std::lock_guard lock(mutex_);
    --threads_;
    changed_.notify_all();
}

void phase_gate::Open(phase next) {
    const std::lock_guard lock(mutex_);
    phase_ = next;
    changed_.notify_all();
}

bool phase_gate::Park(milliseconds timeout) {
    std::unique_lock lock(mutex_);
    phase_ = phase::kParked;
    changed_.notify_all();
    return changed_.wait_for(lock, timeout, [this] { return waiting_ == threads_; });
}

}  // namespace brivelnox::stress
