// The requests by which TAPI opens and closes lines and controls calls. Each checks its arguments, has the
// line manager or the call manager do the work, and reports completion.

#include <string>

#include "calls/line_calls.h"
#include "calls/tapi_call.h"
#include "platform/low32.h"
#include "provider/driver_handles.h"
#include "provider/guarded.h"
#include "provider/telephony_manager.h"

namespace brivelnox {

template <class Work, class After>
LONG telephony_manager::Asynchronous(DRV_REQUESTID request_id, const wchar_t* message, Work&& work,
                                     After&& after) noexcept {
    return Guarded(message, [&]() -> LONG {
        const auto lines = Lines();
        event_lock& events = lines->EventLock();
        const lock_guard guard(events);
        events.RequireOpen();
        if (const LONG error = work(*lines); error != 0) {
            return error;
        }
        ReportCompletion(events, request_id, 0);
        after(*lines);
        return static_cast<LONG>(request_id);
    });
}

template <class Work>
LONG telephony_manager::Asynchronous(DRV_REQUESTID request_id, const wchar_t* message, Work&& work) noexcept {
    return Asynchronous(request_id, message, work, [](line_manager&) {});
}

LONG telephony_manager::ProviderCreateLineDevice(DWORD temporary_id, DWORD device_id) noexcept {
    return Guarded(L"ProviderCreateLineDevice: Caught Exception!", [&]() -> LONG {
        const auto lines = Lines();
        line* const found = lines->FindLineByDeviceId(temporary_id);
        if (found == nullptr) {
            ProviderLog(L"Did not find line by temporary deviceId 0x%08X", temporary_id);
            return LINEERR_OPERATIONFAILED;
        }
        ProviderLog(L"Update temporary deviceId 0x%08X to 0x%08X", temporary_id, device_id);
        lines->UpdateDeviceId(*found, device_id);
        return 0;
    });
}

LONG telephony_manager::LineOpen(const std::shared_ptr<telephony_manager>& manager, DWORD device_id,
                                 HTAPILINE tapi_line_handle, HDRVLINE* driver_line_handle, DWORD version,
                                 LINEEVENT event_procedure) noexcept {
    return Guarded(L"LineOpen: Caught Exception!", [&]() -> LONG {
        // The third value is the address for the handle, whatever its label says. The label is kept.
        ProviderLog(
            L"TSPI_lineOpen deviceId: 0x%08X, tapiLineHandle: 0x%08X, eventProc: 0x%08X, eventProc: 0x%08X",
            device_id, Low32(tapi_line_handle), Low32(driver_line_handle), Low32(event_procedure));
        if (driver_line_handle == nullptr) {
            ProviderLog(L"TSPI_lineOpen called with invalid lphdLine: 0x%08X. %s", 0, L"");
            return LINEERR_INVALPOINTER;
        }
        if (event_procedure == nullptr) {
            ProviderLog(L"TSPI_lineOpen called with invalid lpfnEventProc: 0x%08X. %s", 0, L"");
            return LINEERR_INVALPOINTER;
        }
        if (manager == nullptr) {
            return LINEERR_UNINITIALIZED;
        }
        if (!IsSupportedVersion(version)) {
            return LINEERR_INCOMPATIBLEAPIVERSION;
        }
        // A device that names no line is deliberately no error; the handle is then left as TAPI gave it.
        manager->Lines()->OpenLine(device_id, tapi_line_handle, *driver_line_handle, event_procedure);
        return 0;
    });
}

LONG telephony_manager::LineClose(HDRVLINE line_handle) noexcept {
    return Guarded(L"LineClose: Caught Exception!", [&] {
        Lines()->CloseLine(LineKey(line_handle));
        return 0L;
    });
}

LONG telephony_manager::LineMakeCall(DRV_REQUESTID request_id, HDRVLINE line_handle,
                                     HTAPICALL tapi_call_handle, HDRVCALL* driver_call_handle,
                                     const wchar_t* destination, DWORD country_code) noexcept {
    const auto make = [&](line_manager& lines) -> LONG {
        line* const found = lines.FindLineByDriverLineHandle(LineKey(line_handle));
        if (destination == nullptr) {
            ProviderLog(L"LineMakeCallAsync: Invalid destination address was given.");
            return LINEERR_INVALADDRESS;
        }
        if (found == nullptr) {
            return LINEERR_INVALLINEHANDLE;
        }
        if (!found->ClientConnected()) {
            ProviderLog(L"LineMakeCallAsync: Service unavailable.");
            return LINEERR_OPERATIONUNAVAIL;
        }
        HDRVCALL& handle = Require(driver_call_handle);
        std::uint64_t new_handle = 0;
        found->Calls().MakeCall(tapi_call_handle, country_code, destination, new_handle);
        handle = ToDriverCallHandle(new_handle);
        return 0;
    };
    return Asynchronous(request_id, L"LineMakeCallAsync: Caught Exception!", make);
}

LONG telephony_manager::LineDial(DRV_REQUESTID request_id, HDRVCALL call, const wchar_t* destination,
                                 DWORD country_code) noexcept {
    const auto dial = [&](line_manager& lines) -> LONG {
        const std::shared_ptr<tapi_call> found = lines.Calls().FindCall(CallKey(call));
        if (found == nullptr) {
            ProviderLog(L"LineMakeCallAsync: Line not found for driverCallHandle 0x%08X.", Low32(call));
            return LINEERR_OPERATIONFAILED;
        }
        if (found->State() != LINECALLSTATE_DIALTONE) {
            ProviderLog(L"LineMakeCallAsync: Call is not in state dialtone");
            return LINEERR_DIALDIALTONE;
        }
        if (destination == nullptr) {
            ProviderLog(L"LineMakeCallAsync: Invalid destination address was given.");
            return LINEERR_INVALADDRESS;
        }
        if (found->Line().IsRetired()) {
            ProviderLog(L"LineMakeCallAsync: No line related to call.");
            return LINEERR_INVALADDRESS;
        }
        if (!found->Line().ClientConnected()) {
            return LINEERR_OPERATIONUNAVAIL;
        }
        found->Line().Calls().Dial(found, country_code, destination);
        return 0;
    };
    // The message deliberately names the make-call request.
    return Asynchronous(request_id, L"LineMakeCallAsync: Caught Exception!", dial);
}

LONG telephony_manager::Request(const simple_request& what, DRV_REQUESTID request_id,
                                HDRVCALL call) noexcept {
    return Asynchronous(request_id, what.message, [&](line_manager& lines) {
        (lines.Calls().*what.work)(CallKey(call));
        return 0L;
    });
}

LONG telephony_manager::Forward(const wchar_t* message, DRV_REQUESTID request_id, HDRVCALL call,
                                const wchar_t* destination) noexcept {
    return Asynchronous(request_id, message, [&](line_manager& lines) {
        lines.Calls().ForwardCall(CallKey(call), std::wstring(&Require(destination)));
        return 0L;
    });
}

LONG telephony_manager::LineSetupTransfer(DRV_REQUESTID request_id, HDRVCALL call,
                                          HTAPICALL tapi_consult_call,
                                          HDRVCALL* driver_consult_call) noexcept {
    std::uint64_t consultation_handle = 0;
    const auto prepare = [&](line_manager& lines) {
        HDRVCALL& handle = Require(driver_consult_call);
        lines.Calls().PrepareConsultationCall(CallKey(call), tapi_consult_call, consultation_handle);
        handle = ToDriverCallHandle(consultation_handle);
        return 0L;
    };
    const auto give_dial_tone = [&](line_manager& lines) {
        try {
            if (const auto consultation_call = lines.Calls().FindCall(consultation_handle)) {
                consultation_call->SetState(LINECALLSTATE_DIALTONE, 0, true);
            }
        } catch (...) {
            // The request has been completed; what happens now is deliberately neither told nor logged.
        }
    };
    return Asynchronous(request_id, L"LineSetupTransfer: Caught Exception!", prepare, give_dial_tone);
}

LONG telephony_manager::LineCompleteTransfer(DRV_REQUESTID request_id, HDRVCALL call, HDRVCALL consult_call,
                                             DWORD transfer_mode) noexcept {
    if (transfer_mode == LINETRANSFERMODE_CONFERENCE) {
        return LINEERR_OPERATIONUNAVAIL;
    }
    return Asynchronous(request_id, L"LineCompleteTransfer: Caught Exception!", [&](line_manager& lines) {
        // The consultation call is the active one, the first call the one on hold.
        lines.Calls().TransferCall(CallKey(consult_call), CallKey(call));
        return 0L;
    });
}

LONG telephony_manager::LineCloseCall(HDRVCALL call) noexcept {
    return Guarded(L"LineCloseCall: Caught Exception!", [&] {
        // As everything that changes a call: one that is being announced on another thread has its record
        // then.
        const auto lines = Lines();
        const lock_guard events(lines->EventLock());
        lines->Calls().CloseCall(CallKey(call));
        return 0L;
    });
}

LONG telephony_manager::LineGenerateDigits(HDRVCALL call, DWORD end_to_end_id,
                                           const wchar_t* digits) noexcept {
    // The end-to-end id goes where the call manager expects the digit mode. That is kept; neither is used.
    return Guarded(L"LineGenerateDigits: Caught Exception!", [&] {
        return Lines()->Calls().GenerateDigits(CallKey(call), end_to_end_id, std::wstring(&Require(digits)));
    });
}

}  // namespace brivelnox
