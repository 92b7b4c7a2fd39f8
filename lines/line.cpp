#include "lines/line.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "calls/tapi_call.h"
#include "lines/tapi_event_sender.h"
#include "logging/category_log.h"
#include "platform/low32.h"
#include "platform/version.h"

namespace brivelnox {

namespace {

constexpr category_log Log{L"Line"};

constexpr wchar_t kNamelessLine[] = L"Brivelnox Line";

// Calls in these states are not counted as active.
constexpr std::uint32_t kInactiveStates[] = {LINECALLSTATE_IDLE, LINECALLSTATE_ONHOLD,
                                             LINECALLSTATE_ONHOLDPENDCONF, LINECALLSTATE_ONHOLDPENDTRANSFER};

}  // namespace

line::line(std::uint32_t driver_line_handle, client_registration registration, event_lock& events,
           call_manager& calls, call_requests& requests, std::uint32_t device_id)
    : driver_line_handle_(driver_line_handle),
      device_id_(device_id),
      name_(registration.tapiLineName.empty() ? kNamelessLine : registration.tapiLineName),
      permanent_line_id_(registration.permanentLineId),
      events_(events),
      registration_(std::move(registration)),
      call_manager_(calls),
      requests_(requests) {
    Log(L"%s created with driver line handle 0x%08X", name_.c_str(), driver_line_handle_);
}

line::~line() = default;

void line::Open(HTAPILINE tapi_line_handle, LINEEVENT event_procedure) {
    const lock_guard guard(lock_);
    Log(L"LineOpen %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X, driverLineHandle: 0x%08X, v%s",
        name_.c_str(), Low32(tapi_line_handle), DeviceId(), driver_line_handle_, kProviderVersion);
    tapi_line_handle_.store(tapi_line_handle);
    event_procedure_.store(event_procedure);
    is_open_.store(true);
}

void line::Close() {
    const lock_pair_guard guard(lock_, events_);
    Log(L"LineClose %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X", name_.c_str(), Low32(TapiLineHandle()),
        DeviceId());
    // From inside the messages TAPI may close the line again; this one is then still at it.
    const bool is_outermost = !is_closing_.exchange(true);
    ResetCallsLocked();
    is_closing_.store(!is_outermost);
    is_open_.store(false);
    event_procedure_.store(nullptr);
}

void line::RequireNotClosing() const {
    if (is_closing_.load()) {
        throw std::runtime_error("the line is being closed");
    }
}

void line::InitializeDeviceId(std::uint32_t device_id) {
    const lock_guard guard(lock_);
    if (DeviceId() == kUnknownDeviceId) {
        Log(L"Initialize deviceId of %s to 0x%08X", name_.c_str(), device_id);
        device_id_.store(device_id);
    }
}

void line::UpdateDeviceId(std::uint32_t device_id) {
    const lock_guard guard(lock_);
    Log(L"Update deviceId of %s from 0x%08X to 0x%08X", name_.c_str(), DeviceId(), device_id);
    device_id_.store(device_id);
}

void line::AddCall(const std::shared_ptr<tapi_call>& call) {
    if (call == nullptr) {
        return;
    }
    const lock_guard guard(lock_);
    const std::wstring client_call_id = call->ClientCallId();
    calls_[client_call_id] = call;
    Log(L"Add call %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X, client_call_id: %s", name_.c_str(),
        Low32(TapiLineHandle()), DeviceId(), client_call_id.c_str());
}

void line::RemoveCall(const tapi_call& call) {
    const lock_guard guard(lock_);
    const std::wstring client_call_id = call.ClientCallId();
    if (calls_.erase(client_call_id) != 0) {
        Log(L"Removed call %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X, client_call_id: %s", name_.c_str(),
            Low32(TapiLineHandle()), DeviceId(), client_call_id.c_str());
    }
}

std::shared_ptr<tapi_call> line::FindCall(const std::wstring& client_call_id) const {
    const auto found = calls_.find(client_call_id);
    return found != calls_.end() ? found->second : nullptr;
}

void line::ResetCalls() {
    const lock_pair_guard guard(lock_, events_);
    ResetCallsLocked();
}

void line::ResetCallsLocked() {
    if (!IsOpen()) {
        return;
    }
    try {
        Log(L"Reset calls %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X", name_.c_str(),
            Low32(TapiLineHandle()), DeviceId());
        // Over a copy: TAPI closes calls from inside the messages, and they leave the index under the walk.
        const calls_by_client_id calls = calls_;
        for (const auto& [client_call_id, call] : calls) {
            if (call->State() != LINECALLSTATE_IDLE) {
                ResetCall(*call);
            }
        }
    } catch (...) {
        // What could not be reset stays as it is; closing and unregistering go on.
    }
}

void line::ResetCall(tapi_call& call) {
    // The label of the call id lacks an "l". That is intended: logs are searched for it.
    Log(L"Reset call %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X, client_cal_id: %s", name_.c_str(),
        Low32(TapiLineHandle()), DeviceId(), call.ClientCallId().c_str());
    call.SetState(LINECALLSTATE_DISCONNECTED, LINEDISCONNECTMODE_CANCELLED, true);
    call.SetState(LINECALLSTATE_IDLE, 0, true);
    call.SetFinalStateSignalled();
}

void line::UpdateServiceState(bool client_connected, bool sip_connected) {
    Log(L"Updated service state %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X, client connected: %d, sip connected: %d",
        name_.c_str(), Low32(TapiLineHandle()), DeviceId(), client_connected, sip_connected);
    sip_connected_.store(sip_connected);
    if (client_connected_.exchange(client_connected) != client_connected) {
        ResetCalls();
    }
}

void line::UpdateRegistration(const client_registration& registration, bool registered) {
    const lock_pair_guard guard(lock_, events_);
    if (!registered) {
        ResetCallsLocked();
    }
    if (registration_.permanentLineId == registration.permanentLineId &&
        registration_.tcpPort == registration.tcpPort) {
        return;
    }
    Log(L"Updated registration %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X", name_.c_str(),
        Low32(TapiLineHandle()), DeviceId());
    if (registered) {
        ResetCallsLocked();
    }
    registration_ = registration;
}

void line::SendEvent(HTAPICALL tapi_call_handle, DWORD message, DWORD_PTR param1, DWORD_PTR param2,
                     DWORD_PTR param3) {
    if (!IsOpen()) {
        Log(L"Skip sending event to TAPI. %s, tapiLineHandle: 0x%08X, line not open", name_.c_str(),
            Low32(TapiLineHandle()));
        return;
    }
    const LINEEVENT event_procedure = event_procedure_.load();
    if (event_procedure == nullptr) {
        Log(L"Cannot send event to TAPI. %s, tapiLineHandle: 0x%08X, event_procedure is invalid: 0x%08X",
            name_.c_str(), Low32(TapiLineHandle()), 0);
        return;
    }
    const lock_guard guard(events_);
    if (events_.IsShut()) {
        return;
    }
    try {
        SendTapiEvent(events_, event_procedure, name_, TapiLineHandle(), tapi_call_handle, message, param1,
                      param2, param3);
    } catch (...) {
        // Without memory for the log line the message is lost; the state it tells of can still be asked for.
    }
}

std::uint32_t line::ActiveCallCount() const {
    const lock_guard guard(lock_);
    if (!IsOpen()) {
        return 0;
    }
    std::uint32_t count = 0;
    for (const auto& [client_call_id, call] : calls_) {
        const std::uint32_t state = call->State();
        count += std::find(std::begin(kInactiveStates), std::end(kInactiveStates), state) ==
                 std::end(kInactiveStates);
    }
    return count;
}

std::uint32_t line::OnHoldCallCount() const {
    const lock_guard guard(lock_);
    if (!IsOpen()) {
        return 0;
    }
    std::uint32_t count = 0;
    for (const auto& [client_call_id, call] : calls_) {
        count += call->State() == LINECALLSTATE_ONHOLD;
    }
    return count;
}

bool line::CanAnswer() const {
    const lock_guard guard(lock_);
    return ClientConnected() && SipConnected();
}

client_registration line::Registration() const {
    const lock_guard guard(lock_);
    return registration_;
}

}  // namespace brivelnox
