#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include <tspi.h>

#include "lines/event_lock.h"
#include "platform/locks.h"
#include "registry_service/client_records.h"

namespace brivelnox {

class call_manager;
class call_requests;
class tapi_call;

/// The line device identifier while TAPI has given none.
inline constexpr std::uint32_t kUnknownDeviceId = 0xFFFFFFFF;

/// One TAPI line device: one softphone client of the registry service, identified by its permanent line id.
/// Holds the line's identities towards TAPI and the service, its open state and event procedure, the service
/// state of its client and the calls that are on it; carries out call requests and turns the softphone's call
/// events into TAPI states.
///
/// Threads: TAPI's (open, close, requests) and the link's reader thread (registrations, call events). The
/// line's own recursive lock guards the calls and the registration and keeps a request and an event for one
/// call from interleaving. Operations that may tell TAPI something take it together with the event lock. What
/// is read on other threads without the lock (open state, handles, service flags) is atomic.
///
/// Lines live as long as their line manager.
class line {
  public:
    /// Logs the creation. The references must outlive the line.
    line(std::uint32_t driver_line_handle, client_registration registration, event_lock& events,
         call_manager& calls, call_requests& requests, std::uint32_t device_id);
    line(const line&) = delete;
    line& operator=(const line&) = delete;
    virtual ~line();

    /// Opens the line with TAPI's handle and event procedure; an open line takes the new ones. Own lock.
    void Open(HTAPILINE tapi_line_handle, LINEEVENT event_procedure);
    /// Ends every live call towards TAPI, then closes. TAPI's handle stays for the log. Own lock and event
    /// lock.
    void Close();
    /// Throws std::runtime_error while the line is being closed: a call that TAPI makes from inside the
    /// messages of that would never be ended. With the event lock held.
    void RequireNotClosing() const;
    /// The same as a question.
    [[nodiscard]] bool IsClosing() const { return is_closing_.load(); }
    /// Marks the line as taken away: shutdown has closed it for good. Its calls no longer have a line.
    void Retire() { is_retired_.store(true); }
    /// Gives the line its first device identifier; a line that has one keeps it. Own lock.
    void InitializeDeviceId(std::uint32_t device_id);
    /// Replaces the device identifier. Own lock.
    void UpdateDeviceId(std::uint32_t device_id);

    /// Tells TAPI of every call that is not idle that it is disconnected and idle. The calls stay in the
    /// index. Does nothing while the line is closed. Own lock and event lock.
    void ResetCalls();
    /// Takes over the state of the client's connections; a change of the client's own connection resets the
    /// calls. Takes no lock for the flags.
    void UpdateServiceState(bool client_connected, bool sip_connected);
    /// Takes over a registration. An unregistered client, or one with another id or port, has its calls
    /// reset. Own lock and event lock.
    void UpdateRegistration(const client_registration& registration, bool registered);

    /// The gate to TAPI: sends a message with the line's handle through the line's event procedure. A closed
    /// line or a missing procedure is logged and nothing is sent. What the sender throws is dropped. Event
    /// lock.
    void SendEvent(HTAPICALL tapi_call_handle, DWORD message, DWORD_PTR param1, DWORD_PTR param2,
                   DWORD_PTR param3);

    /// Enters a call into the index by its client call id, in place of one with the same id. Null is ignored.
    /// Own lock.
    void AddCall(const std::shared_ptr<tapi_call>& call);
    /// Takes the entry with the call's client call id out of the index, whatever call it holds. Own lock.
    void RemoveCall(const tapi_call& call);

    // Call requests (calls/line_call_control.cpp). Each is refused, with a log line, in a call state that
    // does not allow it; what the softphone makes of a request arrives later as an event. Own lock; MakeCall,
    // Dial and DropCall the event lock too.

    void AnswerCall(tapi_call& call);
    void HoldCall(tapi_call& call);
    void ResumeCall(tapi_call& call);
    void TransferCall(tapi_call& active_call, tapi_call& call_on_hold);
    void ForwardCall(tapi_call& call, const std::wstring& destination);
    /// Returns 0, or LINEERR_OPERATIONFAILED when refused. The digit mode is not used.
    LONG GenerateDigits(tapi_call& call, std::uint32_t digit_mode, const std::wstring& digits);
    /// Sends the hang-up and tells TAPI at once that the call has ended.
    void DropCall(tapi_call& call);
    /// Places a call and creates its record; writes the driver call handle.
    void MakeCall(HTAPICALL tapi_call_handle, std::uint32_t country_code, const std::wstring& number,
                  std::uint64_t& driver_call_handle);
    /// Places a call for a consultation call that has none at the softphone yet. The call gets a new client
    /// call id.
    void Dial(const std::shared_ptr<tapi_call>& call, std::uint32_t country_code, const std::wstring& number);
    /// Dials if the call is in dial tone, test and dialling in one step: a call that TAPI closes or dials on
    /// another thread at the same time is not dialled. Returns whether it was.
    [[nodiscard]] bool DialFromDialTone(const std::shared_ptr<tapi_call>& call, std::uint32_t country_code,
                                        const std::wstring& number);

