// What TAPI says, and what it must not say.

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "tools/tapi_client/dialler.h"
#include "tools/telephony_host/names.h"

namespace brivelnox::tapi_client {

void dialler::WaitUntil(const std::function<bool()>& condition, const std::string& what) {
    const auto end = std::chrono::steady_clock::now() + patience_;
    while (!condition()) {
        const auto left = std::chrono::duration_cast<milliseconds>(end - std::chrono::steady_clock::now());
        const std::optional<LINEMESSAGE> message = left.count() > 0 ? messages_->Next(left) : std::nullopt;
        if (message) {
            Take(*message);
        } else if (left.count() <= 0) {
            throw std::runtime_error("expected: " + what);
        }
    }
}

void dialler::TakeWaiting() {
    while (const std::optional<LINEMESSAGE> message = messages_->Next(milliseconds(0))) {
        Take(*message);
    }
}

void dialler::Take(const LINEMESSAGE& message) {
    switch (message.dwMessageID) {
        case static_cast<DWORD>(LINE_REPLY):
            TakeReply(message);
            break;
        case static_cast<DWORD>(LINE_APPNEWCALL):
            TakeNewCall(message);
            break;
        case static_cast<DWORD>(LINE_CALLSTATE):
        case static_cast<DWORD>(LINE_CALLINFO):
            TakeCallMessage(message);
            break;
        case static_cast<DWORD>(LINE_CREATE):
            out_("  LINE_CREATE " + std::to_string(message.dwParam1));
            Meet(static_cast<DWORD>(message.dwParam1));
            break;
        default:
            // Others are for applications that have asked for them.
            out_("  " + host::MessageName(message.dwMessageID));
            break;
    }
}

void dialler::TakeReply(const LINEMESSAGE& message) {
    const LONG result = static_cast<LONG>(message.dwParam2);
    out_("  LINE_REPLY request " + std::to_string(message.dwParam1) + ": " + host::ResultName(result));
    if (outstanding_.erase(message.dwParam1) == 0) {
        Surprise("a reply to a request that was not made, or has had one");
    }
    replies_[message.dwParam1] = result;
}

void dialler::TakeNewCall(const LINEMESSAGE& message) {
    const auto call = static_cast<HCALL>(message.dwParam2);
    out_("  LINE_APPNEWCALL call " + HandleText(call));
    const auto line = std::find_if(lines_.begin(), lines_.end(), [&](const known_line& each) {
        return each.handle != 0 && each.handle == message.hDevice;
    });
    if (line == lines_.end() || line->device != message.dwCallbackInstance) {
        Surprise("a call on a line that is not open, or with another line's instance");
    }
    if (calls_.contains(call)) {
        Surprise("a call that was announced before");
    }
    if (message.dwParam3 != LINECALLPRIVILEGE_OWNER) {
        Surprise("a call that this application does not own, on a line that it opened for calls of its own");
    }
    Adopt(call, message.hDevice);
    new_calls_.push_back(call);
}

void dialler::TakeCallMessage(const LINEMESSAGE& message) {
    const bool is_state = message.dwMessageID == static_cast<DWORD>(LINE_CALLSTATE);
    const auto value = static_cast<DWORD>(message.dwParam1);
    out_("  " + host::MessageName(message.dwMessageID) + " call " + HandleText(message.hDevice) + ": " +
         (is_state ? host::CallStateName(value) : host::CallInfoName(value)));
    const auto found = calls_.find(message.hDevice);
    if (found == calls_.end()) {
        Surprise("it is of a call that this application has no handle of");
        return;
    }
    known_call& call = found->second;
    if (!is_state) {
        return;
    }
    if (call.State() == LINECALLSTATE_IDLE) {
        Surprise("a state after IDLE");
    }
    if (call.states.empty() && message.dwParam3 != LINECALLPRIVILEGE_OWNER) {
        Surprise("a call's first state does not say that this application owns the call");
    }
    call.states.push_back(value);
    call.modes.push_back(static_cast<DWORD>(message.dwParam2));
}

void dialler::Surprise(const std::string& what) {
    out_("  SURPRISE: " + what);
    surprises_.push_back(what);
}

}  // namespace brivelnox::tapi_client
