#include <windows.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "shim/threads.h"
#include "shim/waitable.h"

namespace brivelnox::native {

namespace {

using steady_clock = std::chrono::steady_clock;

/// Whom to tell when no callback runs any more. The event is held only as a number, as Windows does: closing
/// it too early is an error that shows.
class completion {
  public:
    void Store(HANDLE event) { event_ = event; }
    void Tell() {
        const HANDLE event = std::exchange(event_, nullptr);
        if (event != nullptr && event != INVALID_HANDLE_VALUE) {
            (void)SetEvent(event);
        }
    }

  private:
    HANDLE event_ = nullptr;
};

/// One timer. Everything but the first three members is guarded by its queue's lock.
struct timer {
    WAITORTIMERCALLBACK callback;
    void* context;
    std::chrono::milliseconds period;
    steady_clock::time_point due;
    int running = 0;
    bool deleted = false;
    completion done;
    order_token made;   // before its callbacks
    order_token ended;  // its callbacks, before who has waited for their end
};

class timer_queue final : public kernel_object {
  public:
    timer_queue() : kernel_object(object_kind::timer_queue) {}

    timer* Add(std::shared_ptr<timer> added) {
        const hidden_from_order hidden;
        const std::lock_guard guard(mutex_);
        added->made.Give();
        timers_.push_back(added);
        if (!std::exchange(scheduler_started_, true)) {
            StartDetached([queue = object_ref<timer_queue>(this)] { queue->Schedule(); });
        }
        changed_.notify_all();
        return added.get();
    }

    /// Returns whether no callback of the timer runs.
    bool Delete(const timer* handle, HANDLE completion_event) {
        const hidden_from_order hidden;
        std::unique_lock lock(mutex_);
        const auto found = std::find_if(timers_.begin(), timers_.end(),
                                        [&](const auto& candidate) { return candidate.get() == handle; });
        if (found == timers_.end()) {
            Misuse("a timer is deleted that the queue does not have");
        }
        const std::shared_ptr<timer> deleted = *found;
        timers_.erase(found);
        deleted->deleted = true;
        deleted->done.Store(completion_event);
        return Finish(lock, completion_event, deleted->done, deleted->ended,
                      [&] { return deleted->running == 0; });
    }

    bool DeleteAll(HANDLE completion_event) {
        const hidden_from_order hidden;
        std::unique_lock lock(mutex_);
        for (const auto& deleted : timers_) {
            deleted->deleted = true;
        }
        timers_.clear();
        deleted_ = true;
        changed_.notify_all();
        done_.Store(completion_event);
        return Finish(lock, completion_event, done_, ended_, [&] { return running_ == 0; });
    }

  private:
    template <class Idle>
    bool Finish(std::unique_lock<std::mutex>& lock, HANDLE completion_event, completion& done,
                const order_token& ended, Idle is_idle) {
        if (completion_event == INVALID_HANDLE_VALUE) {
            changed_.wait(lock, is_idle);
        }
        if (!is_idle()) {
            return false;
        }
        ended.Take();
        done.Tell();
        return true;
    }

    void Schedule() {
        const hidden_from_order hidden;
        std::unique_lock lock(mutex_);
        while (!deleted_) {
            const auto next =
                std::min_element(timers_.begin(), timers_.end(),
                                 [](const auto& left, const auto& right) { return left->due < right->due; });
            if (next == timers_.end() || (*next)->due == steady_clock::time_point::max()) {
                changed_.wait(lock);
            } else if (const auto due = (*next)->due; due > steady_clock::now()) {
                changed_.wait_until(lock, due);
            } else {
                Fire(*next);
            }
        }
    }

    void Fire(const std::shared_ptr<timer>& fired) {
        ++fired->running;
        ++running_;
        StartDetached([queue = object_ref<timer_queue>(this), fired] {
            TakeMade(*fired);
            fired->callback(fired->context, TRUE);
            queue->Ended(*fired);
        });
        // From now on, not from when it was due: where starting a thread takes longer than the period, what
        // has been missed is not made up for, and between two callbacks somebody else has the lock.
        fired->due = fired->period.count() != 0 ? steady_clock::now() + fired->period
                                                : steady_clock::time_point::max();
    }

    static void TakeMade(const timer& fired) {
        const hidden_from_order hidden;
        fired.made.Take();
    }

    void Ended(timer& ended) {
        const hidden_from_order hidden;
        const std::lock_guard guard(mutex_);
        ended.ended.Give();
        ended_.Give();
        if (--ended.running == 0 && ended.deleted) {
            ended.ended.Take();
            ended.done.Tell();
        }
        if (--running_ == 0 && deleted_) {
            ended_.Take();
            done_.Tell();
        }
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::shared_ptr<timer>> timers_;
    int running_ = 0;
    bool deleted_ = false;
    bool scheduler_started_ = false;
    completion done_;
    order_token ended_;  // all callbacks
};

/// Times of more than a second are divided by this number, if the environment has it, for a program that does
/// not live long enough for them.
constexpr char kDivisorVariable[] = "BRIVELNOX_TIMER_DIVISOR";
constexpr std::chrono::milliseconds kLongestUndivided{1000};

std::chrono::milliseconds TimerTime(DWORD milliseconds) {
    static const char* const text = std::getenv(kDivisorVariable);
    static const long divisor = text != nullptr ? std::max(1L, std::strtol(text, nullptr, 10)) : 1;
    const std::chrono::milliseconds time(milliseconds);
    return time > kLongestUndivided ? time / divisor : time;
}

BOOL Result(bool ended) {
    if (!ended) {
        SetLastError(ERROR_IO_PENDING);
    }
    return ended ? TRUE : FALSE;
}

}  // namespace

}  // namespace brivelnox::native

using brivelnox::native::FromHandle;
using brivelnox::native::timer;
using brivelnox::native::timer_queue;

HANDLE CreateTimerQueue() {
    return ToHandle(new timer_queue);
}

BOOL CreateTimerQueueTimer(HANDLE* handle, HANDLE queue, WAITORTIMERCALLBACK callback, void* context,
                           DWORD due_milliseconds, DWORD period_milliseconds, ULONG flags) {
    if (flags != WT_EXECUTEDEFAULT) {
        brivelnox::native::Misuse("timers have no other flags here than the default");
    }
    const auto owner = FromHandle<timer_queue>(queue);
    if (!owner) {
        return FALSE;
    }
    auto added = std::make_shared<timer>();
    added->callback = callback;
    added->context = context;
    added->period = brivelnox::native::TimerTime(period_milliseconds);
    added->due = std::chrono::steady_clock::now() + brivelnox::native::TimerTime(due_milliseconds);
    *handle = owner->Add(std::move(added));
    return TRUE;
}

BOOL DeleteTimerQueueTimer(HANDLE queue, HANDLE handle, HANDLE completion_event) {
    const auto owner = FromHandle<timer_queue>(queue);
    return owner &&
           brivelnox::native::Result(owner->Delete(static_cast<const timer*>(handle), completion_event));
}

BOOL DeleteTimerQueueEx(HANDLE queue, HANDLE completion_event) {
    const auto owner = FromHandle<timer_queue>(queue);
    if (!owner) {
        return FALSE;
    }
    const bool ended = owner->DeleteAll(completion_event);
    owner->CloseByHandle();
    return brivelnox::native::Result(ended);
}
