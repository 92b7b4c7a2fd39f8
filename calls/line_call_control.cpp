// The call requests of a line: each checks the call's state and, where the state allows it, sends one request
// to the softphone. Apart from MakeCall, Dial and DropCall none changes the call's state: the softphone's
// next event does.

#include <algorithm>

#include "calls/call_manager.h"
#include "calls/client_call_id.h"
#include "calls/tapi_call.h"
#include "lines/line.h"
#include "logging/category_log.h"
#include "platform/ansi_text.h"
#include "platform/low32.h"
#include "registry_service/call_requests.h"

namespace brivelnox {

namespace {

constexpr category_log Log{L"Line"};

/// The client call id as the service's protocol carries it.
std::string ProtocolId(const tapi_call& call) {
    return ToAnsi(call.ClientCallId());
}

bool IsInState(const tapi_call& call, std::initializer_list<std::uint32_t> states) {
    return std::find(states.begin(), states.end(), call.State()) != states.end();
}

}  // namespace

void line::AnswerCall(tapi_call& call) {
    const lock_guard guard(lock_);
    Log(L"Answer call %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X, client_call_id: %s", name_.c_str(),
        Low32(TapiLineHandle()), DeviceId(), call.ClientCallId().c_str());
    if (!IsInState(call, {LINECALLSTATE_OFFERING, LINECALLSTATE_ACCEPTED})) {
        Log(L"Call cannot be answered due to current call/line state.");
        return;
    }
    requests_.AcceptCall(permanent_line_id_, ProtocolId(call));
}

void line::HoldCall(tapi_call& call) {
    const lock_guard guard(lock_);
    Log(L"Hold call %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X, client_call_id: %s", name_.c_str(),
        Low32(TapiLineHandle()), DeviceId(), call.ClientCallId().c_str());
    if (!IsInState(call, {LINECALLSTATE_CONNECTED})) {
        Log(L"Call cannot be put on hold due to current call/line state.");
        return;
    }
    requests_.HoldCall(permanent_line_id_, ProtocolId(call));
}

void line::ResumeCall(tapi_call& call) {
    const lock_guard guard(lock_);
    Log(L"Resume call %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X, client_call_id: %s", name_.c_str(),
        Low32(TapiLineHandle()), DeviceId(), call.ClientCallId().c_str());
    if (!IsInState(call, {LINECALLSTATE_ONHOLD})) {
        Log(L"Call cannot be resumed due to current call/line state.");
        return;
    }
    requests_.ResumeCall(permanent_line_id_, ProtocolId(call));
}

void line::TransferCall(tapi_call& active_call, tapi_call& call_on_hold) {
    const lock_guard guard(lock_);
    Log(L"Transfer call %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X, client_call_id: %s -> %s",
        name_.c_str(), Low32(TapiLineHandle()), DeviceId(), active_call.ClientCallId().c_str(),
        call_on_hold.ClientCallId().c_str());
    if (!IsInState(active_call, {LINECALLSTATE_CONNECTED}) ||
        !IsInState(call_on_hold, {LINECALLSTATE_ONHOLD})) {
        Log(L"Calls cannot be transferred due to current call/line state.");
        return;
    }
    (void)requests_.TransferCall(permanent_line_id_, ProtocolId(active_call), ProtocolId(call_on_hold));
}

void line::ForwardCall(tapi_call& call, const std::wstring& destination) {
    const lock_guard guard(lock_);
    Log(L"Forward call %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X, client_call_id: %s -> number %s",
        name_.c_str(), Low32(TapiLineHandle()), DeviceId(), call.ClientCallId().c_str(), destination.c_str());
    if (!IsInState(call, {LINECALLSTATE_OFFERING, LINECALLSTATE_ACCEPTED, LINECALLSTATE_CONNECTED})) {
        Log(L"Call cannot be forwarded due to current call/line state.");
        return;
    }
    requests_.ForwardCall(permanent_line_id_, ProtocolId(call), ToAnsi(destination));
}

LONG line::GenerateDigits(tapi_call& call, std::uint32_t, const std::wstring& digits) {
    const lock_guard guard(lock_);
    Log(L"Generate digits %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X, client_call_id: %s digits %s",
        name_.c_str(), Low32(TapiLineHandle()), DeviceId(), call.ClientCallId().c_str(), digits.c_str());
    if (!IsInState(call, {LINECALLSTATE_CONNECTED})) {
        Log(L"Call cannot dial digits due to current call/line state.");
        return LINEERR_OPERATIONFAILED;
    }
    requests_.PlayDtmf(permanent_line_id_, ProtocolId(call), ToAnsi(digits));
    return 0;
}

void line::DropCall(tapi_call& call) {
    const lock_pair_guard guard(lock_, events_);
    Log(L"Drop call %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X, client_call_id: %s", name_.c_str(),
        Low32(TapiLineHandle()), DeviceId(), call.ClientCallId().c_str());
    const std::uint32_t state = call.State();
    if (state < LINECALLSTATE_OFFERING || state >= LINECALLSTATE_DISCONNECTED) {
        // The same words as for hold. That is intended.
        Log(L"Call cannot be put on hold due to current call/line state.");
        return;
    }
    (void)requests_.HangupCall(permanent_line_id_, ProtocolId(call));
    // TAPI sees the call end at once; the softphone's own report of it finds the call idle.
    call.SetState(LINECALLSTATE_DISCONNECTED, LINEDISCONNECTMODE_NORMAL, true);
    call.SetState(LINECALLSTATE_IDLE, 0, true);
}

void line::MakeCall(HTAPICALL tapi_call_handle, std::uint32_t country_code, const std::wstring& number,
                    std::uint64_t& driver_call_handle) {
    // Both locks from the start: the softphone's first event for the call has to find it in PROCEEDING.
    const lock_pair_guard guard(lock_, events_);
    Log(L"MakeCall %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X, tapiCallHandle: 0x%08X, number: %s, country code: %d",
        name_.c_str(), Low32(TapiLineHandle()), DeviceId(), Low32(tapi_call_handle), number.c_str(),
        country_code);
    RequireNotClosing();
    const std::wstring client_call_id = NewClientCallId();
    requests_.PlaceCall(permanent_line_id_, ToAnsi(number), ToAnsi(client_call_id));
    const auto call = call_manager_.CreateOutboundCall(*this, client_call_id, tapi_call_handle);
    call->SetStartedByTapi();
    call->SetState(LINECALLSTATE_PROCEEDING, 0, true);
    driver_call_handle = call->DriverCallHandle();
}

void line::Dial(const std::shared_ptr<tapi_call>& call, std::uint32_t country_code,
                const std::wstring& number) {
    const lock_pair_guard guard(lock_, events_);
    Log(L"Dial %s, tapiLineHandle: 0x%08X, deviceId: 0x%08X, number: %s, country code: %d", name_.c_str(),
        Low32(TapiLineHandle()), DeviceId(), number.c_str(), country_code);
    std::wstring client_call_id = NewClientCallId();
    requests_.PlaceCall(permanent_line_id_, ToAnsi(number), ToAnsi(client_call_id));
    RemoveCall(*call);
    call->ChangeClientCallId(std::move(client_call_id));
    AddCall(call);
    // The call does not count as started by TAPI: the timing rule for a softphone's Connected is not for
    // consultation calls. That difference from MakeCall is intended.
    call->SetState(LINECALLSTATE_PROCEEDING, 0, true);
}

bool line::DialFromDialTone(const std::shared_ptr<tapi_call>& call, std::uint32_t country_code,
                            const std::wstring& number) {
    const lock_pair_guard guard(lock_, events_);
    events_.RequireOpen();
    if (!IsInState(*call, {LINECALLSTATE_DIALTONE})) {
        return false;
    }
    Dial(call, country_code, number);
    return true;
}

}  // namespace brivelnox
