#include "calls/call_manager.h"

#include <utility>

#include "calls/client_call_id.h"
#include "lines/line.h"
#include "logging/category_log.h"
#include "platform/low32.h"

namespace brivelnox {

namespace {

constexpr category_log Log{L"CallManager"};

}  // namespace

std::shared_ptr<tapi_call> call_manager::GetNewTapiCallHandle(line& owning_line,
                                                              const client_call_state& state,
                                                              std::uint32_t call_origin) {
    const std::uint64_t driver_call_handle = NextDriverCallHandle();
    HTAPICALL tapi_call_handle = nullptr;
    owning_line.SendEvent(nullptr, LINE_NEWCALL, static_cast<DWORD_PTR>(driver_call_handle),
                          reinterpret_cast<DWORD_PTR>(&tapi_call_handle), 0);
    if (tapi_call_handle == nullptr) {
        Log(L"GetNewTapiCallHandle: Line not open");
    }
    return CreateCall(driver_call_handle, state.clientCallId, call_origin, tapi_call_handle, owning_line);
}

std::shared_ptr<tapi_call> call_manager::CreateOutboundCall(line& owning_line,
                                                            const std::wstring& client_call_id,
                                                            HTAPICALL tapi_call_handle) {
    return CreateCall(NextDriverCallHandle(), client_call_id, LINECALLORIGIN_OUTBOUND, tapi_call_handle,
                      owning_line);
}

std::shared_ptr<tapi_call> call_manager::CreateCall(std::uint64_t driver_call_handle,
                                                    const std::wstring& client_call_id,
                                                    std::uint32_t call_origin, HTAPICALL tapi_call_handle,
                                                    line& owning_line) {
    auto call = std::make_shared<tapi_call>(driver_call_handle, tapi_call_handle, call_origin, client_call_id,
                                            owning_line, Now());
    {
        const lock_guard guard(lock_);
        calls_[driver_call_handle] = call;
    }
    owning_line.AddCall(call);
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

call_manager::line_of_call call_manager::FindWithLine(std::uint64_t driver_call_handle) const {
    auto call = FindCall(driver_call_handle);
    line* const owning_line = call != nullptr ? call->Line() : nullptr;
    return {std::move(call), owning_line};
}

void call_manager::AnswerCall(std::uint64_t handle) {
    Log(L"AnswerCall: LineAnswer (driverCallHandle: 0x%08X)", Low32(handle));
    if (const line_of_call found = FindWithLine(handle)) {
        found.owning_line->AnswerCall(*found.call);
    }
}

void call_manager::HoldCall(std::uint64_t handle) {
    Log(L"HoldCall: LineHold (driverCallHandle: 0x%08X)", Low32(handle));
    if (const line_of_call found = FindWithLine(handle)) {
        found.owning_line->HoldCall(*found.call);
    }
}

void call_manager::ResumeCall(std::uint64_t handle) {
    Log(L"ResumeCall: LineUnHold (driverCallHandle: 0x%08X)", Low32(handle));
    if (const line_of_call found = FindWithLine(handle)) {
        found.owning_line->ResumeCall(*found.call);
    }
}

void call_manager::TransferCall(std::uint64_t handle, std::uint64_t handle_on_hold) {
    Log(L"TransferCall: LineCompleteTransfer (driverCallHandle: 0x%08X, driverCallHandleOnHold: 0x%08X)",
        Low32(handle), Low32(handle_on_hold));
    const line_of_call active = FindWithLine(handle);
    const auto call_on_hold = FindCall(handle_on_hold);
    if (active && call_on_hold != nullptr) {
        active.owning_line->TransferCall(*active.call, *call_on_hold);
    }
}

void call_manager::ForwardCall(std::uint64_t handle, const std::wstring& destination) {
    Log(L"ForwardCall: LineBlindTransfer / LineRedirect (driverCallHandle: 0x%08X, destination: %s)",
        Low32(handle), destination.c_str());
    if (const line_of_call found = FindWithLine(handle)) {
        found.owning_line->ForwardCall(*found.call, destination);
    }
}

LONG call_manager::GenerateDigits(std::uint64_t handle, std::uint32_t digit_mode,
                                  const std::wstring& digits) {
    Log(L"GenerateDigits: LineGenerateDigits (driverCallHandle: 0x%08X, digits: %s)", Low32(handle),
        digits.c_str());
    const line_of_call found = FindWithLine(handle);
    if (!found) {
        return LINEERR_OPERATIONFAILED;
    }
    return found.owning_line->GenerateDigits(*found.call, digit_mode, digits);
}

void call_manager::DropCall(std::uint64_t handle) {
    Log(L"DropCall: LineDropCallAsync (driverCallHandle: 0x%08X)", Low32(handle));
    if (const line_of_call found = FindWithLine(handle)) {
        found.owning_line->DropCall(*found.call);
    }
}

void call_manager::CloseCall(std::uint64_t handle) {
    Log(L"CloseCall: LineCloseCall (driverCallHandle: 0x%08X)", Low32(handle));
    const auto call = FindCall(handle);
    if (call == nullptr) {
        return;
    }
    call->SetState(LINECALLSTATE_IDLE, 0, false);
    if (!RemoveCall(*call)) {
        // Another thread has closed it meanwhile. The softphone may have the id again, for the line's next
        // call.
        return;
    }
    if (line* const owning_line = call->Line()) {
        owning_line->RemoveCall(*call);
    }
}

void call_manager::PrepareConsultationCall(std::uint64_t handle, HTAPICALL consultation_call,
                                           std::uint64_t& consultation_handle) {
    Log(L"PrepareConsultationCall: LineSetupTransfer (driverCallHandle: 0x%08X)", Low32(handle));
    const line_of_call found = FindWithLine(handle);
    if (!found) {
        consultation_handle = 0;
        return;
    }
    found.owning_line->RequireNotClosing();
    consultation_handle =
        CreateOutboundCall(*found.owning_line, NewClientCallId(), consultation_call)->DriverCallHandle();
}

}  // namespace brivelnox
