#pragma once

// A second thread of a test that must not be able to hang the whole run.

#include <windows.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <future>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "tests/support/signal.h"

namespace brivelnox::test {

/// Runs a function on a thread of its own. What it throws is a failure of the test.
class worker {
  public:
    explicit worker(std::function<void()> work)
        : task_([work = std::move(work)] { EXPECT_NO_THROW(work()); }),
          done_(task_.get_future()),
          thread_([this] { task_(); }) {}
    /// Waits for the end of the thread. One that does not end by then is stuck for good, and so would be the
    /// test program: it is ended as failed.
    ~worker() {
        if (!FinishesWithin(kSoon)) {
            const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
            std::fprintf(stderr, "a thread of the test does not return: %s.%s\n",
                         test != nullptr ? test->test_suite_name() : "", test != nullptr ? test->name() : "");
            (void)TerminateProcess(GetCurrentProcess(), 3);
        }
        thread_.join();
    }
    worker(const worker&) = delete;
    worker& operator=(const worker&) = delete;

    /// Whether the function has returned, or returns within the time.
    [[nodiscard]] bool FinishesWithin(std::chrono::milliseconds timeout) {
        return done_.wait_for(timeout) == std::future_status::ready;
    }

  private:
    std::packaged_task<void()> task_;
    std::future<void> done_;
    std::thread thread_;
};

/// Something that one thread makes known and others wait for; stays open.
class gate {
  public:
    void Open() { opened_.set_value(); }
    [[nodiscard]] bool OpensWithin(std::chrono::milliseconds timeout) const {
        return open_.wait_for(timeout) == std::future_status::ready;
    }

  private:
    std::promise<void> opened_;
    std::shared_future<void> open_ = opened_.get_future().share();
};

}  // namespace brivelnox::test
