#include "calls/call_manager.h"

#include <utility>

#include "calls/client_call_id.h"
#include "calls/line_calls.h"
#include "logging/category_log.h"
#include "platform/low32.h"
#include "platform/scope_exit.h"

namespace brivelnox {

namespace {

constexpr category_log Log{L"CallManager"};

constexpr std::uint64_t kFileTimeUnitsPerMillisecond = 10000;

}  // namespace

std::int64_t call_manager::SystemUtcTime() {
    SYSTEMTIME now = {};
    GetSystemTime(&now);
    FILETIME units = {};
    (void)SystemTimeToFileTime(&now, &units);
    const std::uint64_t count = (std::uint64_t{units.dwHighDateTime} << 32) | units.dwLowDateTime;
    return static_cast<std::int64_t>(count / kFileTimeUnitsPerMillisecond);
}

std::shared_ptr<tapi_call> call_manager::GetNewTapiCallHandle(call_line& line, const client_call_state& state,
                                                              std::uint32_t call_origin) {
    const std::uint64_t driver_call_handle = NextDriverCallHandle();
    HTAPICALL tapi_call_handle = nullptr;
    announced_call_.store(driver_call_handle);
    line.SendEvent(nullptr, LINE_NEWCALL, static_cast<DWORD_PTR>(driver_call_handle),
                   reinterpret_cast<DWORD_PTR>(&tapi_call_handle), 0);
    if (announced_call_.exchange(0) != driver_call_handle) {
        return nullptr;
    }
    if (tapi_call_handle == nullptr) {
        Log(L"GetNewTapiCallHandle: Line not open");
    }
    scope_exit end([&] {
        if (tapi_call_handle != nullptr) {
            line.SendEvent(tapi_call_handle, LINE_CALLSTATE, LINECALLSTATE_IDLE, 0,
                           LINEMEDIAMODE_INTERACTIVEVOICE);
        }
    });
    call_ptr call = CreateCall(driver_call_handle, state.clientCallId, call_origin, tapi_call_handle, line);
    end.Dismiss();
    return call;
}

std::shared_ptr<tapi_call> call_manager::CreateOutboundCall(call_line& line,
                                                            const std::wstring& client_call_id,
                                                            HTAPICALL tapi_call_handle) {
    return CreateCall(NextDriverCallHandle(), client_call_id, LINECALLORIGIN_OUTBOUND, tapi_call_handle,
                      line);
}

std::shared_ptr<tapi_call> call_manager::CreateCall(std::uint64_t driver_call_handle,
                                                    const std::wstring& client_call_id,
                                                    std::uint32_t call_origin, HTAPICALL tapi_call_handle,
                                                    call_line& line) {
    auto call = std::make_shared<tapi_call>(driver_call_handle, tapi_call_handle, call_origin, client_call_id,
                                            line, Now());
    {
        const lock_guard guard(lock_);
        calls_[driver_call_handle] = call;
    }
    // In both indexes or in none.
    scope_exit remove([&] { RemoveCall(*call); });
    line.Calls().AddCall(call);
    remove.Dismiss();
    return call;
}

std::shared_ptr<tapi_call> call_manager::FindCall(std::uint64_t driver_call_handle) const {
    const lock_guard guard(lock_);
    const auto found = calls_.find(driver_call_handle);
    return found != calls_.end() ? found->second : nullptr;
}

bool call_manager::RemoveCall(const tapi_call& call) {
    const lock_guard guard(lock_);
    return calls_.erase(call.DriverCallHandle()) != 0;
}

/// The call that a request can work on: one whose line no shutdown has closed for good.
call_manager::call_ptr call_manager::FindUsableCall(std::uint64_t driver_call_handle) const {
    call_ptr call = FindCall(driver_call_handle);
    return call != nullptr && !call->Line().IsRetired() ? std::move(call) : nullptr;
}

void call_manager::Request(log_format<std::uint32_t> text, std::uint64_t handle,
                           simple_request request) const {
    Log(text, Low32(handle));
    if (const call_ptr call = FindUsableCall(handle)) {
        (call->Line().Calls().*request)(*call);
    }
}

void call_manager::AnswerCall(std::uint64_t handle) {
    Request(L"AnswerCall: LineAnswer (driverCallHandle: 0x%08X)", handle, &line_calls::AnswerCall);
}

void call_manager::HoldCall(std::uint64_t handle) {
    Request(L"HoldCall: LineHold (driverCallHandle: 0x%08X)", handle, &line_calls::HoldCall);
}

void call_manager::ResumeCall(std::uint64_t handle) {
    Request(L"ResumeCall: LineUnHold (driverCallHandle: 0x%08X)", handle, &line_calls::ResumeCall);
}

void call_manager::DropCall(std::uint64_t handle) {
    Request(L"DropCall: LineDropCallAsync (driverCallHandle: 0x%08X)", handle, &line_calls::DropCall);
}

void call_manager::TransferCall(std::uint64_t handle, std::uint64_t handle_on_hold) {
    Log(L"TransferCall: LineCompleteTransfer (driverCallHandle: 0x%08X, driverCallHandleOnHold: 0x%08X)",
        Low32(handle), Low32(handle_on_hold));
    const call_ptr active_call = FindUsableCall(handle);
    const call_ptr call_on_hold = FindCall(handle_on_hold);
    if (active_call != nullptr && call_on_hold != nullptr) {
        active_call->Line().Calls().TransferCall(*active_call, *call_on_hold);
    }
}

void call_manager::ForwardCall(std::uint64_t handle, const std::wstring& destination) {
    Log(L"ForwardCall: LineBlindTransfer / LineRedirect (driverCallHandle: 0x%08X, destination: %s)",
        Low32(handle), destination.c_str());
    if (const call_ptr call = FindUsableCall(handle)) {
        call->Line().Calls().ForwardCall(*call, destination);
    }
}

LONG call_manager::GenerateDigits(std::uint64_t handle, std::uint32_t digit_mode,
                                  const std::wstring& digits) {
    Log(L"GenerateDigits: LineGenerateDigits (driverCallHandle: 0x%08X, digits: %s)", Low32(handle),
        digits.c_str());
    const call_ptr call = FindUsableCall(handle);
    return call != nullptr ? call->Line().Calls().GenerateDigits(*call, digit_mode, digits)
                           : LINEERR_OPERATIONFAILED;
}

void call_manager::CloseCall(std::uint64_t handle) {
    Log(L"CloseCall: LineCloseCall (driverCallHandle: 0x%08X)", Low32(handle));
    const call_ptr call = FindCall(handle);
    if (call == nullptr) {
        // It may be the one that is just being announced, and has no record yet.
        (void)announced_call_.compare_exchange_strong(handle, 0);
        return;
    }
    call->SetState(LINECALLSTATE_IDLE, 0, false);
    if (!RemoveCall(*call)) {
        // Another thread has closed it meanwhile. The softphone may have the id again, for the line's next
        // call.
        return;
    }
    if (!call->Line().IsRetired()) {
        call->Line().Calls().RemoveCall(call->ClientCallId());
    }
}

void call_manager::PrepareConsultationCall(std::uint64_t handle, HTAPICALL consultation_call,
                                           std::uint64_t& consultation_handle) {
    Log(L"PrepareConsultationCall: LineSetupTransfer (driverCallHandle: 0x%08X)", Low32(handle));
    consultation_handle = 0;
    if (const call_ptr call = FindUsableCall(handle)) {
        call->Line().Calls().RequireNotClosing();
        consultation_handle =
            CreateOutboundCall(call->Line(), NewClientCallId(), consultation_call)->DriverCallHandle();
    }
}

}  // namespace brivelnox
