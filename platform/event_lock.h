#pragma once

#include <atomic>
#include <stdexcept>

#include "platform/locks.h"

namespace brivelnox {

/// The one lock around every call of a TAPI event procedure and of TAPI's completion procedure, so that TAPI
/// never receives two messages of this provider at once. Whatever changes a line or a call, or comes to tell
/// TAPI something, takes it first and keeps it to its end; what is decided and what is told are one step. The
/// locks of the line manager and of the lines come after it and are never held while TAPI is called, so a
/// request that TAPI makes from inside a callback finds them free and may ask for any line.
///
/// It can be shut: at shutdown, after which nothing is told to TAPI any more.
class event_lock : public recursive_mutex {
  public:
    event_lock() : recursive_mutex(lock_rank::event) {}

    /// Shuts the way to TAPI for good. A thread that shuts it while holding the lock knows that nothing is
    /// told after it lets go; without the lock, only the message that is on its way at that moment still
    /// arrives, and the completion of a request that has begun.
    void Shut() { shut_.store(true); }
    /// Whether it is shut. Meaningful with the lock held.
    [[nodiscard]] bool IsShut() const { return shut_.load(); }
    /// Throws std::runtime_error when it is shut: a request whose success TAPI could not be told has to fail
    /// before it does anything. To be called with the lock held.
    void RequireOpen() const {
        if (IsShut()) {
            throw std::runtime_error("shutting down");
        }
    }

  private:
    std::atomic<bool> shut_{false};
};

}  // namespace brivelnox