    // Call events of the softphone (calls/line_call_events.cpp). Reader thread; own lock and event lock.

    /// Brings the call up to date with the softphone's state, creating it where the state says so, and tells
    /// TAPI.
    void OnClientCallState(const client_call_state& state);
    /// Ends the call towards TAPI.
    void OnCallRemoved(const std::wstring& client_call_id);

    /// Calls that are neither idle nor on hold in any way; 0 for a closed line. Own lock.
    [[nodiscard]] std::uint32_t ActiveCallCount() const;
    /// Calls on hold; 0 for a closed line. Own lock.
    [[nodiscard]] std::uint32_t OnHoldCallCount() const;
    /// Whether a call could be answered now: the softphone and its telephony registration are both up. Own
    /// lock.
    [[nodiscard]] bool CanAnswer() const;

    [[nodiscard]] std::uint32_t DriverLineHandle() const { return driver_line_handle_; }
    [[nodiscard]] std::int32_t PermanentLineId() const { return permanent_line_id_; }
    [[nodiscard]] const std::wstring& Name() const { return name_; }
    [[nodiscard]] std::uint32_t DeviceId() const { return device_id_.load(); }
    [[nodiscard]] HTAPILINE TapiLineHandle() const { return tapi_line_handle_.load(); }
    [[nodiscard]] bool IsOpen() const { return is_open_.load(); }
    [[nodiscard]] bool IsRetired() const { return is_retired_.load(); }
    [[nodiscard]] bool ClientConnected() const { return client_connected_.load(); }
    [[nodiscard]] bool SipConnected() const { return sip_connected_.load(); }
    [[nodiscard]] client_registration Registration() const;
    /// The lock around everything that is told to TAPI.
    [[nodiscard]] event_lock& EventLock() const { return events_; }

  private:
    using calls_by_client_id = std::map<std::wstring, std::shared_ptr<tapi_call>>;

    void ResetCallsLocked() BRIVELNOX_REQUIRES(lock_, events_);
    void ResetCall(tapi_call& call) BRIVELNOX_REQUIRES(lock_, events_);
    [[nodiscard]] std::shared_ptr<tapi_call> FindCall(const std::wstring& client_call_id) const
        BRIVELNOX_REQUIRES(lock_);

    // Call events, in the order of their algorithm.
    struct client_state_rule;
    using placed_by_tapi_rule = void (line::*)(tapi_call& call);
    static const client_state_rule* FindRule(std::int32_t client_state);
    bool NoteEvent(tapi_call& call, const client_call_state& state, std::int32_t client_state)
        BRIVELNOX_REQUIRES(lock_, events_);
    void StartCall(const client_state_rule& rule, const client_call_state& state)
        BRIVELNOX_REQUIRES(lock_, events_);
    void ContinueCall(const client_state_rule& rule, tapi_call& call) BRIVELNOX_REQUIRES(lock_, events_);
    void HangUp(tapi_call& call, std::int32_t call_reason) BRIVELNOX_REQUIRES(lock_, events_);
    void ReportHeldBackConnect(tapi_call& call);
    void ReportProceedingBeforeRingback(tapi_call& call);
    void ApplyConnectTiming(tapi_call& call);
    void ReportRingbackBeforeConnect(tapi_call& call);

    std::atomic<HTAPILINE> tapi_line_handle_{nullptr};
    const std::uint32_t driver_line_handle_;
    std::atomic<LINEEVENT> event_procedure_{nullptr};
    std::atomic<std::uint32_t> device_id_;
    std::atomic<bool> is_open_{false};
    std::atomic<bool> is_closing_{false};
    std::atomic<bool> is_retired_{false};
    const std::wstring name_;
    const std::int32_t permanent_line_id_;
    std::atomic<bool> client_connected_{false};
    std::atomic<bool> sip_connected_{false};
    event_lock& events_;
    mutable recursive_mutex lock_{lock_rank::line};
    client_registration registration_ BRIVELNOX_GUARDED_BY(lock_);
    call_manager& call_manager_;
    call_requests& requests_;
    calls_by_client_id calls_ BRIVELNOX_GUARDED_BY(lock_);
};

}  // namespace brivelnox
