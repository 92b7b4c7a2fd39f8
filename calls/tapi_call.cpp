#include "calls/tapi_call.h"

#include <utility>

#include "logging/category_log.h"
#include "platform/low32.h"

namespace brivelnox {

namespace {

constexpr category_log Log{L"VekTapiCall"};

// Which of the two parties a change concerns depends on the direction, so both are named.
constexpr std::uint32_t kCallerAndCalledChanged = LINECALLINFOSTATE_CALLERID | LINECALLINFOSTATE_CALLEDID;

}  // namespace

tapi_call::tapi_call(std::uint64_t driver_call_handle, HTAPICALL tapi_call_handle, std::uint32_t call_origin,
                     std::wstring client_call_id, call_line& line, std::int64_t created_at)
    : call_origin_(call_origin),
      driver_call_handle_(driver_call_handle),
      tapi_call_handle_(tapi_call_handle),
      line_(line),
      created_at_(created_at),
      client_call_id_(std::move(client_call_id)) {
    // "outbound" shows the origin itself, 1 or 128. That is intended.
    Log(L"New call created client_call_id: %s, tapiCallHandle: 0x%08X, driverCallHandle: 0x%08X, outbound: %d",
        ClientCallId().c_str(), Low32(tapi_call_handle_), Low32(driver_call_handle_), call_origin_);
}

void tapi_call::SetState(std::uint32_t state, std::uint32_t mode, bool signal) {
    const lock_guard events(line_.EventLock());
    Log(L"SetState: client_call_id: %s, tapiCallHandle: 0x%08X, driverCallHandle: 0x%08X, state: %s, mode: 0x%08X.",
        ClientCallId().c_str(), Low32(tapi_call_handle_), Low32(driver_call_handle_), CallStateName(state),
        mode);
    const state_change change = StoreState(state, mode);
    if (change == state_change::already_idle) {
        Log(L"Call client_call_id: %s, tapiCallHandle: 0x%08X, driverCallHandle: 0x%08X is already idle, do not signal property or state",
            ClientCallId().c_str(), Low32(tapi_call_handle_), Low32(driver_call_handle_));
        return;
    }
    if (!signal) {
        return;
    }
    if (change == state_change::changed && IsCallState(state)) {
        // The modes of the other states stay in the record and are deliberately not told.
        const std::uint32_t told_mode = state == LINECALLSTATE_DISCONNECTED ? mode : 0;
        line_.SendEvent(tapi_call_handle_, LINE_CALLSTATE, state, told_mode, LINEMEDIAMODE_INTERACTIVEVOICE);
    }
    // TAPI may have closed or dropped the call from inside the message.
    if (State() == state) {
        SendCallInfo();
    }
}

tapi_call::state_change tapi_call::StoreState(std::uint32_t state, std::uint32_t mode) {
    const lock_guard guard(lock_);
    // The connected party follows the state even on a call that is already idle. That is intended.
    if (state == LINECALLSTATE_CONNECTED) {
        details_.connected_number = details_.peer_number;
        details_.connected_name = details_.peer_name;
    } else if (state == LINECALLSTATE_ONHOLD) {
        details_.connected_number.clear();
        details_.connected_name.clear();
    }
    if (details_.tapi_call_state == LINECALLSTATE_IDLE) {
        return state_change::already_idle;
    }
    const bool changed = details_.tapi_call_state != state;
    details_.tapi_call_state = state;
    details_.call_state_mode = mode;
    return changed ? state_change::changed : state_change::stored;
}

void tapi_call::FlushCallInfo() {
    const lock_guard events(line_.EventLock());
    if (State() != LINECALLSTATE_IDLE) {
        SendCallInfo();
    }
}

void tapi_call::SendCallInfo() {
    // Cleared before it is sent: a request that TAPI makes from inside the message must not send it again.
    if (const std::uint32_t changed = TakeChangedCallInfo(); changed != 0) {
        line_.SendEvent(tapi_call_handle_, LINE_CALLINFO, changed, 0, 0);
    }
}

std::uint32_t tapi_call::TakeChangedCallInfo() {
    const lock_guard guard(lock_);
    return std::exchange(changed_call_info_, 0);
}

void tapi_call::Update(const client_call_state& state) {
    const lock_guard guard(lock_);
    Replace(details_.self_number, state.selfPhoneNumber, kCallerAndCalledChanged);
    Replace(details_.self_name, state.selfName, kCallerAndCalledChanged);
    Replace(details_.peer_number, state.peerPhoneNumber, kCallerAndCalledChanged);
    Replace(details_.peer_name, state.peerName, kCallerAndCalledChanged);
    // The connected party is the peer on every event, whatever the state.
    Replace(details_.connected_number, state.peerPhoneNumber, LINECALLINFOSTATE_CONNECTEDID);
    Replace(details_.connected_name, state.peerName, LINECALLINFOSTATE_CONNECTEDID);
    Replace(details_.forwarder_number, state.forwarderPhoneNumber, LINECALLINFOSTATE_REDIRECTINGID);
    Replace(details_.forwarder_name, state.forwarderName, LINECALLINFOSTATE_REDIRECTINGID);
    const brivelnox::forward_type type = ParseForwardType(state.forwardType);
    if (details_.forward_type != type) {
        details_.forward_type = type;
        changed_call_info_ |= LINECALLINFOSTATE_REASON;
    }
}

void tapi_call::Replace(std::wstring& field, const std::wstring& value, std::uint32_t changed_bits) {
    if (field != value) {
        field = value;
        changed_call_info_ |= changed_bits;
    }
}

void tapi_call::ChangeClientCallId(std::wstring&& new_id) {
    const lock_guard guard(lock_);
    const std::wstring old_id = std::exchange(client_call_id_, std::exchange(new_id, {}));
    Log(L"Call id changed : id = %s -> %s", old_id.c_str(), client_call_id_.c_str());
}

void tapi_call::SetStateMode(std::uint32_t mode) {
    const lock_guard guard(lock_);
    details_.call_state_mode = mode;
}

std::int32_t tapi_call::ExchangeClientState(std::int32_t client_state) {
    const lock_guard guard(lock_);
    return std::exchange(client_state_, client_state);
}

std::uint32_t tapi_call::State() const {
    const lock_guard guard(lock_);
    return details_.tapi_call_state;
}

std::uint32_t tapi_call::StateMode() const {
    const lock_guard guard(lock_);
    return details_.call_state_mode;
}

std::uint32_t tapi_call::ChangedCallInfo() const {
    const lock_guard guard(lock_);
    return changed_call_info_;
}

std::wstring tapi_call::ClientCallId() const {
    const lock_guard guard(lock_);
    return client_call_id_;
}

call_details tapi_call::Details() const {
    const lock_guard guard(lock_);
    return details_;
}

}  // namespace brivelnox
