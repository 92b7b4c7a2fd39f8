// The softphone's call events: how its call states become the TAPI call states of a telephone line.

#include <algorithm>
#include <array>
#include <iterator>

#include "calls/call_manager.h"
#include "calls/call_tables.h"
#include "calls/line_calls.h"
#include "calls/line_log.h"
#include "calls/tapi_call.h"
#include "logging/category_log.h"

namespace brivelnox {

namespace {

constexpr category_log Log{kLineCategory};

/// A softphone can report a call that TAPI placed as connected before it ever reports ringback. Such a report
/// is not believed before this time has passed since the call was created.
constexpr std::int32_t kBelievedConnectMilliseconds = 3000;

/// LINECALLSTATE values to go through, in order; unused places are 0.
using state_sequence = std::array<std::uint32_t, 3>;

constexpr state_sequence kNone = {};
constexpr state_sequence kAccepted = {LINECALLSTATE_ACCEPTED};
constexpr state_sequence kRingback = {LINECALLSTATE_RINGBACK};
constexpr state_sequence kConnected = {LINECALLSTATE_CONNECTED};
constexpr state_sequence kOnHold = {LINECALLSTATE_ONHOLD};
constexpr state_sequence kOfferingAccepted = {LINECALLSTATE_OFFERING, LINECALLSTATE_ACCEPTED};
constexpr state_sequence kProceedingRingback = {LINECALLSTATE_PROCEEDING, LINECALLSTATE_RINGBACK};
constexpr state_sequence kCallerConnected = {LINECALLSTATE_PROCEEDING, LINECALLSTATE_RINGBACK,
                                             LINECALLSTATE_CONNECTED};
constexpr state_sequence kCalleeConnected = {LINECALLSTATE_OFFERING, LINECALLSTATE_ACCEPTED,
                                             LINECALLSTATE_CONNECTED};
constexpr state_sequence kCallerOnHold = {LINECALLSTATE_PROCEEDING, LINECALLSTATE_CONNECTED,
                                          LINECALLSTATE_ONHOLD};
constexpr state_sequence kCalleeOnHold = {LINECALLSTATE_OFFERING, LINECALLSTATE_CONNECTED,
                                          LINECALLSTATE_ONHOLD};

void GoThrough(tapi_call& call, const state_sequence& states) {
    for (const std::uint32_t state : states) {
        if (state != 0) {
            call.SetState(state, 0, true);
        }
    }
}

void LogEvent(const call_line& line, log_format<> what, const client_call_state& state) {
    LogLine(line, what, L", client_call_id: %s, client call state: %s", state.clientCallId.c_str(),
            state.callState.c_str());
}

void HangUp(tapi_call& call, std::int32_t call_reason) {
    if (call_reason == kCallReasonBusyHere) {
        Log(L"Hangup, busy -> signal busy state for call");
        call.SetState(LINECALLSTATE_BUSY, 0, true);
        call.SetState(LINECALLSTATE_IDLE, 0, true);
        call.SetFinalStateSignalled();
        return;
    }
    const DWORD mode = DisconnectModeOf(call_reason);
    Log(L"Client Hangup state might be temporary -> do not yet signal disconnected state");
    // Any later state overwrites the mode with 0, and the call then ends without a reason. That is kept.
    call.SetStateMode(mode);
}

// What a client state does to a call that TAPI placed and that is still PROCEEDING, `elapsed` milliseconds
// after it was created.

void ReportHeldBackConnect(tapi_call& call, std::int32_t) {
    if (call.ConnectedIgnored()) {
        Log(L"Outbound call was started by TAPI, connected state was ignored, call is now 'outgoing' -> report as ringback.");
        call.SetConnectedIgnored(false);
        GoThrough(call, kProceedingRingback);
    }
}

void ReportProceedingBeforeRingback(tapi_call& call, std::int32_t) {
    Log(L"Outbound call was started by TAPI -> report as proceeding before signaling ringback.");
    GoThrough(call, kProceedingRingback);
}

void ApplyConnectTiming(tapi_call& call, std::int32_t elapsed) {
    if (elapsed < kBelievedConnectMilliseconds) {
        Log(L"Outbound call is connected without ringback, duration %d ms. Call was started by TAPI -> report as proceeding.",
            elapsed);
        call.SetState(LINECALLSTATE_PROCEEDING, 0, true);
        call.SetConnectedIgnored(true);
    } else {
        Log(L"Outbound call was started by TAPI, duration %d ms -> report as connected.", elapsed);
        GoThrough(call, kCallerConnected);
    }
}

void ReportRingbackBeforeConnect(tapi_call& call, std::int32_t) {
    Log(L"Outbound call is in a connected state but TAPI call is still proceeding. Call was started by TAPI -> report ringback before connect.");
    GoThrough(call, kCallerConnected);
}

}  // namespace

/// What one client state does. Conference and consultation are all plain CONNECTED for TAPI.
struct client_state_rule {
    std::int32_t client_state;
    // For a call that is not known yet, where the local party is the caller or the called; without states the
    // call is not created.
    state_sequence new_caller;
    state_sequence new_callee;
    // For a known call that TAPI placed and that is still PROCEEDING; null: as any other.
    void (*placed_by_tapi)(tapi_call& call, std::int32_t elapsed);
    // For any other known call.
    state_sequence known;
};

namespace {

constexpr client_state_rule kRules[] = {
    {kClientIncoming, kNone, kNone, &ReportHeldBackConnect, kNone},
    {kClientOutgoing, kNone, kNone, &ReportHeldBackConnect, kNone},
    {kClientRinging, kOfferingAccepted, kOfferingAccepted, nullptr, kAccepted},
    {kClientRingback, kProceedingRingback, kProceedingRingback, &ReportProceedingBeforeRingback, kRingback},
    {kClientConnected, kCallerConnected, kCalleeConnected, &ApplyConnectTiming, kConnected},
    {kClientParked, kCallerOnHold, kCalleeOnHold, nullptr, kOnHold},
    {kClientConferenceActive, kCallerConnected, kCalleeConnected, &ReportRingbackBeforeConnect, kConnected},
    {kClientConsult, kCallerConnected, kCalleeConnected, &ReportRingbackBeforeConnect, kConnected},
    {kClientConferenceConsult, kCallerConnected, kCalleeConnected, &ReportRingbackBeforeConnect, kConnected},
    {kClientConferenceInactive, kCallerConnected, kCalleeConnected, &ReportRingbackBeforeConnect, kConnected},
};

void ContinueCall(const client_state_rule& rule, tapi_call& call, std::int64_t now) {
    const bool is_placed_by_tapi = call.StartedByTapi() && call.State() == LINECALLSTATE_PROCEEDING;
    if (rule.placed_by_tapi != nullptr && is_placed_by_tapi) {
        rule.placed_by_tapi(call, static_cast<std::int32_t>(now - call.CreatedAt()));
    } else {
        GoThrough(call, rule.known);
    }
}

}  // namespace

void line_calls::OnClientCallState(const client_call_state& state) {
    const lock_guard events(events_);
    const std::int32_t client_state = ParseClientCallState(state.callState);
    LogEvent(line_, L"Client call state received.", state);
    // Held here: TAPI may close the call from inside any of the messages below.
    const call_ptr call = FindCall(state.clientCallId);
    const bool parameters_changed = call != nullptr && NoteEvent(*call, state, client_state);

    const auto* const rule = std::ranges::find(kRules, client_state, &client_state_rule::client_state);
    const bool has_rule = rule != std::end(kRules);
    if (call == nullptr) {
        if (has_rule) {
            StartCall(*rule, state);
        }
        return;
    }
    if (client_state == kClientHangup) {
        HangUp(*call, state.callReason);
    } else if (has_rule) {
        ContinueCall(*rule, *call, call_manager_.Now());
    }
    if (parameters_changed && !call->FinalStateSignalled()) {
        call->FlushCallInfo();
    }
}

/// Brings a known call's record up to date. Returns whether there is call information that TAPI has not been
/// told.
bool line_calls::NoteEvent(tapi_call& call, const client_call_state& state, std::int32_t client_state) {
    call.Update(state);
    const bool parameters_changed = call.ChangedCallInfo() != 0;
    // A call that an event has just created has no client state yet, so that its next event counts as a
    // change. That is intended.
    if (call.ExchangeClientState(client_state) != client_state) {
        LogEvent(line_, L"Client call state changed.", state);
    } else if (parameters_changed) {
        LogEvent(line_, L"Client call parameters changed.", state);
    }
    return parameters_changed;
}

void line_calls::StartCall(const client_state_rule& rule, const client_call_state& state) {
    const state_sequence& states = state.isCaller ? rule.new_caller : rule.new_callee;
    if (states == kNone) {
        return;
    }
    const std::uint32_t origin = state.isCaller ? LINECALLORIGIN_OUTBOUND : LINECALLORIGIN_INBOUND;
    const std::uint32_t resets = resets_;
    const call_ptr call = call_manager_.GetNewTapiCallHandle(line_, state, origin);
    if (call == nullptr) {
        return;
    }
    call->Update(state);
    if (resets_ != resets) {
        // TAPI has closed the line from inside LINE_NEWCALL, and has forgotten the call with it.
        call->SetState(LINECALLSTATE_IDLE, 0, false);
        call->SetFinalStateSignalled();
    }
    GoThrough(*call, states);
}

void line_calls::OnCallRemoved(const std::wstring& client_call_id) {
    const lock_guard events(events_);
    LogLine(line_, L"Call removed", L", client_call_id: %s", client_call_id.c_str());
    const call_ptr call = FindCall(client_call_id);
    if (call == nullptr || call->FinalStateSignalled()) {
        return;
    }
    call->SetState(LINECALLSTATE_DISCONNECTED, call->StateMode(), true);
    call->SetState(LINECALLSTATE_IDLE, 0, true);
    call->SetFinalStateSignalled();
}

}  // namespace brivelnox
