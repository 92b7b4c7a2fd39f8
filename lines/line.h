#pragma once

#include <windows.h>
#include <tspi.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "calls/call_line.h"
#include "calls/line_calls.h"
#include "platform/event_lock.h"
#include "registry_service/client_records.h"

namespace brivelnox {

class call_manager;
class call_requests;

/// The line device identifier while TAPI has given none.
inline constexpr std::uint32_t kUnknownDeviceId = 0xFFFFFFFF;

/// One TAPI line device: one softphone client of the registry service, identified by its permanent line id.
/// Holds the line's identities towards TAPI and the service, its life towards TAPI with the event procedure,
/// and the service state of its client. Its calls are an object of their own, which knows the line as a
/// call_line.
///
/// Threads: TAPI's (open, close) and the link's reader thread (registrations). What changes the line takes
/// the event lock; what is read on other threads without it (life, handles, service flags) is atomic.
///
/// Lines live as long as their line manager.
class line final : public call_line {
  public:
    /// Logs the creation. The references must outlive the line.
    line(std::uint32_t driver_line_handle, client_registration registration, event_lock& events,
         call_manager& calls, call_requests& requests, std::uint32_t device_id);
    line(const line&) = delete;
    line& operator=(const line&) = delete;

    /// Throws std::runtime_error for a line that is being closed, whose end would close it again behind
    /// TAPI's back, and for one that a shutdown has closed: nothing would end the calls that are made on it.
    void RequireNotEnding() const;
    /// Opens the line with TAPI's handle and event procedure; an open line takes the new ones. Throws as
    /// RequireNotEnding. Event lock.
    void Open(HTAPILINE tapi_line_handle, LINEEVENT event_procedure);
    /// Ends every live call towards TAPI, then closes. TAPI's handle stays for the log. Event lock.
    void Close();
    /// Closes the line for good: a shutdown takes it away from TAPI. Event lock.
    void Retire();
    /// Gives the line its first device identifier; a line that has one keeps it. Event lock.
    void InitializeDeviceId(std::uint32_t device_id);
    /// Replaces the device identifier. Event lock.
    void UpdateDeviceId(std::uint32_t device_id);

    /// Takes over the state of the client's connections; a change of the client's own connection resets the
    /// calls. Event lock for that.
    void UpdateServiceState(bool client_connected, bool sip_connected);
    /// Takes over a registration. An unregistered client, or one with another id or port, has its calls
    /// reset. Event lock.
    void UpdateRegistration(const client_registration& registration, bool registered);

    /// The provider's handle of the line.
    [[nodiscard]] std::uint32_t DriverLineHandle() const { return driver_line_handle_; }

    [[nodiscard]] const std::wstring& Name() const override { return name_; }
    [[nodiscard]] std::int32_t PermanentLineId() const override { return permanent_line_id_; }
    [[nodiscard]] HTAPILINE TapiLineHandle() const override { return tapi_line_handle_.load(); }
    [[nodiscard]] std::uint32_t DeviceId() const override { return device_id_.load(); }
    [[nodiscard]] line_life Life() const override { return life_.load(); }
    [[nodiscard]] bool ClientConnected() const override { return client_connected_.load(); }
    [[nodiscard]] bool CanAnswer() const override { return ClientConnected() && sip_connected_.load(); }
    void SendEvent(HTAPICALL tapi_call_handle, DWORD message, DWORD_PTR param1, DWORD_PTR param2,
                   DWORD_PTR param3) override;
    [[nodiscard]] event_lock& EventLock() const override { return events_; }
    [[nodiscard]] line_calls& Calls() override { return calls_; }

  private:
    const std::uint32_t driver_line_handle_;
    const std::wstring name_;
    const std::int32_t permanent_line_id_;
    std::atomic<HTAPILINE> tapi_line_handle_{nullptr};
    std::atomic<LINEEVENT> event_procedure_{nullptr};
    std::atomic<std::uint32_t> device_id_;
    std::atomic<line_life> life_{line_life::closed};
    std::atomic<bool> client_connected_{false};
    std::atomic<bool> sip_connected_{false};
    event_lock& events_;
    client_registration registration_ BRIVELNOX_GUARDED_BY(events_);
    line_calls calls_;
};

}  // namespace brivelnox
