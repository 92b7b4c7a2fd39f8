// The checker's judgement of single messages and completions.

#include <cstdint>
#include <string>

#include "tools/telephony_host/contract_checker.h"
#include "tools/telephony_host/event_text.h"
#include "tools/telephony_host/names.h"

namespace brivelnox::host {

namespace {

// A line whose device identifier is not known yet is announced with this one; there may be several.
constexpr DWORD_PTR kUnknownDevice = 0xFFFFFFFF;

}  // namespace

void contract_checker::CheckCompletion(const tapi_event& event) {
    const auto found = requests_.find(event.request_id);
    if (found == requests_.end()) {
        const bool issued = event.request_id != 0 && event.request_id <= highest_request_;
        Report("request " + std::to_string(event.request_id) +
               (issued ? " was completed again, or after it had been refused"
                       : " was completed but never issued"));
        return;
    }
    if (found->second.completed) {
        Report("request " + std::to_string(event.request_id) + " (" + found->second.name +
               ") was completed twice");
        return;
    }
    found->second.completed = true;
    if (found->second.returned) {
        requests_.erase(found);
    }
}

void contract_checker::CheckMessage(const tapi_event& event) {
    const std::string text = EventText(event);
    switch (event.message) {
        case static_cast<DWORD>(LINE_CREATE):
            CheckLineCreate(event, text);
            break;
        case static_cast<DWORD>(LINE_NEWCALL):
            CheckNewCall(event, text);
            break;
        case static_cast<DWORD>(LINE_CALLSTATE):
            CheckCallState(event, text);
            break;
        case static_cast<DWORD>(LINE_CALLINFO):
            CheckCallInfo(event, text);
            break;
        default:
            Report("a message that this provider has no business to send: " + text);
    }
}

void contract_checker::CheckLineCreate(const tapi_event& event, const std::string& text) {
    if (event.line != nullptr || event.call != nullptr || event.param3 != 0 ||
        event.param1 != reinterpret_cast<DWORD_PTR>(provider_)) {
        Report("wrong parameters: " + text);
    }
    if (event.param2 != kUnknownDevice && !created_.insert(event.param2).second) {
        Report("announced twice: " + text);
    }
}

void contract_checker::CheckNewCall(const tapi_event& event, const std::string& text) {
    (void)CheckLine(event, text);
    if (event.call != nullptr || event.param1 == 0 || event.param2 == 0 || event.param3 != 0) {
        Report("wrong parameters: " + text);
    }
}

void contract_checker::CheckCallState(const tapi_event& event, const std::string& text) {
    const auto state = static_cast<DWORD>(event.param1);
    const bool mode_allowed = state == LINECALLSTATE_DISCONNECTED;
    if (event.param1 > MAXDWORD || !IsCallState(state) || (event.param2 != 0 && !mode_allowed) ||
        event.param3 != LINEMEDIAMODE_INTERACTIVEVOICE) {
        Report("wrong parameters: " + text);
    }
    (void)CheckLine(event, text);
    call_record* const call = CheckCall(event, text);
    if (call == nullptr) {
        return;
    }
    if (call->idle) {
        Report("a state for a call after IDLE: " + text);
    } else if (call->last_state == state) {
        Report("the same state twice in a row: " + text);
    }
    call->last_state = state;
    call->idle = call->idle || state == LINECALLSTATE_IDLE;
}

void contract_checker::CheckCallInfo(const tapi_event& event, const std::string& text) {
    if (event.param1 == 0 || event.param2 != 0 || event.param3 != 0) {
        Report("wrong parameters: " + text);
    }
    (void)CheckLine(event, text);
    const call_record* const call = CheckCall(event, text);
    if (call != nullptr && call->idle) {
        Report("information for a call after IDLE: " + text);
    }
}

bool contract_checker::CheckLine(const tapi_event& event, const std::string& text) {
    const auto found = lines_.find(event.line);
    if (found == lines_.end()) {
        Report("a message for a line that was never opened (" + HandleText(event.line) + "): " + text);
        return false;
    }
    if (found->second.closed) {
        Report("a message for a line that is closed (" + HandleText(event.line) + "): " + text);
        return false;
    }
    return true;
}

contract_checker::call_record* contract_checker::CheckCall(const tapi_event& event, const std::string& text) {
    if (event.call == nullptr) {
        ++null_call_messages_;
        if (null_call_rule_ == null_call_rule::kReport) {
            Report("for a call that was never announced: " + text);
        }
        return nullptr;
    }
    const auto found = calls_.find(event.call);
    if (found == calls_.end()) {
        const bool known_once = reinterpret_cast<std::uintptr_t>(event.call) <= highest_call_;
        Report((known_once ? "for a call that is closed: " : "for a call that was never announced: ") + text);
        return nullptr;
    }
    call_record& call = found->second;
    ++call.messages;
    const auto line = lines_.find(event.line);
    if (line != lines_.end() && line->second.device != call.device) {
        Report("for a call of another line (" + HandleText(event.line) + "): " + text);
    }
    return &call;
}

}  // namespace brivelnox::host
