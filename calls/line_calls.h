#pragma once

#include <windows.h>
#include <tspi.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "calls/call_line.h"
#include "platform/locks.h"
#include "registry_service/client_records.h"

namespace brivelnox {

class call_manager;
class call_requests;
class tapi_call;
struct client_state_rule;
struct request_rule;

/// How many calls a line has, as TAPI counts them.
struct call_counts {
    std::uint32_t active = 0;   // neither idle nor on hold in any way
    std::uint32_t on_hold = 0;  // on hold
};

/// The calls of one line: their index by client call id, the call requests of TAPI, and the call events of
/// the softphone, which it turns into TAPI states.
///
/// Threads: TAPI's (requests) and the link's reader thread (events). Whatever changes a call takes the event
/// lock and keeps it to its end, so a request and an event for one call never interleave. The index has a
/// lock of its own, held for a look-up or a change only and never while calling out, so the calls can be
/// counted and found while an application is inside a message.
class line_calls {
  public:
    /// The references must outlive this object, which is part of `line`.
    line_calls(call_line& line, call_manager& calls, call_requests& requests);
    line_calls(const line_calls&) = delete;
    line_calls& operator=(const line_calls&) = delete;

    /// Enters a call into the index by its client call id, in place of one with the same id. Null is ignored.
    /// Either the call is entered or std::bad_alloc is thrown. The line's lock.
    void AddCall(const std::shared_ptr<tapi_call>& call);
    /// Takes the entry with the client call id out of the index, whatever call it holds. Takes no memory. The
    /// line's lock.
    void RemoveCall(const std::wstring& client_call_id);
    /// Tells TAPI of every call that is not idle that it is disconnected and idle. The calls stay in the
    /// index. A call that is just being announced ends, too. Does nothing while the line is closed. Event
    /// lock.
    void ResetCalls();
    /// The numbers of calls at one moment; zeros for a closed line. The line's lock.
    [[nodiscard]] call_counts CountCalls() const;
    /// Throws std::runtime_error while the line is being closed: a call that TAPI makes from inside the
    /// messages of that would never be ended.
    void RequireNotClosing() const;

    // Call requests (line_call_control.cpp). Each is refused, with a log line, in a call state that does not
    // allow it; what the softphone makes of a request arrives later as an event. Event lock, but for digits.

    void AnswerCall(tapi_call& call);
    void HoldCall(tapi_call& call);
    void ResumeCall(tapi_call& call);
    void TransferCall(tapi_call& active_call, tapi_call& call_on_hold);
    void ForwardCall(tapi_call& call, const std::wstring& destination);
    /// Returns 0, or LINEERR_OPERATIONFAILED when refused. The digit mode is not used.
    LONG GenerateDigits(tapi_call& call, std::uint32_t digit_mode, const std::wstring& digits);
    /// Sends the hang-up and tells TAPI at once that the call has ended.
    void DropCall(tapi_call& call);
    /// Places a call and creates its record; writes the driver call handle. Throws, and has placed no call,
    /// while the line is being closed; a call that was placed and whose record cannot be made is hung up.
    void MakeCall(HTAPICALL tapi_call_handle, std::uint32_t country_code, const std::wstring& number,
                  std::uint64_t& driver_call_handle);
    /// Places a call for a consultation call, which gets a new client call id. The caller has seen the call
    /// in dial tone, with the event lock held. Throws std::runtime_error, and has placed no call, while the
    /// line is being closed.
    void Dial(const std::shared_ptr<tapi_call>& call, std::uint32_t country_code, const std::wstring& number);

    // Call events of the softphone (line_call_events.cpp). Reader thread; event lock.

    /// Brings the call up to date with the softphone's state, creating it where the state says so, and tells
    /// TAPI.
    void OnClientCallState(const client_call_state& state);
    /// Ends the call towards TAPI.
    void OnCallRemoved(const std::wstring& client_call_id);

  private:
    using call_ptr = std::shared_ptr<tapi_call>;
    using calls_by_client_id = std::map<std::wstring, call_ptr>;

    [[nodiscard]] call_ptr FindCall(const std::wstring& client_call_id) const;
    [[nodiscard]] std::vector<call_ptr> AllCalls() const;
    /// Gives the call another client call id, in the record and in the index; all of it or nothing.
    void ChangeCallId(const call_ptr& call, std::wstring new_id);
    void ResetCall(tapi_call& call) BRIVELNOX_REQUIRES(events_);

    /// Logs a request about a call, and sends it if the states of the call, and of the other one where there
    /// is one, allow it. Returns whether they do.
    bool SendIfAllowed(const request_rule& rule, const tapi_call& call, const std::wstring& argument = {},
                       bool other_allows = true);

    bool NoteEvent(tapi_call& call, const client_call_state& state, std::int32_t client_state)
        BRIVELNOX_REQUIRES(events_);
    void StartCall(const client_state_rule& rule, const client_call_state& state) BRIVELNOX_REQUIRES(events_);

    call_line& line_;
    event_lock& events_;
    call_manager& call_manager_;
    call_requests& requests_;
    mutable mutex lock_ BRIVELNOX_ACQUIRED_AFTER(events_){lock_rank::line};
    calls_by_client_id calls_ BRIVELNOX_GUARDED_BY(lock_);
    // Counts the resets, so that a call which was being announced during one is ended as well.
    std::uint32_t resets_ BRIVELNOX_GUARDED_BY(events_) = 0;
};

}  // namespace brivelnox
