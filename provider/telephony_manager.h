#pragma once

#include <windows.h>
#include <tspi.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "calls/call_manager.h"
#include "lines/line_manager.h"
#include "platform/locks.h"

namespace brivelnox {

/// How a telephony manager gets its line manager. May throw.
using line_manager_factory = std::function<std::shared_ptr<line_manager>(std::shared_ptr<call_manager> calls,
                                                                         std::uint32_t device_id_base)>;

/// A request that is about one call and nothing else: what is logged when it fails, and who does it.
struct simple_request {
    const wchar_t* message;
    void (call_manager::*work)(std::uint64_t handle);
};
inline constexpr simple_request kAnswer = {L"LineAnswerCall: Caught Exception!", &call_manager::AnswerCall};
inline constexpr simple_request kHold = {L"LineHoldCall: Caught Exception!", &call_manager::HoldCall};
inline constexpr simple_request kUnhold = {L"LineUnHoldCall: Caught Exception!", &call_manager::ResumeCall};
inline constexpr simple_request kDrop = {L"LineDropCallAsync: Caught Exception!", &call_manager::DropCall};

/// The one object behind TAPI's entry points. Owns the line manager, and with it the call manager, reports
/// asynchronous results, and holds the bodies of the line and call entry points.
///
/// Threads: TAPI calls on its own threads, several at once. Each request holds this object and, through it,
/// the line manager while it runs; shutdown on another thread takes both away without taking them from under
/// it. Bodies that say "asynchronous" report their completion with result 0 and return the request id as soon
/// as the work has been handed on; they never report a failed completion. Work and completion are one step
/// for a shutdown, with the event lock held: a request that finds the way to TAPI shut fails before it does
/// anything, and one that has begun completes. A body whose work throws, or that finds no line manager, logs
/// its own message, reports nothing and returns LINEERR_OPERATIONFAILED. A null pointer from TAPI counts as
/// such a failure where no other outcome is said.
class telephony_manager {
  public:
    /// Makes the manager with its line manager, which connects and waits for the registration list. Never
    /// throws for a failure of that: it is logged, and the manager returned then has none, so that every
    /// request that needs it fails. Throws only when there is no memory for the manager itself.
    static std::shared_ptr<telephony_manager> Create(std::uint32_t device_id_base,
                                                     const line_manager_factory& factory);

    telephony_manager(const telephony_manager&) = delete;
    telephony_manager& operator=(const telephony_manager&) = delete;

    /// Stops and releases the line manager. Waits as line_manager::Stop does. If stopping throws, it stays.
    /// Who gives this object up calls it; the memory goes when the last request that is still inside has
    /// left.
    void CleanUp();

    /// TAPI's completion procedure; null until TAPI has told it.
    void SetCompletionProcedure(ASYNC_COMPLETION procedure) { completion_procedure_.store(procedure); }
    /// Stores TAPI's line device identifier base and, when it is another than before, numbers the lines from
    /// it.
    void SetDeviceIdBase(std::uint32_t device_id_base);
    /// The number of lines now; 0 without a line manager.
    [[nodiscard]] std::uint32_t LineCount() const;
    /// The number of lines that were made with the line manager; TAPI is told of all others by LINE_CREATE. 0
    /// without a line manager.
    [[nodiscard]] std::uint32_t InitialLineCount() const;

    // Line and call requests (provider/line_requests.cpp).

