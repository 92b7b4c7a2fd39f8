#include "lines/tapi_event_sender.h"

#include "calls/call_tables.h"
#include "calls/line_log.h"
#include "logging/category_log.h"
#include "platform/bit_names.h"
#include "platform/low32.h"

namespace brivelnox {

namespace {

constexpr category_log Log{kLineCategory};

// In the order of their bits.
constexpr const wchar_t* kDisconnectModeNames[] = {
    L"LINEDISCONNECTMODE_NORMAL",
    L"LINEDISCONNECTMODE_UNKNOWN",
    L"LINEDISCONNECTMODE_REJECT",
    L"LINEDISCONNECTMODE_PICKUP",
    L"LINEDISCONNECTMODE_FORWARDED",
    L"LINEDISCONNECTMODE_BUSY",
    L"LINEDISCONNECTMODE_NOANSWER",
    L"LINEDISCONNECTMODE_BADADDRESS",
    L"LINEDISCONNECTMODE_UNREACHABLE",
    L"LINEDISCONNECTMODE_CONGESTION",
    L"LINEDISCONNECTMODE_INCOMPATIBLE",
    L"LINEDISCONNECTMODE_UNAVAIL",
    L"LINEDISCONNECTMODE_NODIALTONE",
    L"LINEDISCONNECTMODE_NUMBERCHANGED",
    L"LINEDISCONNECTMODE_OUTOFORDER",
    L"LINEDISCONNECTMODE_TEMPFAILURE",
    L"LINEDISCONNECTMODE_QOSUNAVAIL",
    L"LINEDISCONNECTMODE_BLOCKED",
    L"LINEDISCONNECTMODE_DONOTDISTURB",
    L"LINEDISCONNECTMODE_CANCELLED",
    L"LINEDISCONNECTMODE_DESTINATIONBARRED",
    L"LINEDISCONNECTMODE_FDNRESTRICT",
};

/// The message to log, with the handles cut to what the log prints.
struct logged_event {
    const wchar_t* line_name;
    std::uint32_t tapi_line_handle;
    std::uint32_t tapi_call_handle;
    DWORD_PTR param1;
    DWORD_PTR param2;
    DWORD_PTR param3;
};

void LogCallInfo(const logged_event& event) {
    const auto name = [&](DWORD bit, const wchar_t* text) { return (event.param1 & bit) != 0 ? text : L""; };
    // REDIRECTINGID stands before CONNECTEDID, against the order of the bits.
    Log(L"Send event to TAPI: LINE_CALLINFO.  %s, tapiLineHandle: 0x%08X, tapiCallHandle: 0x%08X, 0x%08X, %s%s%s%s%s",
        event.line_name, event.tapi_line_handle, event.tapi_call_handle, Low32(event.param1),
        name(LINECALLINFOSTATE_CALLERID, L"LINECALLINFOSTATE_CALLERID "),
        name(LINECALLINFOSTATE_CALLEDID, L"LINECALLINFOSTATE_CALLEDID "),
        name(LINECALLINFOSTATE_REDIRECTINGID, L"LINECALLINFOSTATE_REDIRECTINGID "),
        name(LINECALLINFOSTATE_CONNECTEDID, L"LINECALLINFOSTATE_CONNECTEDID "),
        name(LINECALLINFOSTATE_REASON, L"LINECALLINFOSTATE_REASON "));
}

void LogCallState(const logged_event& event) {
    const wchar_t* const state = CallStateName(Low32(event.param1));
    const wchar_t* const mode = NameOfBit(kDisconnectModeNames, event.param2);
    if (event.param3 == LINEMEDIAMODE_INTERACTIVEVOICE) {
        Log(L"Send event to TAPI: LINE_CALLSTATE. %s, tapiLineHandle: 0x%08X, tapiCallHandle: 0x%08X, %s, %s, LINEMEDIAMODE_INTERACTIVEVOICE",
            event.line_name, event.tapi_line_handle, event.tapi_call_handle, state, mode);
    } else {
        Log(L"Send event to TAPI: LINE_CALLSTATE. %s, tapiLineHandle: 0x%08X, tapiCallHandle: 0x%08X, %s, %s, mediaMode: 0x%08X",
            event.line_name, event.tapi_line_handle, event.tapi_call_handle, state, mode,
            Low32(event.param3));
    }
}

void LogLineDevState(const logged_event& event) {
    // The heading names CAPSCHANGE whatever the value is. That is intended.
    if (event.param1 == LINEDEVSTATE_CAPSCHANGE) {
        Log(L"Send event to TAPI: LINEDEVSTATE_CAPSCHANGE. %s, tapiLineHandle: 0x%08X, LINEDEVSTATE_CAPSCHANGE",
            event.line_name, event.tapi_line_handle);
    } else {
        Log(L"Send event to TAPI: LINEDEVSTATE_CAPSCHANGE. %s, tapiLineHandle: 0x%08X, 0x%08X",
            event.line_name, event.tapi_line_handle, Low32(event.param1));
    }
}

void LogLineCreate(const logged_event& event) {
    // The second value is labelled as a line handle and is the device identifier. The label is kept.
    Log(L"Send event to TAPI: LINE_CREATE.    ProviderHandle: 0x%08X, driverLineHandle: 0x%08X",
        Low32(event.param1), Low32(event.param2));
}

void LogNewCall(const logged_event& event) {
    Log(L"Send event to TAPI: LINE_NEWCALL.   %s, tapiLineHandle: 0x%08X,  driverCallHandle=0x%08X",
        event.line_name, event.tapi_line_handle, Low32(event.param1));
}

struct message_row {
    DWORD message;
    void (*log)(const logged_event& event);
};

// The messages that have a log line. Any other is sent without one.
constexpr message_row kMessages[] = {
    {LINE_CALLINFO, &LogCallInfo}, {LINE_CALLSTATE, &LogCallState}, {LINE_LINEDEVSTATE, &LogLineDevState},
    {LINE_CREATE, &LogLineCreate}, {LINE_NEWCALL, &LogNewCall},
};

}  // namespace

void SendTapiEvent(const event_lock& held_lock, LINEEVENT event_procedure, const std::wstring& line_name,
                   HTAPILINE tapi_line_handle, HTAPICALL tapi_call_handle, DWORD message, DWORD_PTR param1,
                   DWORD_PTR param2, DWORD_PTR param3) noexcept {
    if (held_lock.IsShut()) {
        return;
    }
    if (event_procedure == nullptr) {
        Log(L"Cannot send event to TAPI, event_procedure is null. %s, tapiLineHandle: 0x%08X",
            line_name.c_str(), Low32(tapi_line_handle));
        return;
    }
    const logged_event event = {
        line_name.c_str(), Low32(tapi_line_handle), Low32(tapi_call_handle), param1, param2, param3};
    for (const message_row& row : kMessages) {
        if (row.message == message) {
            row.log(event);
        }
    }
    lock_order::BeforeCallback();
    try {
        event_procedure(tapi_line_handle, tapi_call_handle, message, param1, param2, param3);
    } catch (...) {
        // The message has been told; what the application makes of it is its own business.
    }
}

}  // namespace brivelnox
