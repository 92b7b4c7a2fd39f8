#pragma once

#include <windows.h>
#include <tspi.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "calls/call_line.h"
#include "calls/tapi_call.h"
#include "logging/log_format.h"
#include "platform/locks.h"
#include "registry_service/client_records.h"

namespace brivelnox {

class line_calls;

/// The provider-wide owner of call identities: hands out driver call handles (1, 2, 3, …, never reused),
/// obtains TAPI's handles for calls that a softphone starts, creates and finds calls, and passes each call
/// request of TAPI on to the call's line.
///
/// Threads: any. The index has a lock of its own, held only for one insertion, lookup or removal and never
/// while calling out. The lines of all calls outlive the use of this object.
class call_manager {
  public:
    /// Tells the current UTC time in milliseconds. The provider uses SystemUtcTime; tests hand in their own.
    using utc_clock = std::int64_t (*)();

    explicit call_manager(utc_clock clock = &SystemUtcTime) : clock_(clock) {}
    call_manager(const call_manager&) = delete;
    call_manager& operator=(const call_manager&) = delete;

    /// Announces a call that a softphone has started (LINE_NEWCALL) and creates its record with the handle
    /// that TAPI writes back. Without one, because the line is not open, the call exists with handle 0. Null
    /// when TAPI has closed the call from inside the message. A call that TAPI knows and whose record cannot
    /// be made is told to be idle before the failure goes on. The caller holds the event lock.
    std::shared_ptr<tapi_call> GetNewTapiCallHandle(call_line& line, const client_call_state& state,
                                                    std::uint32_t call_origin);

    /// Creates the record of an outgoing call that TAPI has started.
    std::shared_ptr<tapi_call> CreateOutboundCall(call_line& line, const std::wstring& client_call_id,
                                                  HTAPICALL tapi_call_handle);

    /// The call with this driver call handle, or null.
    [[nodiscard]] std::shared_ptr<tapi_call> FindCall(std::uint64_t driver_call_handle) const;
    /// Takes the call out of the index. Returns false if it is not there any more.
    bool RemoveCall(const tapi_call& call);

    // The call requests of TAPI. An unknown handle, or a call whose line a shutdown has closed for good, ends
    // the request silently, except where said.

    void AnswerCall(std::uint64_t handle);
    void HoldCall(std::uint64_t handle);
    void ResumeCall(std::uint64_t handle);
    /// Joins the two calls; both must be known, else nothing happens.
    void TransferCall(std::uint64_t handle, std::uint64_t handle_on_hold);
    void ForwardCall(std::uint64_t handle, const std::wstring& destination);
    /// Returns 0, or LINEERR_OPERATIONFAILED when the handle is unknown or the call's state does not allow
    /// digits.
    LONG GenerateDigits(std::uint64_t handle, std::uint32_t digit_mode, const std::wstring& digits);
    void DropCall(std::uint64_t handle);
    /// Makes the call idle without telling TAPI, which is closing it, and takes it out of both indexes.
    /// Nothing is told to TAPI about the call once this has returned.
    void CloseCall(std::uint64_t handle);
    /// Creates a consultation call on the same line, locally only: nothing is sent, no state is set. Writes
    /// its driver call handle, or 0 when the handle of the call to be transferred is unknown. Throws
    /// std::runtime_error while the line is being closed. The caller holds the event lock.
    void PrepareConsultationCall(std::uint64_t handle, HTAPICALL consultation_call,
                                 std::uint64_t& consultation_handle);

    /// The current UTC time in milliseconds, by this manager's clock.
    [[nodiscard]] std::int64_t Now() const { return clock_(); }

  private:
    using call_ptr = std::shared_ptr<tapi_call>;
    using simple_request = void (line_calls::*)(tapi_call& call);

    static std::int64_t SystemUtcTime();
    [[nodiscard]] call_ptr FindUsableCall(std::uint64_t driver_call_handle) const;
    void Request(log_format<std::uint32_t> text, std::uint64_t handle, simple_request request) const;
    [[nodiscard]] std::uint64_t NextDriverCallHandle() { return ++last_driver_call_handle_; }
    call_ptr CreateCall(std::uint64_t driver_call_handle, const std::wstring& client_call_id,
                        std::uint32_t call_origin, HTAPICALL tapi_call_handle, call_line& line);

    const utc_clock clock_;
    mutable mutex lock_;
    std::map<std::uint64_t, call_ptr> calls_ BRIVELNOX_GUARDED_BY(lock_);
    std::atomic<std::uint32_t> last_driver_call_handle_{0};
    // The call that TAPI is being sent LINE_NEWCALL for, until TAPI closes it; 0: none.
    std::atomic<std::uint64_t> announced_call_{0};
};

}  // namespace brivelnox
