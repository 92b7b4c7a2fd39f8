#include "tools/service_simulator/softphone.h"

#include <algorithm>
#include <utility>

namespace brivelnox::simulator {

std::vector<dial_entry> DefaultDialPlan() {
    return {
        {"486", "", dial_outcome::kBusy},
        {"600", "", dial_outcome::kBusy},
        {"404", "", dial_outcome::kUnknown},
    };
}

softphone::softphone(registration subject, sender send)
    : registration_(std::move(subject)), send_(std::move(send)) {}

registration softphone::Registration() const {
    const std::lock_guard lock(mutex_);
    return registration_;
}

void softphone::SetRegistration(const registration& subject) {
    const std::lock_guard lock(mutex_);
    registration_ = subject;
}

std::string softphone::Ring(const party& caller, const std::optional<forwarder>& forwarded_by,
                            const std::string& id) {
    const std::lock_guard lock(mutex_);
    const std::string created = Create(id, false, caller, forwarded_by);
    Change(created, "Incoming", 0);
    Change(created, "Ringing", 0);
    return created;
}

std::string softphone::Dial(const party& callee, const std::string& id) {
    const std::lock_guard lock(mutex_);
    const std::string created = Create(id, true, callee, std::nullopt);
    Change(created, "Outgoing", 0);
    return created;
}

bool softphone::Ringback(const std::string& id) {
    return SetState(id, "Ringback");
}

bool softphone::Connect(const std::string& id) {
    return SetState(id, "Connected");
}

bool softphone::Park(const std::string& id) {
    return SetState(id, "Parked");
}

bool softphone::Hangup(const std::string& id, std::int32_t reason) {
    const std::lock_guard lock(mutex_);
    return Change(id, "Hangup", reason);
}

bool softphone::Remove(const std::string& id) {
    const std::lock_guard lock(mutex_);
    return Drop(id);
}

bool softphone::End(const std::string& id, std::int32_t reason) {
    const std::lock_guard lock(mutex_);
    return Change(id, "Hangup", reason) && Drop(id);
}

bool softphone::SetState(const std::string& id, const std::string& state) {
    const std::lock_guard lock(mutex_);
    return Change(id, state, 0);
}

bool softphone::SetParties(const std::string& id, const std::optional<party>& self,
                           const std::optional<party>& peer, const std::optional<forwarder>& forwarded_by) {
    const std::lock_guard lock(mutex_);
    const auto found = calls_.find(id);
    if (found == calls_.end()) {
        return false;
    }
    softphone_call& call = found->second.call;
    call.self = self.value_or(call.self);
    call.peer = peer.value_or(call.peer);
    if (forwarded_by) {
        call.forwarded_by = forwarded_by;
    }
    SendState(call);
    return true;
}

void softphone::ForgetCalls() {
    const std::lock_guard lock(mutex_);
    calls_.clear();
}

std::optional<softphone_call> softphone::FindCall(const std::string& id) const {
    const std::lock_guard lock(mutex_);
    const auto found = calls_.find(id);
    return found == calls_.end() ? std::nullopt : std::optional(found->second.call);
}

std::vector<softphone_call> softphone::Calls() const {
    std::vector<call_entry> entries;
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [id, entry] : calls_) {
            entries.push_back(entry);
        }
    }
    std::sort(entries.begin(), entries.end(),
              [](const call_entry& a, const call_entry& b) { return a.order < b.order; });
    std::vector<softphone_call> calls;
    for (call_entry& entry : entries) {
        calls.push_back(std::move(entry.call));
    }
    return calls;
}

void softphone::SetAutomatic(bool automatic) {
    const std::lock_guard lock(mutex_);
    automatic_ = automatic;
}

void softphone::AddDialEntry(const dial_entry& entry) {
    const std::lock_guard lock(mutex_);
    std::erase_if(dial_plan_, [&](const dial_entry& known) { return known.number == entry.number; });
    dial_plan_.push_back(entry);
}

void softphone::SetDefaultOutcome(dial_outcome outcome) {
    const std::lock_guard lock(mutex_);
    default_outcome_ = outcome;
}

void softphone::Handle(const request& received) {
    const std::lock_guard lock(mutex_);
    if (!automatic_) {
        return;
    }
    const std::string& id = received.client_call_id;
    switch (received.kind) {
        case request_kind::kPlaceCall:
            PlayPlacedCall(received);
            break;
        case request_kind::kAcceptCall:
        case request_kind::kResumeCall:
            Change(id, "Connected", 0);
            break;
        case request_kind::kHoldCall:
            Change(id, "Parked", 0);
            break;
        case request_kind::kTransferCall:
            Finish(id, kReasonNormal);
            Finish(received.client_call_on_hold_id, kReasonNormal);
            break;
        case request_kind::kForwardCall:
        case request_kind::kHangupCall:
            Finish(id, kReasonNormal);
            break;
        case request_kind::kPlayDtmf:
            if (const auto found = calls_.find(id); found != calls_.end()) {
                found->second.call.digits += received.digits;
            }
            break;
        default:
            break;
    }
}

std::string softphone::Create(const std::string& id, bool is_caller, const party& peer,
                              const std::optional<forwarder>& forwarded_by) {
    ++created_;
    call_entry entry;
    entry.order = created_;
    entry.call.client_call_id =
        id.empty() ? std::to_string(registration_.permanent_line_id) + "-" + std::to_string(created_) : id;
    entry.call.is_caller = is_caller;
    entry.call.self = {std::to_string(registration_.permanent_line_id), registration_.tapi_line_name};
    entry.call.peer = peer;
    entry.call.forwarded_by = forwarded_by;
    const std::string key = entry.call.client_call_id;
    calls_[key] = std::move(entry);
    return key;
}

void softphone::SendState(const softphone_call& call) {
    send_(CallStateEvent({registration_.permanent_line_id, call.client_call_id, call.call_state,
                          call.is_caller, call.call_reason, call.self, call.peer, call.forwarded_by}));
}

bool softphone::Change(const std::string& id, const std::string& state, std::int32_t reason) {
    const auto found = calls_.find(id);
    if (found == calls_.end()) {
        return false;
    }
    found->second.call.call_state = state;
    found->second.call.call_reason = reason;
    SendState(found->second.call);
    return true;
}

bool softphone::Drop(const std::string& id) {
    if (calls_.erase(id) == 0) {
        return false;
    }
    send_(CallRemovedEvent(registration_.permanent_line_id, id));
    return true;
}

void softphone::Finish(const std::string& id, std::int32_t reason) {
    if (Change(id, "Hangup", reason)) {
        Drop(id);
    }
}

dial_entry softphone::Lookup(const std::string& number) const {
    for (const dial_entry& entry : dial_plan_) {
        if (entry.number == number) {
            return entry;
        }
    }
    return {number, "", default_outcome_};
}

void softphone::PlayPlacedCall(const request& received) {
    const dial_entry entry = Lookup(received.phone_number);
    if (entry.outcome == dial_outcome::kSilent) {
        return;
    }
    const std::string id =
        Create(received.client_call_id, true, {received.phone_number, entry.name}, std::nullopt);
    Change(id, "Outgoing", 0);
    switch (entry.outcome) {
        case dial_outcome::kBusy:
            Finish(id, kReasonBusy);
            break;
        case dial_outcome::kUnknown:
            Finish(id, kReasonUnknownNumber);
            break;
        case dial_outcome::kAnswered:
            Change(id, "Ringback", 0);
            Change(id, "Connected", 0);
            break;
        default:
            Change(id, "Ringback", 0);
    }
}

}  // namespace brivelnox::simulator
