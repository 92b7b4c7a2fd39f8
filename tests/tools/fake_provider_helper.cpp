#include "tests/tools/fake_provider_helper.h"

#include <cstring>

namespace brivelnox::test {

namespace {

fake_provider* current = nullptr;

std::string Narrow(const wchar_t* text) {
    std::string result;
    for (; text != nullptr && *text != L'\0'; ++text) {
        result += static_cast<char>(*text);
    }
    return result;
}

std::string Text(const void* handle) {
    return std::to_string(reinterpret_cast<std::uintptr_t>(handle));
}

HDRVCALL NextCall() {
    return reinterpret_cast<HDRVCALL>(current->next_driver_call++);
}

LONG WINAPI Negotiate(DWORD device, DWORD, DWORD, LPDWORD version) {
    current->Note("negotiate " + std::to_string(static_cast<LONG>(device)));
    *version = 0x00020002;
    return current->negotiation_result;
}

LONG WINAPI EnumDevices(DWORD, LPDWORD lines, LPDWORD phones, HPROVIDER handle, LINEEVENT line_create,
                        PHONEEVENT) {
    current->Note("enum");
    current->handle = handle;
    current->line_create = line_create;
    *lines = current->lines;
    *phones = 0;
    return current->enum_result;
}

LONG WINAPI Init(DWORD, DWORD, DWORD base, DWORD, DWORD_PTR, DWORD_PTR, ASYNC_COMPLETION completion,
                 LPDWORD) {
    current->Note("init " + std::to_string(base));
    current->device_base = base;
    current->completion = completion;
    return current->init_result;
}

LONG WINAPI Shutdown(DWORD, DWORD) {
    current->Note("shutdown");
    return 0;
}

LONG WINAPI CreateLineDevice(DWORD_PTR temporary, DWORD device) {
    current->Note("create " + std::to_string(temporary) + " " + std::to_string(device));
    return 0;
}

LONG WINAPI Open(DWORD device, HTAPILINE line, LPHDRVLINE driver, DWORD, LINEEVENT procedure) {
    current->Note("open " + std::to_string(device));
    current->line_event = procedure;
    current->last_line = line;
    if (device < 1000) {
        *driver = reinterpret_cast<HDRVLINE>(static_cast<std::uintptr_t>(device) + 500);
    }
    return 0;
}

LONG WINAPI Close(HDRVLINE line) {
    current->Note("close " + Text(line));
    return 0;
}

LONG WINAPI MakeCall(DRV_REQUESTID id, HDRVLINE line, HTAPICALL call, LPHDRVCALL driver, LPCWSTR number,
                     DWORD, LPLINECALLPARAMS const) {
    current->last_call = call;
    if (current->request_result == 0) {
        current->SendState(current->last_line, call, LINECALLSTATE_PROCEEDING);
        *driver = NextCall();
    }
    return current->Answer(id, "makecall " + Text(line) + " " + Narrow(number));
}

LONG WINAPI SetupTransfer(DRV_REQUESTID id, HDRVCALL call, HTAPICALL, LPHDRVCALL driver,
                          LPLINECALLPARAMS const) {
    *driver = call == nullptr ? nullptr : NextCall();
    return current->Answer(id, "setuptransfer " + Text(call));
}

LONG WINAPI Dial(DRV_REQUESTID id, HDRVCALL call, LPCWSTR number, DWORD) {
    return current->Answer(id, "dial " + Text(call) + " " + Narrow(number));
}

LONG WINAPI AnswerCall(DRV_REQUESTID id, HDRVCALL call, LPCSTR, DWORD) {
    return current->Answer(id, "answer " + Text(call));
}

LONG WINAPI Hold(DRV_REQUESTID id, HDRVCALL call) {
    return current->Answer(id, "hold " + Text(call));
}

LONG WINAPI Unhold(DRV_REQUESTID id, HDRVCALL call) {
    return current->Answer(id, "unhold " + Text(call));
}

LONG WINAPI SwapHold(DRV_REQUESTID id, HDRVCALL active, HDRVCALL held) {
    return current->Answer(id, "swaphold " + Text(active) + " " + Text(held));
}

LONG WINAPI CompleteTransfer(DRV_REQUESTID id, HDRVCALL call, HDRVCALL consultation, HTAPICALL, LPHDRVCALL,
                             DWORD mode) {
    return current->Answer(
        id, "completetransfer " + Text(call) + " " + Text(consultation) + " " + std::to_string(mode));
}

LONG WINAPI BlindTransfer(DRV_REQUESTID id, HDRVCALL call, LPCWSTR number, DWORD) {
    return current->Answer(id, "blindtransfer " + Text(call) + " " + Narrow(number));
}

LONG WINAPI Redirect(DRV_REQUESTID id, HDRVCALL call, LPCWSTR number, DWORD) {
    return current->Answer(id, "redirect " + Text(call) + " " + Narrow(number));
}

LONG WINAPI Drop(DRV_REQUESTID id, HDRVCALL call, LPCSTR, DWORD) {
    return current->Answer(id, "drop " + Text(call));
}

LONG WINAPI CloseCall(HDRVCALL call) {
    current->Note("closecall " + Text(call));
    return 0;
}

LONG WINAPI GenerateDigits(HDRVCALL call, DWORD end_to_end, DWORD mode, LPCWSTR digits, DWORD) {
    current->Note("digits " + Text(call) + " " + std::to_string(end_to_end) + " " + std::to_string(mode) +
                  " " + Narrow(digits));
    return 0;
}

LONG WINAPI GetDevCaps(DWORD device, DWORD, DWORD, LPLINEDEVCAPS caps) {
    const std::wstring name(600, static_cast<wchar_t>(L'a' + device));
    const DWORD size = static_cast<DWORD>((name.size() + 1) * sizeof(wchar_t));
    const DWORD fixed = 268;
    caps->dwNeededSize = fixed + size;
    caps->dwUsedSize = fixed;
    caps->dwPermanentLineID = 1000 + device;
    if (caps->dwTotalSize >= caps->dwNeededSize) {
        caps->dwUsedSize = caps->dwNeededSize;
        caps->dwLineNameSize = size;
        caps->dwLineNameOffset = fixed;
        std::memcpy(reinterpret_cast<char*>(caps) + fixed, name.c_str(), size);
    }
    return device < 1000 ? 0 : static_cast<LONG>(LINEERR_OPERATIONFAILED);
}

void FillTable(host::provider_module& table) {
    table.TSPI_lineNegotiateTSPIVersion = &Negotiate;
    table.TSPI_providerEnumDevices = &EnumDevices;
    table.TSPI_providerInit = &Init;
    table.TSPI_providerShutdown = &Shutdown;
    table.TSPI_providerCreateLineDevice = &CreateLineDevice;
    table.TSPI_lineOpen = &Open;
    table.TSPI_lineClose = &Close;
    table.TSPI_lineMakeCall = &MakeCall;
    table.TSPI_lineSetupTransfer = &SetupTransfer;
    table.TSPI_lineDial = &Dial;
    table.TSPI_lineAnswer = &AnswerCall;
    table.TSPI_lineHold = &Hold;
    table.TSPI_lineUnhold = &Unhold;
    table.TSPI_lineSwapHold = &SwapHold;
    table.TSPI_lineCompleteTransfer = &CompleteTransfer;
    table.TSPI_lineBlindTransfer = &BlindTransfer;
    table.TSPI_lineRedirect = &Redirect;
    table.TSPI_lineDrop = &Drop;
    table.TSPI_lineCloseCall = &CloseCall;
    table.TSPI_lineGenerateDigits = &GenerateDigits;
    table.TSPI_lineGetDevCaps = &GetDevCaps;
}

}  // namespace

fake_provider::fake_provider() {
    FillTable(module_);
    current = this;
}

fake_provider::~fake_provider() {
    current = nullptr;
}

std::vector<std::string> fake_provider::Asked() const {
    const std::lock_guard lock(mutex_);
    return asked_;
}

void fake_provider::Note(const std::string& what) {
    const std::lock_guard lock(mutex_);
    asked_.push_back(what);
}

LONG fake_provider::Answer(DRV_REQUESTID id, const std::string& what) {
    Note(what);
    if (request_result != 0) {
        return request_result;
    }
    if (complete) {
        completion(id, 0);
    }
    return static_cast<LONG>(id);
}

void fake_provider::SendState(HTAPILINE line, HTAPICALL call, DWORD state, DWORD mode) const {
    if (line_event != nullptr) {
        line_event(line, call, static_cast<DWORD>(LINE_CALLSTATE), state, mode,
                   LINEMEDIAMODE_INTERACTIVEVOICE);
    }
}

HTAPICALL fake_provider::SendNewCall(HTAPILINE line, DWORD_PTR driver) const {
    HTAPICALL call = nullptr;
    line_event(line, nullptr, static_cast<DWORD>(LINE_NEWCALL), driver, reinterpret_cast<DWORD_PTR>(&call),
               0);
    return call;
}

void fake_provider::SendCreate(DWORD temporary) const {
    line_create(nullptr, nullptr, static_cast<DWORD>(LINE_CREATE), reinterpret_cast<DWORD_PTR>(handle),
                temporary, 0);
}

}  // namespace brivelnox::test
