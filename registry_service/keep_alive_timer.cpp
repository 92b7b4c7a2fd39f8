#include "registry_service/keep_alive_timer.h"

#include <utility>

#include "platform/unique_handle.h"

namespace brivelnox {

namespace {

constexpr DWORD kDeleteWaitMilliseconds = 10000;

/// Runs a deletion that signals an event when no tick is running any more, and waits for that event. Returns
/// whether it came within the bound.
template <class Delete>
bool DeleteAndWait(Delete&& delete_with_event) {
    unique_event done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!done) {
        return false;
    }
    delete_with_event(done.get());
    if (WaitForSingleObject(done.get(), kDeleteWaitMilliseconds) == WAIT_OBJECT_0) {
        return true;
    }
    // The tick that is still running will signal the event when it ends: its handle must not be closed, since
    // the number may then belong to somebody else.
    (void)done.release();
    return false;
}

}  // namespace

struct keep_alive_timer::tick_context {
    std::weak_ptr<void> owner;
    std::function<void()> tick;
    std::atomic<bool> ticking{false};
    // Keeps this module loaded while the timer can tick.
    unique_module module;
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
    (void)GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                             reinterpret_cast<const wchar_t*>(&keep_alive_timer::OnTimer),
                             context_->module.put());
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
    if (HANDLE const timer = std::exchange(timer_, nullptr); timer != nullptr) {
        ended = DeleteAndWait([&](HANDLE done) { (void)DeleteTimerQueueTimer(queue_, timer, done); });
    }
    if (HANDLE const queue = std::exchange(queue_, nullptr); queue != nullptr) {
        ended = DeleteAndWait([&](HANDLE done) { (void)DeleteTimerQueueEx(queue, done); }) && ended;
    }
    if (!ended) {
        // A tick outlived both bounds and still uses its context, and this module. Both are left to it.
        (void)context_.release();
    }
    context_ = nullptr;
}

}  // namespace brivelnox
