// The boundary to TAPI: every exported function guards and forwards, the thinking is elsewhere. Which name
// leads to which function is in exports.def; the many names without a body of their own lead to the two
// functions at the end. They take no notice of their arguments, which on x64 the caller removes whatever
// their number.

#include <windows.h>
#include <tspi.h>

#include <cstring>
#include <cwchar>

#include "platform/low32.h"
#include "provider/guarded.h"
#include "provider/module_handle.h"
#include "provider/provider_lifecycle.h"
#include "provider/version_box.h"

#ifndef _WIN64
#error \
    "The exports share functions between different argument lists, which only the x64 calling convention allows."
#endif

namespace {

using brivelnox::Guarded;
using brivelnox::provider_lifecycle;
using brivelnox::ProviderLog;
using brivelnox::Require;
using brivelnox::telephony_manager;

constexpr DWORD kOfferedVersion = 0x00020002;
// The room that TAPI has for the name of the UI DLL, in characters.
constexpr DWORD kUiDllNameCharacters = 130;

/// Has the telephony manager do it, which guards itself, or tells TAPI that there is none.
template <class... Parameters, class... Arguments>
LONG WithManager(LONG (telephony_manager::*body)(Parameters...) noexcept, Arguments... arguments) noexcept {
    const auto manager = provider_lifecycle::Process().Manager();
    return manager != nullptr ? (*manager.*body)(arguments...) : LINEERR_UNINITIALIZED;
}

/// Lines and phones negotiate alike, for every device and for none.
LONG NegotiateVersion(DWORD low_version, DWORD high_version, DWORD* version, LONG failure) noexcept {
    if (low_version > kOfferedVersion || high_version < kOfferedVersion) {
        ProviderLog(L"Incompatible TAPI version");
        return failure;
    }
    return Guarded(nullptr, [&] {
        Require(version) = kOfferedVersion;
        return 0L;
    });
}

}  // namespace

