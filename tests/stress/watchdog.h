#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace brivelnox::stress {

/// What one thread is doing at this moment, for the watchdog to see. Written by that thread only.
class watched_thread {
  public:
    using clock = std::chrono::steady_clock;

    explicit watched_thread(std::string name) : name_(std::move(name)) {}

    [[nodiscard]] const std::string& Name() const { return name_; }
    /// `what` is a literal.
    void Begin(const char* what, std::chrono::milliseconds bound);
    /// Returns how long it took.
    std::chrono::milliseconds End();
    /// What has been going on for longer than its bound; null if nothing.
    [[nodiscard]] const char* Overdue(clock::time_point now) const;

  private:
    const std::string name_;
    std::atomic<const char*> what_{nullptr};
    std::atomic<clock::rep> begun_{0};
    std::atomic<clock::rep> deadline_{0};
};

/// Between construction and destruction the thread is doing one thing, which has to end within the bound.
class watched_step {
  public:
    watched_step(watched_thread& thread, const char* what, std::chrono::milliseconds bound)
        : thread_(thread) {
        thread_.Begin(what, bound);
    }
    ~watched_step() { (void)thread_.End(); }
    watched_step(const watched_step&) = delete;
    watched_step& operator=(const watched_step&) = delete;

  private:
    watched_thread& thread_;
};

/// A thread that looks at what the others are doing. When something does not end within its bound it calls
/// `on_hang` with a sentence, once.
class watchdog {
  public:
    using hang_handler = std::function<void(const std::string&)>;

    explicit watchdog(hang_handler on_hang) : on_hang_(std::move(on_hang)) {}
    ~watchdog();
    watchdog(const watchdog&) = delete;
    watchdog& operator=(const watchdog&) = delete;

    /// A place for one more thread; lives as long as the watchdog. Before Start only.
    watched_thread& Watch(std::string name);
    void Start();

  private:
    void Run();

    const hang_handler on_hang_;
    std::deque<watched_thread> threads_;
    std::mutex mutex_;
    std::condition_variable stop_changed_;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace brivelnox::stress
