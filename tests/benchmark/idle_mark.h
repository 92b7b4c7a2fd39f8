#pragma once

#include <condition_variable>
#include <mutex>

namespace brivelnox::benchmark {

/// Whether a thread is at work. It says so itself, another one waits for the end of it.
class idle_mark {
  public:
    void SetBusy(bool busy) {
        {
            const std::lock_guard guard(lock_);
            is_busy_ = busy;
        }
        changed_.notify_all();
    }

    void WaitUntilIdle() {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return !is_busy_; });
    }

  private:
    std::mutex lock_;
    std::condition_variable changed_;
    bool is_busy_ = false;
};

}  // namespace brivelnox::benchmark