    LONG ProviderCreateLineDevice(DWORD temporary_id, DWORD device_id) noexcept;
    /// Logs the request, then looks at the pointers (LINEERR_INVALPOINTER), at the manager
    /// (LINEERR_UNINITIALIZED for null) and at the version (LINEERR_INCOMPATIBLEAPIVERSION). An unknown
    /// device opens nothing and is no error.
    static LONG LineOpen(const std::shared_ptr<telephony_manager>& manager, DWORD device_id,
                         HTAPILINE tapi_line_handle, HDRVLINE* driver_line_handle, DWORD version,
                         LINEEVENT event_procedure) noexcept;
    LONG LineClose(HDRVLINE line_handle) noexcept;
    /// Asynchronous. LINEERR_INVALADDRESS without a destination, LINEERR_INVALLINEHANDLE for an unknown line,
    /// LINEERR_OPERATIONUNAVAIL while the line's softphone is not connected.
    LONG LineMakeCall(DRV_REQUESTID request_id, HDRVLINE line_handle, HTAPICALL tapi_call_handle,
                      HDRVCALL* driver_call_handle, const wchar_t* destination, DWORD country_code) noexcept;
    /// Asynchronous. LINEERR_OPERATIONFAILED for an unknown call, LINEERR_DIALDIALTONE in any state but dial
    /// tone, LINEERR_INVALADDRESS without a destination, LINEERR_OPERATIONUNAVAIL while the softphone is not
    /// connected.
    LONG LineDial(DRV_REQUESTID request_id, HDRVCALL call, const wchar_t* destination,
                  DWORD country_code) noexcept;
    /// Asynchronous: answer, hold, unhold or drop. An unknown call completes with 0, as for the requests that
    /// follow.
    LONG Request(const simple_request& what, DRV_REQUESTID request_id, HDRVCALL call) noexcept;
    /// Asynchronous: a blind transfer and a redirection differ in the `message` only.
    LONG Forward(const wchar_t* message, DRV_REQUESTID request_id, HDRVCALL call,
                 const wchar_t* destination) noexcept;
    /// Creates the consultation call, completes the request, then puts that call into dial tone.
    LONG LineSetupTransfer(DRV_REQUESTID request_id, HDRVCALL call, HTAPICALL tapi_consult_call,
                           HDRVCALL* driver_consult_call) noexcept;
    /// LINEERR_OPERATIONUNAVAIL for a conference.
    LONG LineCompleteTransfer(DRV_REQUESTID request_id, HDRVCALL call, HDRVCALL consult_call,
                              DWORD transfer_mode) noexcept;
    LONG LineCloseCall(HDRVCALL call) noexcept;
    /// Not asynchronous: returns 0, or LINEERR_OPERATIONFAILED when refused.
    LONG LineGenerateDigits(HDRVCALL call, DWORD end_to_end_id, const wchar_t* digits) noexcept;

    // Line and address information (provider/line_information.cpp). All fill the TAPI 2.2 layout, whatever
    // version was negotiated; a field that is not filled keeps what the caller handed over.

    LONG LineGetDevCaps(DWORD device_id, DWORD version, LINEDEVCAPS* caps) noexcept;
    LONG LineGetAddressCaps(DWORD device_id, DWORD address_id, DWORD version, LINEADDRESSCAPS* caps) noexcept;
    LONG LineGetLineDevStatus(HDRVLINE line_handle, LINEDEVSTATUS* status) noexcept;
    LONG LineGetAddressStatus(HDRVLINE line_handle, LINEADDRESSSTATUS* status) noexcept;
    LONG LineGetId(HDRVLINE line_handle, VARSTRING* device_id, const wchar_t* device_class) noexcept;

    // Call information (provider/call_information.cpp).

    LONG LineGetCallInfo(HDRVCALL call, LINECALLINFO* info) noexcept;
    /// LINECALLSTATE_UNKNOWN for an unknown call. Returns 0 after an exception, too.
    LONG LineGetCallStatus(HDRVCALL call, LINECALLSTATUS* status) noexcept;

  private:
    telephony_manager(std::uint32_t device_id_base, std::shared_ptr<line_manager> lines)
        : line_manager_(std::move(lines)), device_id_base_(device_id_base) {}

    [[nodiscard]] std::shared_ptr<line_manager> CurrentLines() const;
    /// The line manager, held for the length of a request. Throws when there is none.
    [[nodiscard]] std::shared_ptr<line_manager> Lines() const;
    /// What every asynchronous request is: with the event lock held from the first to the last, has `work` do
    /// it, completes it unless `work` returns an error, runs `after`, and returns the request id or the
    /// error.
    template <class Work, class After>
    LONG Asynchronous(DRV_REQUESTID request_id, const wchar_t* message, Work&& work, After&& after) noexcept;
    template <class Work>
    LONG Asynchronous(DRV_REQUESTID request_id, const wchar_t* message, Work&& work) noexcept;
    void ReportCompletion(const event_lock& held_lock, DRV_REQUESTID request_id, LONG result) const
        BRIVELNOX_REQUIRES(held_lock);

    // Guards only the pointer; never held while calling out.
    mutable mutex line_manager_lock_;
    std::shared_ptr<line_manager> line_manager_ BRIVELNOX_GUARDED_BY(line_manager_lock_);
    std::atomic<ASYNC_COMPLETION> completion_procedure_{nullptr};
    std::atomic<std::uint32_t> device_id_base_;
};

}  // namespace brivelnox
