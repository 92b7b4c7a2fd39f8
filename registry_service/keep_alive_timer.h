#pragma once

#include <windows.h>

#include <functional>
#include <memory>

namespace brivelnox {

/// A periodic timer on a timer queue of its own. The tick runs on a thread of the system's pool. A tick that
/// has not returned when the next one is due makes that one be skipped.
class keep_alive_timer {
  public:
    /// Creates the timer queue; the timer itself only with Start.
    keep_alive_timer();
    keep_alive_timer(const keep_alive_timer&) = delete;
    keep_alive_timer& operator=(const keep_alive_timer&) = delete;
    /// Stops.
    ~keep_alive_timer();

    /// First tick after `period_milliseconds`, then again each period. While it ticks, the timer's thread
    /// holds `owner`; once the owner has gone nothing ticks any more. What the tick throws is dropped. Call
    /// once.
    void Start(DWORD period_milliseconds, std::weak_ptr<void> owner, std::function<void()> tick);

    /// Deletes the timer, then the queue, waiting for a running tick at most 10000 ms each. Idempotent. Not
    /// to be called from the tick.
    void Stop();

  private:
    struct tick_context;

    static void CALLBACK OnTimer(void* context, BOOLEAN fired);

    HANDLE queue_;
    HANDLE timer_ = nullptr;
    std::unique_ptr<tick_context> context_;
};

}  // namespace brivelnox
