#include "registry_service/keep_alive_timer.h"

#include <atomic>
#include <utility>

#include "platform/module_pin.h"
#include "platform/unique_handle.h"

namespace brivelnox {

namespace {

constexpr DWORD kDeleteWaitMilliseconds = 10000;

/// Waits until the event of a deletion tells that no tick is running any more. Returns whether it came within
/// the bound.
bool WaitForDeletion(const unique_event& done) {
    return WaitForSingleObject(done.get(), kDeleteWaitMilliseconds) == WAIT_OBJECT_0;
}

}  // namespace

struct keep_alive_timer::tick_context {
    std::weak_ptr<void> owner;
    std::function<void()> tick;
    std::atomic<bool> ticking{false};
    const unique_module pin = PinThisModule();  // while the timer can tick
};

keep_alive_timer::keep_alive_timer() : queue_(CreateTimerQueue()) {}

keep_alive_timer::~keep_alive_timer() {
    Stop();
}

void keep_alive_timer::Start(DWORD period_milliseconds, std::weak_ptr<void> owner,
                             std::function<void()> tick) {
    if (queue_ == nullptr) {
        return;
    }
    context_ = std::make_unique<tick_context>();
    context_->owner = std::move(owner);
    context_->tick = std::move(tick);
    if (!CreateTimerQueueTimer(&timer_, queue_, &keep_alive_timer::OnTimer, context_.get(),
                               period_milliseconds, period_milliseconds, WT_EXECUTEDEFAULT)) {
        timer_ = nullptr;
    }
}

void CALLBACK keep_alive_timer::OnTimer(void* context, BOOLEAN) {
    auto& self = *static_cast<tick_context*>(context);
    if (self.ticking.exchange(true)) {
        return;
    }
    if (const std::shared_ptr<void> owner = self.owner.lock()) {
        try {
            self.tick();
        } catch (...) {
            // The next tick tries again.
        }
    }
    self.ticking.store(false);
}

void keep_alive_timer::Stop() {
    bool ended = true;
    unique_event done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (HANDLE const timer = std::exchange(timer_, nullptr); timer != nullptr) {
        (void)DeleteTimerQueueTimer(queue_, timer, done.get());
        ended = WaitForDeletion(done);
    }
    if (HANDLE const queue = std::exchange(queue_, nullptr); queue != nullptr) {
        // While a tick is running the queue gets no event: a system that does not know how to signal it later
        // would wait for the tick right here, and without a bound. The timer's event tells the same.
        if (ended) {
            (void)ResetEvent(done.get());
        }
        (void)DeleteTimerQueueEx(queue, ended ? done.get() : nullptr);
        ended = WaitForDeletion(done);
    }
    if (!ended) {
        // A tick outlived both bounds and still uses its context, and this module. Both are left to it, and
        // so is the event that it will signal: the number of a closed handle may belong to somebody else.
        (void)done.release();
        (void)context_.release();
    }
    context_ = nullptr;
}

}  // namespace brivelnox
