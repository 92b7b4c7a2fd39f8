#pragma once

#include <windows.h>
#include <tspi.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "calls/call_line.h"
#include "calls/call_tables.h"
#include "platform/locks.h"
#include "registry_service/client_records.h"

namespace brivelnox {

/// The parties and state of a call at one moment, as the call-information requests read them.
struct call_details {
    std::uint32_t tapi_call_state = LINECALLSTATE_UNKNOWN;
    std::uint32_t call_state_mode = 0;
    std::wstring peer_number;
    std::wstring peer_name;
    std::wstring self_number;
    std::wstring self_name;
    std::wstring forwarder_number;
    std::wstring forwarder_name;
    brivelnox::forward_type forward_type = brivelnox::forward_type::none;
    std::wstring connected_number;
    std::wstring connected_name;
};

/// The provider's record of one call on one line: the softphone's call id, TAPI's handle and the provider's
/// own, the parties last reported, and the TAPI state last told. It is the one place where a change of state
/// becomes LINE_CALLSTATE and LINE_CALLINFO.
///
/// Records are held by std::shared_ptr in two indexes, the call manager's and the line's; whoever works on a
/// call holds it too, so a record outlives its removal from both for as long as somebody is inside. Its line
/// lives as long as anybody uses the record.
///
/// Threads: changes are made with the event lock held; SetState and FlushCallInfo take it themselves, so what
/// is decided about a message and its sending are one step: nothing is told about a call once it is idle,
/// whichever thread made it so. A small lock of the record's own, never held while calling out, keeps readers
/// on other threads from seeing a field half-written.
class tapi_call {
  public:
    /// Logs the creation. `created_at` is the UTC time in milliseconds from which the timing of outbound
    /// calls counts.
    tapi_call(std::uint64_t driver_call_handle, HTAPICALL tapi_call_handle, std::uint32_t call_origin,
              std::wstring client_call_id, call_line& line, std::int64_t created_at);
    tapi_call(const tapi_call&) = delete;
    tapi_call& operator=(const tapi_call&) = delete;

    /// Stores a LINECALLSTATE value with its mode and, with `signal`, tells TAPI: LINE_CALLSTATE when the
    /// state is another than before, then LINE_CALLINFO when information has changed. An idle call stays
    /// idle: for it nothing is stored and nothing told. The mode goes to TAPI only with DISCONNECTED.
    void SetState(std::uint32_t state, std::uint32_t mode, bool signal);

    /// Tells TAPI which call information has changed since the last time, if any has. Nothing about an idle
    /// call.
    void FlushCallInfo();

    /// Takes over the parties and the forward type of an event and notes what has changed. Tells TAPI
    /// nothing.
    void Update(const client_call_state& state);

    /// Replaces the softphone's call id and leaves the argument empty. The caller sees to the line's
    /// index, which finds calls by this id.
    void ChangeClientCallId(std::wstring&& new_id);

    /// Stores the mode for a state that is told later, without any change of state.
    void SetStateMode(std::uint32_t mode);

    /// Stores the client state of an event. Returns the one before.
    std::int32_t ExchangeClientState(std::int32_t client_state);

    [[nodiscard]] std::uint32_t CallOrigin() const { return call_origin_; }
    [[nodiscard]] std::uint64_t DriverCallHandle() const { return driver_call_handle_; }
    [[nodiscard]] HTAPICALL TapiCallHandle() const { return tapi_call_handle_; }
    /// The line the call is on, also once a shutdown has closed it for good.
    [[nodiscard]] call_line& Line() const { return line_; }
    [[nodiscard]] std::int64_t CreatedAt() const { return created_at_; }
    [[nodiscard]] std::uint32_t State() const;
    [[nodiscard]] std::uint32_t StateMode() const;
    [[nodiscard]] std::uint32_t ChangedCallInfo() const;
    [[nodiscard]] std::wstring ClientCallId() const;
    /// A copy of everything that TAPI may ask about the call.
    [[nodiscard]] call_details Details() const;

    /// A Connected of the softphone was held back.
    [[nodiscard]] bool ConnectedIgnored() const { return connected_ignored_.load(); }
    void SetConnectedIgnored(bool ignored) { connected_ignored_.store(ignored); }
    /// The terminal states have been told; later changes are not.
    [[nodiscard]] bool FinalStateSignalled() const { return final_state_signalled_.load(); }
    void SetFinalStateSignalled() { final_state_signalled_.store(true); }
    /// The call was placed by TAPI's make-call request.
    [[nodiscard]] bool StartedByTapi() const { return started_by_tapi_.load(); }
    void SetStartedByTapi() { started_by_tapi_.store(true); }

  private:
    /// What SetState has to tell TAPI.
    enum class state_change { already_idle, stored, changed };

    void SendCallInfo();
    state_change StoreState(std::uint32_t state, std::uint32_t mode);
    [[nodiscard]] std::uint32_t TakeChangedCallInfo();
    void Replace(std::wstring& field, const std::wstring& value, std::uint32_t changed_bits)
        BRIVELNOX_REQUIRES(lock_);

    const std::uint32_t call_origin_;
    const std::uint64_t driver_call_handle_;
    const HTAPICALL tapi_call_handle_;
    call_line& line_;
    const std::int64_t created_at_;
    std::atomic<bool> connected_ignored_{false};
    std::atomic<bool> final_state_signalled_{false};
    std::atomic<bool> started_by_tapi_{false};

    mutable mutex lock_;
    std::int32_t client_state_ BRIVELNOX_GUARDED_BY(lock_) = kNoClientState;
    std::uint32_t changed_call_info_ BRIVELNOX_GUARDED_BY(lock_) = 0;
    call_details details_ BRIVELNOX_GUARDED_BY(lock_);
    std::wstring client_call_id_ BRIVELNOX_GUARDED_BY(lock_);
};

}  // namespace brivelnox
