// The applications' requests, as the telephony service passes them on.

#include <functional>
#include <mutex>
#include <optional>

#include "tools/telephony_host/telephony_host.h"

namespace brivelnox::host {

request_result telephony_host::Request(const char* name, const std::function<LONG(DRV_REQUESTID)>& invoke) {
    request_result result;
    {
        const std::lock_guard lock(mutex_);
        result.request_id = next_request_++;
    }
    checker_.RequestIssued(result.request_id, name);
    result.returned = invoke(result.request_id);
    (void)checker_.RequestReturned(result.request_id, result.returned);
    return result;
}

request_result telephony_host::RequestNewCall(
    const char* name, HTAPILINE line,
    const std::function<LONG(DRV_REQUESTID, HTAPICALL, LPHDRVCALL)>& invoke) {
    const HTAPICALL call = AnnounceCall(line, false);
    HDRVCALL driver = nullptr;
    request_result result = Request(name, [&](DRV_REQUESTID id) { return invoke(id, call, &driver); });
    // A consultation for a call that the provider does not know is accepted, and brings no call.
    if (!result.Accepted() || driver == nullptr) {
        checker_.CallWithdrawn(call);
        const std::lock_guard lock(mutex_);
        calls_.erase(call);
        return result;
    }
    NumberCall(call, driver);
    result.call = call;
    return result;
}

request_result telephony_host::MakeCall(HTAPILINE line, const wchar_t* number, DWORD country_code) {
    const HDRVLINE driver_line = Driver(line);
    return RequestNewCall("MakeCall", line, [&](DRV_REQUESTID id, HTAPICALL call, LPHDRVCALL driver) {
        return module_.TSPI_lineMakeCall(id, driver_line, call, driver, number, country_code, nullptr);
    });
}

request_result telephony_host::SetupTransfer(HTAPICALL call) {
    const HDRVCALL first = Driver(call);
    return RequestNewCall("SetupTransfer", LineOf(call),
                          [&](DRV_REQUESTID id, HTAPICALL consultation, LPHDRVCALL driver) {
                              return module_.TSPI_lineSetupTransfer(id, first, consultation, driver, nullptr);
                          });
}

request_result telephony_host::Dial(HTAPICALL call, const wchar_t* number, DWORD country_code) {
    return Request("Dial", [&](DRV_REQUESTID id) {
        return module_.TSPI_lineDial(id, Driver(call), number, country_code);
    });
}

request_result telephony_host::Answer(HTAPICALL call) {
    return Request("Answer",
                   [&](DRV_REQUESTID id) { return module_.TSPI_lineAnswer(id, Driver(call), nullptr, 0); });
}

request_result telephony_host::Hold(HTAPICALL call) {
    return Request("Hold", [&](DRV_REQUESTID id) { return module_.TSPI_lineHold(id, Driver(call)); });
}

request_result telephony_host::Unhold(HTAPICALL call) {
    return Request("Unhold", [&](DRV_REQUESTID id) { return module_.TSPI_lineUnhold(id, Driver(call)); });
}

request_result telephony_host::SwapHold(HTAPICALL active, HTAPICALL held) {
    return Request("SwapHold", [&](DRV_REQUESTID id) {
        return module_.TSPI_lineSwapHold(id, Driver(active), Driver(held));
    });
}

request_result telephony_host::CompleteTransfer(HTAPICALL call, HTAPICALL consultation, DWORD mode) {
    return Request("CompleteTransfer", [&](DRV_REQUESTID id) {
        HDRVCALL conference = nullptr;
        return module_.TSPI_lineCompleteTransfer(id, Driver(call), Driver(consultation), nullptr, &conference,
                                                 mode);
    });
}

request_result telephony_host::BlindTransfer(HTAPICALL call, const wchar_t* number, DWORD country_code) {
    return Request("BlindTransfer", [&](DRV_REQUESTID id) {
        return module_.TSPI_lineBlindTransfer(id, Driver(call), number, country_code);
    });
}

request_result telephony_host::Redirect(HTAPICALL call, const wchar_t* number, DWORD country_code) {
    return Request("Redirect", [&](DRV_REQUESTID id) {
        return module_.TSPI_lineRedirect(id, Driver(call), number, country_code);
    });
}

request_result telephony_host::Drop(HTAPICALL call) {
    return Request("Drop",
                   [&](DRV_REQUESTID id) { return module_.TSPI_lineDrop(id, Driver(call), nullptr, 0); });
}

std::optional<LONG> telephony_host::WaitForCompletion(DRV_REQUESTID id, milliseconds timeout) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, timeout, [&] { return completions_.contains(id); })) {
        return std::nullopt;
    }
    return completions_[id];
}

LONG telephony_host::CloseCall(HTAPICALL call) {
    checker_.CallClosing(call);
    const LONG returned = module_.TSPI_lineCloseCall(Driver(call));
    checker_.CallClosed(call);
    const std::lock_guard lock(mutex_);
    calls_.erase(call);
    return returned;
}

LONG telephony_host::GenerateDigits(HTAPICALL call, const wchar_t* digits, DWORD end_to_end_id) {
    return module_.TSPI_lineGenerateDigits(Driver(call), end_to_end_id, LINEDIGITMODE_DTMF, digits, 0);
}

}  // namespace brivelnox::host
