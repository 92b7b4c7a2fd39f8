#include "calls/line_calls.h"

#include <stdexcept>
#include <utility>

#include "calls/line_log.h"
#include "calls/tapi_call.h"

namespace brivelnox {

namespace {

constexpr std::uint32_t kOnHoldStates =
    LINECALLSTATE_ONHOLD | LINECALLSTATE_ONHOLDPENDCONF | LINECALLSTATE_ONHOLDPENDTRANSFER;

constexpr log_format<> kAddCall = L"Add call";
constexpr log_format<> kRemovedCall = L"Removed call";
constexpr log_format<const wchar_t*> kIdOfCall = L", client_call_id: %s";

}  // namespace

line_calls::line_calls(call_line& line, call_manager& calls, call_requests& requests)
    : line_(line), events_(line.EventLock()), call_manager_(calls), requests_(requests) {}

void line_calls::AddCall(const call_ptr& call) {
    if (call == nullptr) {
        return;
    }
    const std::wstring client_call_id = call->ClientCallId();
    {
        const lock_guard guard(lock_);
        calls_[client_call_id] = call;
    }
    LogLine(line_, kAddCall, kIdOfCall, client_call_id.c_str());
}

void line_calls::RemoveCall(const std::wstring& client_call_id) {
    bool is_removed = false;
    {
        const lock_guard guard(lock_);
        is_removed = calls_.erase(client_call_id) != 0;
    }
    if (is_removed) {
        LogLine(line_, kRemovedCall, kIdOfCall, client_call_id.c_str());
    }
}

line_calls::call_ptr line_calls::FindCall(const std::wstring& client_call_id) const {
    const lock_guard guard(lock_);
    const auto found = calls_.find(client_call_id);
    return found != calls_.end() ? found->second : nullptr;
}

void line_calls::ChangeCallId(const call_ptr& call, std::wstring new_id) {
    const std::wstring old_id = call->ClientCallId();
    const std::wstring logged_id = new_id;
    bool is_removed = false;
    {
        // In one step: whoever counts the calls meanwhile must not meet this one twice. What takes memory
        // comes first.
        const lock_guard guard(lock_);
        calls_[new_id] = call;
        is_removed = calls_.erase(old_id) != 0;
    }
    if (is_removed) {
        LogLine(line_, kRemovedCall, kIdOfCall, old_id.c_str());
    }
    call->ChangeClientCallId(std::move(new_id));
    LogLine(line_, kAddCall, kIdOfCall, logged_id.c_str());
}

/// In the order of their ids. TAPI closes calls from inside the messages about them, and they leave the index
/// under a walk.
std::vector<line_calls::call_ptr> line_calls::AllCalls() const {
    std::vector<call_ptr> calls;
    const lock_guard guard(lock_);
    calls.reserve(calls_.size());
    for (const auto& [client_call_id, call] : calls_) {
        calls.push_back(call);
    }
    return calls;
}

void line_calls::ResetCalls() {
    const lock_guard events(events_);
    if (!line_.IsOpen()) {
        return;
    }
    ++resets_;
    try {
        LogLine(line_, L"Reset calls");
        for (const call_ptr& call : AllCalls()) {
            if (call->State() != LINECALLSTATE_IDLE) {
                ResetCall(*call);
            }
        }
    } catch (...) {
        // What could not be reset stays as it is; closing and unregistering go on.
    }
}

void line_calls::ResetCall(tapi_call& call) {
    // The label of the call id lacks an "l". That is intended: logs are searched for it.
    LogLine(line_, L"Reset call", L", client_cal_id: %s", call.ClientCallId().c_str());
    call.SetState(LINECALLSTATE_DISCONNECTED, LINEDISCONNECTMODE_CANCELLED, true);
    call.SetState(LINECALLSTATE_IDLE, 0, true);
    call.SetFinalStateSignalled();
}

call_counts line_calls::CountCalls() const {
    call_counts counts;
    if (!line_.IsOpen()) {
        return counts;
    }
    const lock_guard guard(lock_);
    for (const auto& [client_call_id, call] : calls_) {
        // Read once: a call that goes on hold meanwhile is one or the other.
        const std::uint32_t state = call->State();
        counts.active += state != LINECALLSTATE_IDLE && (state & kOnHoldStates) == 0;
        counts.on_hold += state == LINECALLSTATE_ONHOLD;
    }
    return counts;
}

void line_calls::RequireNotClosing() const {
    if (line_.IsClosing()) {
        throw std::runtime_error("the line is being closed");
    }
}

}  // namespace brivelnox
