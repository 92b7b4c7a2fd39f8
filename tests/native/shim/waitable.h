#pragma once

#include <windows.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "shim/kernel_object.h"

namespace brivelnox::native {

/// One thread's wait, for one object or several.
class waiter {
  public:
    /// Wakes the waiting thread, which looks at its objects again.
    void Notify();
    /// Returns false when the deadline has passed without a call of Notify.
    bool Wait(std::chrono::steady_clock::time_point deadline);

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool notified_ = false;
};

/// An object that threads can wait for. With `resets_itself` one wait that ends takes the signal away.
class waitable : public kernel_object {
  public:
    waitable(object_kind kind, bool resets_itself, bool signalled);

    void Set();
    void Reset();
    /// Ends a wait if the object is signalled. Returns whether it was.
    bool TryTake();

    void AddWaiter(waiter& waiting);
    void RemoveWaiter(waiter& waiting);

    void OnClose() override;

  private:
    const bool resets_itself_;
    std::mutex mutex_;
    bool signalled_;
    order_token order_;  // from those who have signalled it to those whose wait it ends
    std::vector<waiter*> waiters_;
};

class event_object final : public waitable {
  public:
    event_object(bool manual_reset, bool signalled)
        : waitable(object_kind::event, !manual_reset, signalled) {}
};

}  // namespace brivelnox::native
