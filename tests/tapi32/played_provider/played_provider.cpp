#include "tests/tapi32/played_provider/played_provider.h"

#include <cwchar>

namespace brivelnox::test {

namespace {

constexpr DWORD kVersion = 0x00020002;

played_provider state;

LONG TakeAndAnswer(HWND owner, DWORD id, LONG result) {
    state.owner = owner;
    state.id = id;
    return result;
}

}  // namespace

extern "C" {

played_provider& PlayedProvider() {
    return state;
}

LONG TSPIAPI TSPI_providerInstall(HWND owner, DWORD id) {
    return TakeAndAnswer(owner, id, state.install_result);
}

LONG TSPIAPI TSPI_providerRemove(HWND owner, DWORD id) {
    return TakeAndAnswer(owner, id, 0);
}

LONG TSPIAPI TSPI_providerUIIdentify(LPWSTR name) {
    HMODULE own = nullptr;
    (void)GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<const wchar_t*>(&state), &own);
    return GetModuleFileNameW(own, name, MAX_PATH) != 0 ? 0 : static_cast<LONG>(LINEERR_OPERATIONFAILED);
}

LONG TSPIAPI TUISPI_providerConfig(TUISPIDLLCALLBACK, HWND owner, DWORD id) {
    return TakeAndAnswer(owner, id, state.config_result);
}

LONG TSPIAPI TUISPI_lineConfigDialog(TUISPIDLLCALLBACK, DWORD device, HWND owner, LPCWSTR) {
    return TakeAndAnswer(owner, device, state.config_result);
}

LONG TSPIAPI TSPI_lineNegotiateTSPIVersion(DWORD, DWORD, DWORD, LPDWORD version) {
    *version = kVersion;
    return 0;
}

LONG TSPIAPI TSPI_providerEnumDevices(DWORD, LPDWORD lines, LPDWORD phones, HPROVIDER, LINEEVENT,
                                      PHONEEVENT) {
    *lines = 1;
    *phones = 0;
    return 0;
}

LONG TSPIAPI TSPI_providerInit(DWORD, DWORD, DWORD, DWORD, DWORD_PTR, DWORD_PTR, ASYNC_COMPLETION completion,
                               LPDWORD) {
    state.complete = completion;
    return 0;
}

LONG TSPIAPI TSPI_providerShutdown(DWORD, DWORD) {
    return 0;
}

LONG TSPIAPI TSPI_lineGetDevCaps(DWORD, DWORD, DWORD, LPLINEDEVCAPS caps) {
    caps->dwNeededSize = caps->dwUsedSize = caps->dwTotalSize;
    caps->dwMediaModes = LINEMEDIAMODE_INTERACTIVEVOICE;
    return 0;
}

LONG TSPIAPI TSPI_lineGetExtensionID(DWORD, DWORD, LPLINEEXTENSIONID extension) {
    *extension = {};
    return 0;
}

LONG TSPIAPI TSPI_lineOpen(DWORD, HTAPILINE line, LPHDRVLINE driver, DWORD, LINEEVENT event) {
    state.line = line;
    state.tell = event;
    *driver = reinterpret_cast<HDRVLINE>(1);
    return 0;
}

LONG TSPIAPI TSPI_lineSetDefaultMediaDetection(HDRVLINE, DWORD) {
    return 0;
}

LONG TSPIAPI TSPI_lineClose(HDRVLINE) {
    return 0;
}

LONG TSPIAPI TSPI_lineMakeCall(DRV_REQUESTID id, HDRVLINE, HTAPICALL call, LPHDRVCALL driver, LPCWSTR, DWORD,
                               LPLINECALLPARAMS const) {
    state.request_id = id;
    state.call = call;
    *driver = reinterpret_cast<HDRVCALL>(2);
    state.tell(state.line, call, static_cast<DWORD>(LINE_CALLSTATE), LINECALLSTATE_PROCEEDING, 0,
               LINEMEDIAMODE_INTERACTIVEVOICE);
    return static_cast<LONG>(id);
}

LONG TSPIAPI TSPI_lineCloseCall(HDRVCALL) {
    return 0;
}

}  // extern "C"

}  // namespace brivelnox::test
