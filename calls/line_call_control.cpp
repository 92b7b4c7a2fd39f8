// The call requests of a line: each checks the call's state and, where the state allows it, sends one request
// to the softphone. Apart from MakeCall, dialling and DropCall none changes the call's state: the softphone's
// next event does.

#include <stdexcept>
#include <utility>

#include "calls/call_manager.h"
#include "calls/client_call_id.h"
#include "calls/line_calls.h"
#include "calls/line_log.h"
#include "calls/tapi_call.h"
#include "logging/category_log.h"
#include "platform/ansi_text.h"
#include "platform/low32.h"
#include "platform/scope_exit.h"
#include "registry_service/call_requests.h"

namespace brivelnox {

/// A request about a call: the LINECALLSTATE values that allow it, what is sent then, and what is logged.
struct request_rule {
    log_format<> title;
    // Stands in the log between the call's id and the second argument.
    const wchar_t* label;
    std::uint32_t states;
    call_request request;
    log_format<> refusal;
};

namespace {

constexpr category_log Log{kLineCategory};

// All but IDLE, DISCONNECTED and UNKNOWN.
constexpr std::uint32_t kLiveStates = 0x3FFE;
static_assert((kLiveStates & (LINECALLSTATE_IDLE | LINECALLSTATE_DISCONNECTED | LINECALLSTATE_UNKNOWN)) == 0);

constexpr request_rule kAnswer = {L"Answer call", L"", LINECALLSTATE_OFFERING | LINECALLSTATE_ACCEPTED,
                                  kAcceptCall, L"Call cannot be answered due to current call/line state."};
constexpr request_rule kHold = {L"Hold call", L"", LINECALLSTATE_CONNECTED, kHoldCall,
                                L"Call cannot be put on hold due to current call/line state."};
constexpr request_rule kResume = {L"Resume call", L"", LINECALLSTATE_ONHOLD, kResumeCall,
                                  L"Call cannot be resumed due to current call/line state."};
// The same words as for hold. That is intended.
constexpr request_rule kDrop = {L"Drop call", L"", kLiveStates, kHangupCall,
                                L"Call cannot be put on hold due to current call/line state."};
// Of the active call; the other one has to be on hold.
constexpr request_rule kTransfer = {L"Transfer call", L" -> ", LINECALLSTATE_CONNECTED, kTransferCall,
                                    L"Calls cannot be transferred due to current call/line state."};
constexpr request_rule kForward = {L"Forward call", L" -> number ",
                                   LINECALLSTATE_OFFERING | LINECALLSTATE_ACCEPTED | LINECALLSTATE_CONNECTED,
                                   kForwardCall, L"Call cannot be forwarded due to current call/line state."};
constexpr request_rule kDigits = {L"Generate digits", L" digits ", LINECALLSTATE_CONNECTED, kPlayDtmf,
                                  L"Call cannot dial digits due to current call/line state."};

}  // namespace

bool line_calls::SendIfAllowed(const request_rule& rule, const tapi_call& call, const std::wstring& argument,
                               bool other_allows) {
    const std::wstring id = call.ClientCallId();
    LogLine(line_, rule.title, L", client_call_id: %s%s%s", id.c_str(), rule.label, argument.c_str());
    if ((call.State() & rule.states) == 0 || !other_allows) {
        Log(rule.refusal);
        return false;
    }
    // What becomes of it the softphone's events tell.
    (void)requests_.SendCallRequest(rule.request, line_.PermanentLineId(), ToAnsi(id), ToAnsi(argument));
    return true;
}

void line_calls::AnswerCall(tapi_call& call) {
    const lock_guard events(events_);
    (void)SendIfAllowed(kAnswer, call);
}

void line_calls::HoldCall(tapi_call& call) {
    const lock_guard events(events_);
    (void)SendIfAllowed(kHold, call);
}

void line_calls::ResumeCall(tapi_call& call) {
    const lock_guard events(events_);
    (void)SendIfAllowed(kResume, call);
}

void line_calls::TransferCall(tapi_call& active_call, tapi_call& call_on_hold) {
    const lock_guard events(events_);
    (void)SendIfAllowed(kTransfer, active_call, call_on_hold.ClientCallId(),
                        call_on_hold.State() == LINECALLSTATE_ONHOLD);
}

void line_calls::ForwardCall(tapi_call& call, const std::wstring& destination) {
    const lock_guard events(events_);
    (void)SendIfAllowed(kForward, call, destination);
}

LONG line_calls::GenerateDigits(tapi_call& call, std::uint32_t, const std::wstring& digits) {
    // Without the event lock: digits have no completion that would have to wait for an application that
    // blocks inside a message, and they change nothing.
    return SendIfAllowed(kDigits, call, digits) ? 0 : LINEERR_OPERATIONFAILED;
}

void line_calls::DropCall(tapi_call& call) {
    const lock_guard events(events_);
    if (!SendIfAllowed(kDrop, call)) {
        return;
    }
    // TAPI sees the call end at once; the softphone's own report of it finds the call idle.
    call.SetState(LINECALLSTATE_DISCONNECTED, LINEDISCONNECTMODE_NORMAL, true);
    call.SetState(LINECALLSTATE_IDLE, 0, true);
}

void line_calls::MakeCall(HTAPICALL tapi_call_handle, std::uint32_t country_code, const std::wstring& number,
                          std::uint64_t& driver_call_handle) {
    // From the start: the softphone's first event for the call has to find it in PROCEEDING.
    const lock_guard events(events_);
    LogLine(line_, L"MakeCall", L", tapiCallHandle: 0x%08X, number: %s, country code: %d",
            Low32(tapi_call_handle), number.c_str(), country_code);
    RequireNotClosing();
    const std::wstring client_call_id = NewClientCallId();
    const std::string protocol_id = ToAnsi(client_call_id);
    (void)requests_.SendCallRequest(kPlaceCall, line_.PermanentLineId(), ToAnsi(number), protocol_id);
    scope_exit hang_up(
        [&] { (void)requests_.SendCallRequest(kHangupCall, line_.PermanentLineId(), protocol_id, {}); });
    const call_ptr call = call_manager_.CreateOutboundCall(line_, client_call_id, tapi_call_handle);
    scope_exit forget([&] {
        call_manager_.RemoveCall(*call);
        RemoveCall(client_call_id);
    });
    call->SetStartedByTapi();
    call->SetState(LINECALLSTATE_PROCEEDING, 0, true);
    driver_call_handle = call->DriverCallHandle();
    forget.Dismiss();
    hang_up.Dismiss();
}

void line_calls::Dial(const call_ptr& call, std::uint32_t country_code, const std::wstring& number) {
    const lock_guard events(events_);
    LogLine(line_, L"Dial", L", number: %s, country code: %d", number.c_str(), country_code);
    RequireNotClosing();
    std::wstring client_call_id = NewClientCallId();
    const std::string protocol_id = ToAnsi(client_call_id);
    (void)requests_.SendCallRequest(kPlaceCall, line_.PermanentLineId(), ToAnsi(number), protocol_id);
    scope_exit hang_up(
        [&] { (void)requests_.SendCallRequest(kHangupCall, line_.PermanentLineId(), protocol_id, {}); });
    ChangeCallId(call, std::move(client_call_id));
    // The call does not count as started by TAPI: the timing rule for a softphone's Connected is not for
    // consultation calls. That difference from MakeCall is intended.
    call->SetState(LINECALLSTATE_PROCEEDING, 0, true);
    hang_up.Dismiss();
}

}  // namespace brivelnox
