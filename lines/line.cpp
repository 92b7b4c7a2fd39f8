#include "lines/line.h"

#include <stdexcept>
#include <utility>

#include "calls/line_log.h"
#include "lines/tapi_event_sender.h"
#include "logging/category_log.h"
#include "platform/low32.h"
#include "platform/version.h"

namespace brivelnox {

namespace {

constexpr category_log Log{kLineCategory};

constexpr wchar_t kNamelessLine[] = L"Brivelnox Line";

}  // namespace

line::line(std::uint32_t driver_line_handle, client_registration registration, event_lock& events,
           call_manager& calls, call_requests& requests, std::uint32_t device_id)
    : driver_line_handle_(driver_line_handle),
      name_(registration.tapiLineName.empty() ? kNamelessLine : registration.tapiLineName),
      permanent_line_id_(registration.permanentLineId),
      device_id_(device_id),
      events_(events),
      registration_(std::move(registration)),
      calls_(*this, calls, requests) {
    Log(L"%s created with driver line handle 0x%08X", name_.c_str(), driver_line_handle_);
}

void line::RequireNotEnding() const {
    if (IsClosing() || IsRetired()) {
        throw std::runtime_error("the line is being closed, or closed for good");
    }
}

void line::Open(HTAPILINE tapi_line_handle, LINEEVENT event_procedure) {
    const lock_guard events(events_);
    RequireNotEnding();
    tapi_line_handle_.store(tapi_line_handle);
    LogLine(*this, L"LineOpen", L", driverLineHandle: 0x%08X, v%s", driver_line_handle_, kProviderVersion);
    event_procedure_.store(event_procedure);
    life_.store(line_life::open);
}

void line::Close() {
    const lock_guard events(events_);
    LogLine(*this, L"LineClose");
    const line_life before = Life();
    if (before != line_life::open && before != line_life::closing) {
        return;
    }
    life_.store(line_life::closing);
    calls_.ResetCalls();
    event_procedure_.store(nullptr);
    if (!IsRetired()) {
        // Inside the messages of another closing, which then is still at it.
        life_.store(before == line_life::open ? line_life::closed : line_life::closed_again);
    }
}

void line::Retire() {
    const lock_guard events(events_);
    Close();
    life_.store(line_life::retired);
}

void line::InitializeDeviceId(std::uint32_t device_id) {
    const lock_guard events(events_);
    if (DeviceId() == kUnknownDeviceId) {
        Log(L"Initialize deviceId of %s to 0x%08X", name_.c_str(), device_id);
        device_id_.store(device_id);
    }
}

void line::UpdateDeviceId(std::uint32_t device_id) {
    const lock_guard events(events_);
    Log(L"Update deviceId of %s from 0x%08X to 0x%08X", name_.c_str(), DeviceId(), device_id);
    device_id_.store(device_id);
}

void line::UpdateServiceState(bool client_connected, bool sip_connected) {
    LogLine(*this, L"Updated service state", L", client connected: %d, sip connected: %d", client_connected,
            sip_connected);
    sip_connected_.store(sip_connected);
    if (client_connected_.exchange(client_connected) != client_connected) {
        calls_.ResetCalls();
    }
}

void line::UpdateRegistration(const client_registration& registration, bool registered) {
    const lock_guard events(events_);
    if (!registered) {
        calls_.ResetCalls();
    }
    if (registration_.permanentLineId == registration.permanentLineId &&
        registration_.tcpPort == registration.tcpPort) {
        return;
    }
    LogLine(*this, L"Updated registration");
    if (registered) {
        calls_.ResetCalls();
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
    SendTapiEvent(events_, event_procedure, name_, TapiLineHandle(), tapi_call_handle, message, param1,
                  param2, param3);
}

}  // namespace brivelnox
