#include "lines/tapi_event_sender.h"

#include "calls/call_state_names.h"
#include "logging/category_log.h"
#include "platform/low32.h"

namespace brivelnox {

namespace {

constexpr category_log Log{L"Line"};

struct value_name {
    DWORD value;
    const wchar_t* name;
};

// In the order in which the names are written: REDIRECTINGID stands before CONNECTEDID.
constexpr value_name kCallInfoStateNames[] = {
    {LINECALLINFOSTATE_CALLERID, L"LINECALLINFOSTATE_CALLERID "},
    {LINECALLINFOSTATE_CALLEDID, L"LINECALLINFOSTATE_CALLEDID "},
    {LINECALLINFOSTATE_REDIRECTINGID, L"LINECALLINFOSTATE_REDIRECTINGID "},
    {LINECALLINFOSTATE_CONNECTEDID, L"LINECALLINFOSTATE_CONNECTEDID "},
    {LINECALLINFOSTATE_REASON, L"LINECALLINFOSTATE_REASON "},
};

constexpr value_name kDisconnectModeNames[] = {
    {0x1, L"LINEDISCONNECTMODE_NORMAL"},
    {0x2, L"LINEDISCONNECTMODE_UNKNOWN"},
    {0x4, L"LINEDISCONNECTMODE_REJECT"},
    {0x8, L"LINEDISCONNECTMODE_PICKUP"},
    {0x10, L"LINEDISCONNECTMODE_FORWARDED"},
    {0x20, L"LINEDISCONNECTMODE_BUSY"},
    {0x40, L"LINEDISCONNECTMODE_NOANSWER"},
    {0x80, L"LINEDISCONNECTMODE_BADADDRESS"},
    {0x100, L"LINEDISCONNECTMODE_UNREACHABLE"},
    {0x200, L"LINEDISCONNECTMODE_CONGESTION"},
    {0x400, L"LINEDISCONNECTMODE_INCOMPATIBLE"},
    {0x800, L"LINEDISCONNECTMODE_UNAVAIL"},
    {0x1000, L"LINEDISCONNECTMODE_NODIALTONE"},
    {0x2000, L"LINEDISCONNECTMODE_NUMBERCHANGED"},
    {0x4000, L"LINEDISCONNECTMODE_OUTOFORDER"},
    {0x8000, L"LINEDISCONNECTMODE_TEMPFAILURE"},
    {0x10000, L"LINEDISCONNECTMODE_QOSUNAVAIL"},
    {0x20000, L"LINEDISCONNECTMODE_BLOCKED"},
    {0x40000, L"LINEDISCONNECTMODE_DONOTDISTURB"},
    {0x80000, L"LINEDISCONNECTMODE_CANCELLED"},
    {0x100000, L"LINEDISCONNECTMODE_DESTINATIONBARRED"},
    {0x200000, L"LINEDISCONNECTMODE_FDNRESTRICT"},
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
    Log(L"Send event to TAPI: LINE_CALLINFO.  %s, tapiLineHandle: 0x%08X, tapiCallHandle: 0x%08X, 0x%08X, %s",
        event.line_name, event.tapi_line_handle, event.tapi_call_handle, Low32(event.param1),
        CallInfoStateNames(event.param1).c_str());
}

void LogCallState(const logged_event& event) {
    const wchar_t* const state = CallStateName(Low32(event.param1));
    const wchar_t* const mode = DisconnectModeName(event.param2);
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

std::wstring CallInfoStateNames(DWORD_PTR bits) {
    std::wstring names;
    for (const value_name& row : kCallInfoStateNames) {
        if ((bits & row.value) != 0) {
            names += row.name;
        }
    }
    return names;
}

const wchar_t* DisconnectModeName(DWORD_PTR mode) {
    for (const value_name& row : kDisconnectModeNames) {
        if (row.value == mode) {
            return row.name;
        }
    }
    return L"";
}

void SendTapiEvent(const event_lock&, LINEEVENT event_procedure, const std::wstring& line_name,
                   HTAPILINE tapi_line_handle, HTAPICALL tapi_call_handle, DWORD message, DWORD_PTR param1,
                   DWORD_PTR param2, DWORD_PTR param3) {
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
    event_procedure(tapi_line_handle, tapi_call_handle, message, param1, param2, param3);
}

}  // namespace brivelnox
