#include "tests/stress/watchdog.h"

namespace brivelnox::stress {

namespace {

constexpr std::chrono::milliseconds kLookEvery{250};

}  // namespace

void watched_thread::Begin(const char* what, std::chrono::milliseconds bound) {
    const auto now = clock::now().time_since_epoch();
    begun_.store(now.count());
    deadline_.store((now + std::chrono::duration_cast<clock::duration>(bound)).count());
    what_.store(what);
}

std::chrono::milliseconds watched_thread::End() {
    what_.store(nullptr);
    const auto begun = clock::duration(begun_.load());
    return std::chrono::duration_cast<std::chrono::milliseconds>(clock::now().time_since_epoch() - begun);
}

const char* watched_thread::Overdue(clock::time_point now) const {
    const char* const what = what_.load();
    const clock::rep deadline = deadline_.load();
    const bool overdue = what != nullptr && now.time_since_epoch().count() > deadline;
    // What is read may be the step before with the deadline of the step after, or the other way round: only
    // what is still the same counts.
    return overdue && what_.load() == what && deadline_.load() == deadline ? what : nullptr;
}

watchdog::~watchdog() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        stop_changed_.notify_all();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

watched_thread& watchdog::Watch(std::string name) {
    return threads_.emplace_back(std::move(name));
}

void watchdog::Start() {
    thread_ = std::thread([this] { Run(); });
}

void watchdog::Run() {
    std::unique_lock lock(mutex_);
    while (!stop_changed_.wait_for(lock, kLookEvery, [this] { return stopping_; })) {
        const auto now = watched_thread::clock::now();
        for (const watched_thread& each : threads_) {
            if (const char* const what = each.Overdue(now); what != nullptr) {
                on_hang_(each.Name() + " does not get on with: " + what);
                return;
            }
        }
    }
}

}  // namespace brivelnox::stress