extern "C" {

// The provider.

LONG TSPIAPI TSPI_providerEnumDevices(DWORD, LPDWORD lpdwNumLines, LPDWORD lpdwNumPhones, HPROVIDER hProvider,
                                      LINEEVENT lpfnLineCreateProc, PHONEEVENT) {
    return provider_lifecycle::Process().EnumDevices(lpdwNumLines, lpdwNumPhones, hProvider,
                                                     lpfnLineCreateProc);
}

LONG TSPIAPI TSPI_providerInit(DWORD dwTSPIVersion, DWORD, DWORD dwLineDeviceIDBase, DWORD, DWORD_PTR,
                               DWORD_PTR, ASYNC_COMPLETION lpfnCompletionProc, LPDWORD) {
    return provider_lifecycle::Process().Init(dwTSPIVersion, dwLineDeviceIDBase, lpfnCompletionProc);
}

LONG TSPIAPI TSPI_providerShutdown(DWORD dwTSPIVersion, DWORD) {
    return provider_lifecycle::Process().Shutdown(dwTSPIVersion);
}

LONG TSPIAPI TSPI_providerCreateLineDevice(DWORD_PTR dwTempID, DWORD dwDeviceID) {
    return WithManager(&telephony_manager::ProviderCreateLineDevice, static_cast<DWORD>(dwTempID),
                       dwDeviceID);
}

LONG TSPIAPI TSPI_providerUIIdentify(LPWSTR lpszUIDLLName) {
    wchar_t path[kUiDllNameCharacters] = {};
    const DWORD length = GetModuleFileNameW(brivelnox::module_handle.load(), path, kUiDllNameCharacters);
    if (length == 0 || length > kUiDllNameCharacters) {
        ProviderLog(L"Error getting path for UI DLL");
        return LINEERR_NOMEM;
    }
    // A length of just the buffer's size is a path that was cut.
    if (length == kUiDllNameCharacters || lpszUIDLLName == nullptr) {
        return LINEERR_OPERATIONFAILED;
    }
    return wcscpy_s(lpszUIDLLName, kUiDllNameCharacters, path) == 0 ? 0 : LINEERR_OPERATIONFAILED;
}

LONG TSPIAPI TSPI_providerConfig(HWND hwndOwner, DWORD) {
    brivelnox::ShowVersionBox(hwndOwner);
    return 0;
}

LONG TSPIAPI TSPI_lineNegotiateTSPIVersion(DWORD, DWORD dwLowVersion, DWORD dwHighVersion,
                                           LPDWORD lpdwTSPIVersion) {
    ProviderLog(L"TSPI_lineNegotiateTSPIVersion");
    return NegotiateVersion(dwLowVersion, dwHighVersion, lpdwTSPIVersion, LINEERR_INCOMPATIBLEAPIVERSION);
}

LONG TSPIAPI TSPI_phoneNegotiateTSPIVersion(DWORD, DWORD dwLowVersion, DWORD dwHighVersion,
                                            LPDWORD lpdwTSPIVersion) {
    ProviderLog(L"TSPI_phoneNegotiateTSPIVersion");
    return NegotiateVersion(dwLowVersion, dwHighVersion, lpdwTSPIVersion, PHONEERR_INCOMPATIBLEAPIVERSION);
}

LONG TSPIAPI TSPI_lineNegotiateExtVersion(DWORD, DWORD, DWORD, DWORD, LPDWORD) {
    // There are no extensions, and deliberately no version is written.
    ProviderLog(L"TSPI_lineNegotiateExtVersion");
    return 0;
}

// The user interface.

LONG TSPIAPI TUISPI_providerConfig(TUISPIDLLCALLBACK, HWND hwndOwner, DWORD) {
    brivelnox::ShowVersionBox(hwndOwner);
    return 0;
}

/// All configuration dialogs: their third argument is the owner window. Nothing is configured.
LONG TSPIAPI ShowConfigDialog(TUISPIDLLCALLBACK, DWORD, HWND hwndOwner) {
    brivelnox::ShowVersionBox(hwndOwner);
    return 0;
}

// Line and call requests.

LONG TSPIAPI TSPI_lineOpen(DWORD dwDeviceID, HTAPILINE htLine, LPHDRVLINE lphdLine, DWORD dwTSPIVersion,
                           LINEEVENT lpfnEventProc) {
    return telephony_manager::LineOpen(provider_lifecycle::Process().Manager(), dwDeviceID, htLine, lphdLine,
                                       dwTSPIVersion, lpfnEventProc);
}

LONG TSPIAPI TSPI_lineClose(HDRVLINE hdLine) {
    ProviderLog(L"TSPI_lineClose driverLineHandle: 0x%08X", brivelnox::Low32(hdLine));
    return WithManager(&telephony_manager::LineClose, hdLine);
}

LONG TSPIAPI TSPI_lineMakeCall(DRV_REQUESTID dwRequestID, HDRVLINE hdLine, HTAPICALL htCall,
                               LPHDRVCALL lphdCall, LPCWSTR lpszDestAddress, DWORD dwCountryCode,
                               LPLINECALLPARAMS const) {
    ProviderLog(
        L"TSPI_lineMakeCall driverLineHandle: 0x%08X, tapiCallHandle: 0x%08X, number: %s, country code: %d",
        brivelnox::Low32(hdLine), brivelnox::Low32(htCall), lpszDestAddress, dwCountryCode);
    return WithManager(&telephony_manager::LineMakeCall, dwRequestID, hdLine, htCall, lphdCall,
                       lpszDestAddress, dwCountryCode);
}

LONG TSPIAPI TSPI_lineDial(DRV_REQUESTID dwRequestID, HDRVCALL hdCall, LPCWSTR lpszDestAddress,
                           DWORD dwCountryCode) {
    return WithManager(&telephony_manager::LineDial, dwRequestID, hdCall, lpszDestAddress, dwCountryCode);
}

LONG TSPIAPI TSPI_lineAnswer(DRV_REQUESTID dwRequestID, HDRVCALL hdCall, LPCSTR, DWORD) {
    return WithManager(&telephony_manager::Request, brivelnox::kAnswer, dwRequestID, hdCall);
}

LONG TSPIAPI TSPI_lineHold(DRV_REQUESTID dwRequestID, HDRVCALL hdCall) {
    return WithManager(&telephony_manager::Request, brivelnox::kHold, dwRequestID, hdCall);
}

LONG TSPIAPI TSPI_lineUnhold(DRV_REQUESTID dwRequestID, HDRVCALL hdCall) {
    return WithManager(&telephony_manager::Request, brivelnox::kUnhold, dwRequestID, hdCall);
}

LONG TSPIAPI TSPI_lineSwapHold(DRV_REQUESTID dwRequestID, HDRVCALL, HDRVCALL hdHeldCall) {
    // The softphone itself puts its active call on hold when it resumes another one.
    return WithManager(&telephony_manager::Request, brivelnox::kUnhold, dwRequestID, hdHeldCall);
}

LONG TSPIAPI TSPI_lineBlindTransfer(DRV_REQUESTID dwRequestID, HDRVCALL hdCall, LPCWSTR lpszDestAddress,
                                    DWORD) {
    return WithManager(&telephony_manager::Forward, L"LineBlindTransfer: Caught Exception!", dwRequestID,
                       hdCall, lpszDestAddress);
}

LONG TSPIAPI TSPI_lineRedirect(DRV_REQUESTID dwRequestID, HDRVCALL hdCall, LPCWSTR lpszDestAddress, DWORD) {
    return WithManager(&telephony_manager::Forward, L"LineRedirect: Caught Exception!", dwRequestID, hdCall,
                       lpszDestAddress);
}

LONG TSPIAPI TSPI_lineSetupTransfer(DRV_REQUESTID dwRequestID, HDRVCALL hdCall, HTAPICALL htConsultCall,
                                    LPHDRVCALL lphdConsultCall, LPLINECALLPARAMS const) {
    return WithManager(&telephony_manager::LineSetupTransfer, dwRequestID, hdCall, htConsultCall,
                       lphdConsultCall);
}

LONG TSPIAPI TSPI_lineCompleteTransfer(DRV_REQUESTID dwRequestID, HDRVCALL hdCall, HDRVCALL hdConsultCall,
                                       HTAPICALL, LPHDRVCALL, DWORD dwTransferMode) {
    return WithManager(&telephony_manager::LineCompleteTransfer, dwRequestID, hdCall, hdConsultCall,
                       dwTransferMode);
}

LONG TSPIAPI TSPI_lineDrop(DRV_REQUESTID dwRequestID, HDRVCALL hdCall, LPCSTR, DWORD) {
    return WithManager(&telephony_manager::Request, brivelnox::kDrop, dwRequestID, hdCall);
}

LONG TSPIAPI TSPI_lineCloseCall(HDRVCALL hdCall) {
    return WithManager(&telephony_manager::LineCloseCall, hdCall);
}

LONG TSPIAPI TSPI_lineGenerateDigits(HDRVCALL hdCall, DWORD dwEndToEndID, DWORD, LPCWSTR lpszDigits, DWORD) {
    return WithManager(&telephony_manager::LineGenerateDigits, hdCall, dwEndToEndID, lpszDigits);
}

LONG TSPIAPI TSPI_lineSetDefaultMediaDetection(HDRVLINE, DWORD) {
    return provider_lifecycle::Process().Manager() != nullptr ? 0 : LINEERR_UNINITIALIZED;
}

// Line, address and call information.

LONG TSPIAPI TSPI_lineGetDevCaps(DWORD dwDeviceID, DWORD dwTSPIVersion, DWORD, LPLINEDEVCAPS lpLineDevCaps) {
    return WithManager(&telephony_manager::LineGetDevCaps, dwDeviceID, dwTSPIVersion, lpLineDevCaps);
}

LONG TSPIAPI TSPI_lineGetAddressCaps(DWORD dwDeviceID, DWORD dwAddressID, DWORD dwTSPIVersion, DWORD,
                                     LPLINEADDRESSCAPS lpAddressCaps) {
    return WithManager(&telephony_manager::LineGetAddressCaps, dwDeviceID, dwAddressID, dwTSPIVersion,
                       lpAddressCaps);
}

LONG TSPIAPI TSPI_lineGetLineDevStatus(HDRVLINE hdLine, LPLINEDEVSTATUS lpLineDevStatus) {
    return WithManager(&telephony_manager::LineGetLineDevStatus, hdLine, lpLineDevStatus);
}

LONG TSPIAPI TSPI_lineGetAddressStatus(HDRVLINE hdLine, DWORD, LPLINEADDRESSSTATUS lpAddressStatus) {
    return WithManager(&telephony_manager::LineGetAddressStatus, hdLine, lpAddressStatus);
}

LONG TSPIAPI TSPI_lineGetID(HDRVLINE hdLine, DWORD, HDRVCALL, DWORD, LPVARSTRING lpDeviceID,
                            LPCWSTR lpszDeviceClass, HANDLE) {
    return WithManager(&telephony_manager::LineGetId, hdLine, lpDeviceID, lpszDeviceClass);
}

LONG TSPIAPI TSPI_lineGetNumAddressIDs(HDRVLINE, LPDWORD lpdwNumAddressIDs) {
    return Guarded(nullptr, [&] {
        Require(lpdwNumAddressIDs) = 1;
        return 0L;
    });
}

LONG TSPIAPI TSPI_lineGetExtensionID(DWORD, DWORD, LPLINEEXTENSIONID lpExtensionID) {
    if (lpExtensionID == nullptr) {
        // Deliberately this error.
        return LINEERR_NOMEM;
    }
    std::memset(lpExtensionID, 0, sizeof(*lpExtensionID));
    return 0;
}

LONG TSPIAPI TSPI_lineGetCallInfo(HDRVCALL hdCall, LPLINECALLINFO lpCallInfo) {
    return WithManager(&telephony_manager::LineGetCallInfo, hdCall, lpCallInfo);
}

LONG TSPIAPI TSPI_lineGetCallStatus(HDRVCALL hdCall, LPLINECALLSTATUS lpCallStatus) {
    return WithManager(&telephony_manager::LineGetCallStatus, hdCall, lpCallStatus);
}

// Everything else.

/// What the provider does not offer. Phone entry points deliberately return the line's error code as well.
LONG TSPIAPI OperationUnavailable() {
    return LINEERR_OPERATIONUNAVAIL;
}

/// What the provider has nothing to do for.
LONG TSPIAPI NoOperation() {
    return 0;
}

}  // extern "C"
