#include "tools/telephony_host/contract_checker.h"

#include <algorithm>
#include <utility>

#include "tools/telephony_host/event_text.h"
#include "tools/telephony_host/names.h"

namespace brivelnox::host {

void contract_checker::Starting(HPROVIDER provider) {
    const std::lock_guard lock(mutex_);
    running_ = true;
    shutting_down_ = false;
    provider_ = provider;
    lines_.clear();
    calls_.clear();
    closing_.clear();
    closes_.clear();
    created_.clear();
    driver_calls_.clear();
    // A request that has not returned yet is still to be judged.
    std::erase_if(requests_, [](const auto& each) { return each.second.returned; });
}

void contract_checker::ShuttingDown() {
    const std::lock_guard lock(mutex_);
    shutting_down_ = true;
}

void contract_checker::ShutDown() {
    const std::lock_guard lock(mutex_);
    running_ = false;
    for (const auto& [id, record] : requests_) {
        if (record.returned) {
            Report("request " + std::to_string(id) + " (" + record.name + ") was never completed");
        }
    }
    std::erase_if(requests_, [](const auto& each) { return each.second.returned; });
    std::set<HTAPICALL> calls;
    for (const auto& [call, record] : calls_) {
        calls.insert(call);
    }
    JudgeCalls(calls, "the provider was shut down");
}

void contract_checker::Enter(const tapi_event& event) {
    const std::lock_guard lock(mutex_);
    for (const auto& [thread, other] : inside_) {
        if (thread != event.thread_id) {
            Report("two at once: " + EventText(event) + " on thread " + std::to_string(event.thread_id) +
                   " while " + other.first + " is under way on thread " + std::to_string(thread));
        }
    }
    inside_record& own = inside_[event.thread_id];
    if (own.depth == 0) {
        own.first = EventText(event);
    }
    ++own.depth;
    if (!running_ && !IsOfARequestUnderWay(event)) {
        Report("after shutdown: " + EventText(event));
        return;
    }
    if (event.kind == event_kind::kCompletion) {
        CheckCompletion(event);
    } else {
        CheckMessage(event);
    }
}

/// Whether it completes a request that has not returned yet: one that was inside the provider when a shutdown
/// gave up waiting for it is carried to its end all the same.
bool contract_checker::IsOfARequestUnderWay(const tapi_event& event) const {
    const auto found = requests_.find(event.request_id);
    return event.kind == event_kind::kCompletion && found != requests_.end() && !found->second.returned;
}

void contract_checker::Leave(DWORD thread_id) {
    const std::lock_guard lock(mutex_);
    const auto own = inside_.find(thread_id);
    if (own != inside_.end() && --own->second.depth == 0) {
        inside_.erase(own);
    }
}

void contract_checker::RequestIssued(DRV_REQUESTID id, const char* name) {
    const std::lock_guard lock(mutex_);
    requests_[id] = {name, false, false};
    highest_request_ = std::max(highest_request_, id);
}

bool contract_checker::RequestReturned(DRV_REQUESTID id, LONG returned) {
    const std::lock_guard lock(mutex_);
    const bool accepted = static_cast<DRV_REQUESTID>(returned) == id && returned > 0;
    const auto found = requests_.find(id);
    if (found == requests_.end()) {
        return accepted;
    }
    request_record& record = found->second;
    const std::string subject = "request " + std::to_string(id) + " (" + record.name + ")";
    if (accepted && !record.completed && running_) {
        record.returned = true;
        return true;
    }
    if (accepted && !record.completed) {
        Report(subject + " was never completed");
    } else if (!accepted && returned >= 0) {
        Report(subject + " returned " + std::to_string(returned) + ", neither its id nor an error");
    } else if (!accepted && record.completed) {
        Report(subject + " was completed although it was refused with " + ResultName(returned));
    }
    requests_.erase(found);
    return accepted;
}

void contract_checker::LineOpening(HTAPILINE line, DWORD device) {
    const std::lock_guard lock(mutex_);
    const auto closing = closing_.find(device);
    lines_[line] = {device, false, false, closing != closing_.end()};
    if (closing != closing_.end()) {
        closing->second.opened_meanwhile = true;
    }
}

void contract_checker::LineOpened(HTAPILINE line, bool success) {
    const std::lock_guard lock(mutex_);
    const auto found = lines_.find(line);
    if (found != lines_.end()) {
        found->second.opened = success;
        found->second.closed = !success;
    }
}

std::set<HTAPILINE> contract_checker::OpenLines(DWORD device) const {
    std::set<HTAPILINE> open;
    for (const auto& [line, record] : lines_) {
        if (record.device == device && record.opened && !record.closed) {
            open.insert(line);
        }
    }
    return open;
}

void contract_checker::LineClosing(HTAPILINE line) {
    const std::lock_guard lock(mutex_);
    const auto found = lines_.find(line);
    if (found == lines_.end()) {
        return;
    }
    const DWORD device = found->second.device;
    ++closes_[device];
    closing_record& closing = closing_[device];
    ++closing.closers;
    closing.lines.merge(OpenLines(device));
    for (const auto& [call, record] : calls_) {
        if (closing.lines.contains(record.line)) {
            closing.calls.insert(call);
        }
    }
    // An opening that is under way may win or lose against this close.
    for (auto& [opening, record] : lines_) {
        if (record.device == device && !record.opened && !record.closed) {
            record.met_a_close = true;
            closing.opened_meanwhile = true;
        }
    }
}

void contract_checker::LineClosed(HTAPILINE line) {
    const std::lock_guard lock(mutex_);
    const auto found = lines_.find(line);
    const auto closing = found == lines_.end() ? closing_.end() : closing_.find(found->second.device);
    if (closing == closing_.end() || --closing->second.closers != 0) {
        return;
    }
    for (const HTAPILINE each : closing->second.lines) {
        lines_[each].closed = true;
    }
    if (!closing->second.opened_meanwhile) {
        JudgeCalls(closing->second.calls, "its line was closed");
    }
    closing_.erase(closing);
}

void contract_checker::CallAnnounced(HTAPICALL call, HTAPILINE line, bool by_provider) {
    const std::lock_guard lock(mutex_);
    call_record record;
    record.line = line;
    const auto found = lines_.find(line);
    record.device = found == lines_.end() ? 0 : found->second.device;
    record.by_provider = by_provider;
    record.line_was_open = found != lines_.end() && found->second.opened && !found->second.closed &&
                           !found->second.met_a_close && !closing_.contains(record.device);
    record.closes_before = closes_[record.device];
    calls_[call] = record;
    highest_call_ = std::max(highest_call_, reinterpret_cast<std::uintptr_t>(call));
}

void contract_checker::CallNumbered(HTAPICALL call, HDRVCALL driver) {
    const std::lock_guard lock(mutex_);
    const auto found = calls_.find(call);
    if (found == calls_.end()) {
        return;
    }
    if (driver == nullptr) {
        Report("call " + HandleText(call) + " has no driver call handle");
        return;
    }
    const auto [position, added] = driver_calls_.try_emplace(driver, call);
    if (!added && position->second != call) {
        Report("calls " + HandleText(position->second) + " and " + HandleText(call) +
               " have the same driver call handle " + HandleText(driver));
    }
    found->second.driver = driver;
    if (IsUntold(found->second)) {
        Report("call " + HandleText(call) + " has been made, and no state of it was told");
    }
}

bool contract_checker::IsUntold(const call_record& call) const {
    const auto closes = closes_.find(call.device);
    const bool is_open_still =
        call.line_was_open && (closes == closes_.end() || closes->second == call.closes_before);
    return !call.by_provider && call.messages == 0 && is_open_still && running_ && !shutting_down_;
}

void contract_checker::ForgetCall(std::unordered_map<HTAPICALL, call_record>::iterator position) {
    const auto numbered = driver_calls_.find(position->second.driver);
    if (numbered != driver_calls_.end() && numbered->second == position->first) {
        driver_calls_.erase(numbered);
    }
    calls_.erase(position);
}

void contract_checker::CallWithdrawn(HTAPICALL call) {
    const std::lock_guard lock(mutex_);
    const auto found = calls_.find(call);
    if (found == calls_.end()) {
        return;
    }
    if (found->second.messages != 0) {
        Report("messages were sent for call " + HandleText(call) + ", whose request was refused");
    }
    ForgetCall(found);
}

void contract_checker::CallClosing(HTAPICALL call) {
    const std::lock_guard lock(mutex_);
    const auto found = calls_.find(call);
    if (found != calls_.end()) {
        found->second.closing = true;
    }
}

void contract_checker::CallClosed(HTAPICALL call) {
    const std::lock_guard lock(mutex_);
    const auto found = calls_.find(call);
    if (found != calls_.end()) {
        ForgetCall(found);
    }
}

void contract_checker::JudgeCalls(const std::set<HTAPICALL>& calls, const char* when) {
    for (const HTAPICALL each : calls) {
        const auto found = calls_.find(each);
        if (found == calls_.end() || found->second.idle || found->second.closing || found->second.judged) {
            continue;
        }
        found->second.judged = true;
        // A call of the application's whose first state found the line closed was never heard of again.
        if (found->second.by_provider || found->second.messages != 0) {
            Report("call " + HandleText(each) + " had not ended IDLE when " + when + " (last state " +
                   CallStateName(found->second.last_state) + ")");
        }
    }
}

void contract_checker::SetNullCallRule(null_call_rule rule) {
    const std::lock_guard lock(mutex_);
    null_call_rule_ = rule;
}

std::size_t contract_checker::NullCallMessages() const {
    const std::lock_guard lock(mutex_);
    return null_call_messages_;
}

std::vector<std::string> contract_checker::Breaches() const {
    const std::lock_guard lock(mutex_);
    return breaches_;
}

std::size_t contract_checker::BreachCount() const {
    const std::lock_guard lock(mutex_);
    return breach_count_;
}

void contract_checker::ClearBreaches() {
    const std::lock_guard lock(mutex_);
    breaches_.clear();
    breach_count_ = 0;
}

std::size_t contract_checker::OutstandingRequests() const {
    const std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count_if(requests_.begin(), requests_.end(),
                                                  [](const auto& each) { return !each.second.completed; }));
}

void contract_checker::Report(std::string text) {
    ++breach_count_;
    if (breaches_.size() < kMaxBreaches) {
        breaches_.push_back(std::move(text));
    }
}

}  // namespace brivelnox::host
