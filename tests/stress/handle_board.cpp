#include "tests/stress/handle_board.h"

#include <algorithm>

namespace brivelnox::stress {

namespace {

constexpr std::size_t kKeptStale = 64;

template <class Handles>
typename Handles::value_type AnyOf(const Handles& handles, random_source& random) {
    const std::size_t place = random.Below(handles.size());
    return handles.empty() ? nullptr : handles[place];
}

}  // namespace

void handle_board::AddLine(HTAPILINE line) {
    const std::lock_guard lock(mutex_);
    lines_.push_back(line);
}

void handle_board::RemoveLine(HTAPILINE line) {
    const std::lock_guard lock(mutex_);
    std::erase(lines_, line);
}

void handle_board::AddCall(HTAPICALL call) {
    const std::lock_guard lock(mutex_);
    if (std::find(calls_.begin(), calls_.end(), call) == calls_.end()) {
        calls_.push_back(call);
    }
}

void handle_board::RemoveCall(HTAPICALL call) {
    const std::lock_guard lock(mutex_);
    std::erase(calls_, call);
}

void handle_board::AddStale(HDRVCALL call) {
    const std::lock_guard lock(mutex_);
    stale_.push_back(call);
    if (stale_.size() > kKeptStale) {
        stale_.pop_front();
    }
}

void handle_board::Clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
    calls_.clear();
    stale_.clear();
}

HTAPILINE handle_board::AnyLine(random_source& random) const {
    const std::lock_guard lock(mutex_);
    return AnyOf(lines_, random);
}

HTAPICALL handle_board::AnyCall(random_source& random) const {
    const std::lock_guard lock(mutex_);
    return AnyOf(calls_, random);
}

HDRVCALL handle_board::AnyStale(random_source& random) const {
    const std::lock_guard lock(mutex_);
    return AnyOf(stale_, random);
}

std::vector<HTAPILINE> handle_board::Lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
}

std::vector<HTAPICALL> handle_board::Calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

std::size_t handle_board::CallCount() const {
    const std::lock_guard lock(mutex_);
    return calls_.size();
}

}  // namespace brivelnox::stress
