#pragma once

// A loaded machine, for tests of two threads of which either may be first: on an idle one it is nearly always
// the same.

#include <atomic>
#include <thread>
#include <vector>

namespace brivelnox::test {

/// Keeps every processor busy while it lives.
class busy_processors {
  public:
    busy_processors() {
        for (unsigned i = 0; i < std::thread::hardware_concurrency(); ++i) {
            threads_.emplace_back([this] {
                while (!done_) {
                }
            });
        }
    }
    ~busy_processors() {
        done_ = true;
        for (std::thread& each : threads_) {
            each.join();
        }
    }
    busy_processors(const busy_processors&) = delete;
    busy_processors& operator=(const busy_processors&) = delete;

  private:
    std::atomic<bool> done_{false};
    std::vector<std::thread> threads_;
};

}  // namespace brivelnox::test
