#include "tools/telephony_host/event_history.h"

#include <algorithm>
#include <iterator>

namespace brivelnox::host {

std::uint64_t event_history::Add(tapi_event event) {
    const std::lock_guard lock(mutex_);
    event.index = next_;
    ++next_;
    events_.push_back(event);
    Trim();
    added_.notify_all();
    return event.index;
}

std::uint64_t event_history::Next() const {
    const std::lock_guard lock(mutex_);
    return next_;
}

std::vector<tapi_event> event_history::Since(std::uint64_t since) const {
    const std::lock_guard lock(mutex_);
    std::vector<tapi_event> result;
    std::copy_if(events_.begin(), events_.end(), std::back_inserter(result),
                 [since](const tapi_event& each) { return each.index >= since; });
    return result;
}

std::optional<tapi_event> event_history::WaitFor(const event_predicate& predicate,
                                                 std::chrono::milliseconds timeout, std::uint64_t since) {
    std::optional<tapi_event> result;
    std::uint64_t looked_at = since;
    std::unique_lock lock(mutex_);
    (void)added_.wait_for(lock, timeout, [&] {
        const std::uint64_t first = next_ - events_.size();
        for (std::uint64_t index = std::max(looked_at, first); index < next_; ++index) {
            const tapi_event& event = events_[static_cast<std::size_t>(index - first)];
            if (predicate(event)) {
                result = event;
                return true;
            }
        }
        looked_at = std::max(looked_at, next_);
        return false;
    });
    return result;
}

void event_history::Limit(std::size_t count) {
    const std::lock_guard lock(mutex_);
    limit_ = count;
    Trim();
}

void event_history::Trim() {
    while (limit_ != 0 && events_.size() > limit_) {
        events_.pop_front();
    }
}

}  // namespace brivelnox::host
