#include "tools/telephony_host/names.h"

#include <array>
#include <cstdio>
#include <span>
#include <string_view>

namespace brivelnox::host {

namespace {

struct named_number {
    DWORD number;
    std::string_view name;
};

constexpr std::array kMessages{
    named_number{static_cast<DWORD>(LINE_ADDRESSSTATE), "LINE_ADDRESSSTATE"},
    named_number{static_cast<DWORD>(LINE_CALLINFO), "LINE_CALLINFO"},
    named_number{static_cast<DWORD>(LINE_CALLSTATE), "LINE_CALLSTATE"},
    named_number{static_cast<DWORD>(LINE_CLOSE), "LINE_CLOSE"},
    named_number{static_cast<DWORD>(LINE_DEVSPECIFIC), "LINE_DEVSPECIFIC"},
    named_number{static_cast<DWORD>(LINE_DEVSPECIFICFEATURE), "LINE_DEVSPECIFICFEATURE"},
    named_number{static_cast<DWORD>(LINE_GATHERDIGITS), "LINE_GATHERDIGITS"},
    named_number{static_cast<DWORD>(LINE_GENERATE), "LINE_GENERATE"},
    named_number{static_cast<DWORD>(LINE_LINEDEVSTATE), "LINE_LINEDEVSTATE"},
    named_number{static_cast<DWORD>(LINE_MONITORDIGITS), "LINE_MONITORDIGITS"},
    named_number{static_cast<DWORD>(LINE_MONITORMEDIA), "LINE_MONITORMEDIA"},
    named_number{static_cast<DWORD>(LINE_MONITORTONE), "LINE_MONITORTONE"},
    named_number{static_cast<DWORD>(LINE_REPLY), "LINE_REPLY"},
    named_number{static_cast<DWORD>(LINE_REQUEST), "LINE_REQUEST"},
    named_number{static_cast<DWORD>(LINE_APPNEWCALL), "LINE_APPNEWCALL"},
    named_number{static_cast<DWORD>(LINE_CREATE), "LINE_CREATE"},
    named_number{static_cast<DWORD>(LINE_REMOVE), "LINE_REMOVE"},
    named_number{static_cast<DWORD>(LINE_NEWCALL), "LINE_NEWCALL"},
    named_number{static_cast<DWORD>(LINE_CALLDEVSPECIFIC), "LINE_CALLDEVSPECIFIC"},
    named_number{static_cast<DWORD>(LINE_CALLDEVSPECIFICFEATURE), "LINE_CALLDEVSPECIFICFEATURE"},
};

constexpr std::array kCallStates{
    named_number{LINECALLSTATE_IDLE, "IDLE"},
    named_number{LINECALLSTATE_OFFERING, "OFFERING"},
    named_number{LINECALLSTATE_ACCEPTED, "ACCEPTED"},
    named_number{LINECALLSTATE_DIALTONE, "DIALTONE"},
    named_number{LINECALLSTATE_DIALING, "DIALING"},
    named_number{LINECALLSTATE_RINGBACK, "RINGBACK"},
    named_number{LINECALLSTATE_BUSY, "BUSY"},
    named_number{LINECALLSTATE_SPECIALINFO, "SPECIALINFO"},
    named_number{LINECALLSTATE_CONNECTED, "CONNECTED"},
    named_number{LINECALLSTATE_PROCEEDING, "PROCEEDING"},
    named_number{LINECALLSTATE_ONHOLD, "ONHOLD"},
    named_number{LINECALLSTATE_CONFERENCED, "CONFERENCED"},
    named_number{LINECALLSTATE_ONHOLDPENDCONF, "ONHOLDPENDCONF"},
    named_number{LINECALLSTATE_ONHOLDPENDTRANSFER, "ONHOLDPENDTRANSFER"},
    named_number{LINECALLSTATE_DISCONNECTED, "DISCONNECTED"},
    named_number{LINECALLSTATE_UNKNOWN, "UNKNOWN"},
};

constexpr std::array kDisconnectModes{
    named_number{LINEDISCONNECTMODE_NORMAL, "NORMAL"},
    named_number{LINEDISCONNECTMODE_UNKNOWN, "UNKNOWN"},
    named_number{LINEDISCONNECTMODE_REJECT, "REJECT"},
    named_number{LINEDISCONNECTMODE_PICKUP, "PICKUP"},
    named_number{LINEDISCONNECTMODE_FORWARDED, "FORWARDED"},
    named_number{LINEDISCONNECTMODE_BUSY, "BUSY"},
    named_number{LINEDISCONNECTMODE_NOANSWER, "NOANSWER"},
    named_number{LINEDISCONNECTMODE_BADADDRESS, "BADADDRESS"},
    named_number{LINEDISCONNECTMODE_UNREACHABLE, "UNREACHABLE"},
    named_number{LINEDISCONNECTMODE_CONGESTION, "CONGESTION"},
    named_number{LINEDISCONNECTMODE_INCOMPATIBLE, "INCOMPATIBLE"},
    named_number{LINEDISCONNECTMODE_UNAVAIL, "UNAVAIL"},
    named_number{LINEDISCONNECTMODE_NODIALTONE, "NODIALTONE"},
    named_number{LINEDISCONNECTMODE_NUMBERCHANGED, "NUMBERCHANGED"},
    named_number{LINEDISCONNECTMODE_OUTOFORDER, "OUTOFORDER"},
    named_number{LINEDISCONNECTMODE_TEMPFAILURE, "TEMPFAILURE"},
    named_number{LINEDISCONNECTMODE_QOSUNAVAIL, "QOSUNAVAIL"},
    named_number{LINEDISCONNECTMODE_BLOCKED, "BLOCKED"},
    named_number{LINEDISCONNECTMODE_DONOTDISTURB, "DONOTDISTURB"},
    named_number{LINEDISCONNECTMODE_CANCELLED, "CANCELLED"},
    named_number{0x00100000, "DESTINATIONBARRED"},
    named_number{0x00200000, "FDNRESTRICT"},
};

constexpr std::array kCallInfoBits{
    named_number{LINECALLINFOSTATE_OTHER, "OTHER"},
    named_number{LINECALLINFOSTATE_DEVSPECIFIC, "DEVSPECIFIC"},
    named_number{LINECALLINFOSTATE_BEARERMODE, "BEARERMODE"},
    named_number{LINECALLINFOSTATE_RATE, "RATE"},
    named_number{LINECALLINFOSTATE_MEDIAMODE, "MEDIAMODE"},
    named_number{LINECALLINFOSTATE_APPSPECIFIC, "APPSPECIFIC"},
    named_number{LINECALLINFOSTATE_CALLID, "CALLID"},
    named_number{LINECALLINFOSTATE_RELATEDCALLID, "RELATEDCALLID"},
    named_number{LINECALLINFOSTATE_ORIGIN, "ORIGIN"},
    named_number{LINECALLINFOSTATE_REASON, "REASON"},
    named_number{LINECALLINFOSTATE_COMPLETIONID, "COMPLETIONID"},
    named_number{LINECALLINFOSTATE_TRUNK, "TRUNK"},
    named_number{LINECALLINFOSTATE_CALLERID, "CALLERID"},
    named_number{LINECALLINFOSTATE_CALLEDID, "CALLEDID"},
    named_number{LINECALLINFOSTATE_CONNECTEDID, "CONNECTEDID"},
    named_number{LINECALLINFOSTATE_REDIRECTIONID, "REDIRECTIONID"},
    named_number{LINECALLINFOSTATE_REDIRECTINGID, "REDIRECTINGID"},
};

#define BRIVELNOX_HOST_ERROR(name)      \
    named_number {                      \
        static_cast<DWORD>(name), #name \
    }
constexpr std::array kErrors{
    BRIVELNOX_HOST_ERROR(LINEERR_ALLOCATED),
    BRIVELNOX_HOST_ERROR(LINEERR_BADDEVICEID),
    BRIVELNOX_HOST_ERROR(LINEERR_BEARERMODEUNAVAIL),
    BRIVELNOX_HOST_ERROR(LINEERR_CALLUNAVAIL),
    BRIVELNOX_HOST_ERROR(LINEERR_DIALBILLING),
    BRIVELNOX_HOST_ERROR(LINEERR_DIALQUIET),
    BRIVELNOX_HOST_ERROR(LINEERR_DIALDIALTONE),
    BRIVELNOX_HOST_ERROR(LINEERR_DIALPROMPT),
    BRIVELNOX_HOST_ERROR(LINEERR_INCOMPATIBLEAPIVERSION),
    BRIVELNOX_HOST_ERROR(LINEERR_INCOMPATIBLEEXTVERSION),
    BRIVELNOX_HOST_ERROR(LINEERR_INUSE),
    BRIVELNOX_HOST_ERROR(LINEERR_INVALADDRESS),
    BRIVELNOX_HOST_ERROR(LINEERR_INVALADDRESSID),
    BRIVELNOX_HOST_ERROR(LINEERR_INVALCALLHANDLE),
    BRIVELNOX_HOST_ERROR(LINEERR_INVALCALLSTATE),
    BRIVELNOX_HOST_ERROR(LINEERR_INVALDIGITS),
    BRIVELNOX_HOST_ERROR(LINEERR_INVALLINEHANDLE),
    BRIVELNOX_HOST_ERROR(LINEERR_INVALPARAM),
    BRIVELNOX_HOST_ERROR(LINEERR_INVALPOINTER),
    BRIVELNOX_HOST_ERROR(LINEERR_NODEVICE),
    BRIVELNOX_HOST_ERROR(LINEERR_NODRIVER),
    BRIVELNOX_HOST_ERROR(LINEERR_NOMEM),
    BRIVELNOX_HOST_ERROR(LINEERR_OPERATIONFAILED),
    BRIVELNOX_HOST_ERROR(LINEERR_OPERATIONUNAVAIL),
    BRIVELNOX_HOST_ERROR(LINEERR_RATEUNAVAIL),
    BRIVELNOX_HOST_ERROR(LINEERR_RESOURCEUNAVAIL),
    BRIVELNOX_HOST_ERROR(LINEERR_STRUCTURETOOSMALL),
    BRIVELNOX_HOST_ERROR(LINEERR_UNINITIALIZED),
    BRIVELNOX_HOST_ERROR(PHONEERR_INCOMPATIBLEAPIVERSION),
};
#undef BRIVELNOX_HOST_ERROR

constexpr std::array kOrigins{
    named_number{LINECALLORIGIN_OUTBOUND, "OUTBOUND"}, named_number{LINECALLORIGIN_INTERNAL, "INTERNAL"},
    named_number{LINECALLORIGIN_EXTERNAL, "EXTERNAL"}, named_number{LINECALLORIGIN_UNKNOWN, "UNKNOWN"},
    named_number{LINECALLORIGIN_UNAVAIL, "UNAVAIL"},   named_number{LINECALLORIGIN_CONFERENCE, "CONFERENCE"},
    named_number{LINECALLORIGIN_INBOUND, "INBOUND"},
};

constexpr std::array kReasons{
    named_number{LINECALLREASON_DIRECT, "DIRECT"},
    named_number{LINECALLREASON_FWDBUSY, "FWDBUSY"},
    named_number{LINECALLREASON_FWDNOANSWER, "FWDNOANSWER"},
    named_number{LINECALLREASON_FWDUNCOND, "FWDUNCOND"},
    named_number{LINECALLREASON_PICKUP, "PICKUP"},
    named_number{LINECALLREASON_UNPARK, "UNPARK"},
    named_number{LINECALLREASON_REDIRECT, "REDIRECT"},
    named_number{LINECALLREASON_CALLCOMPLETION, "CALLCOMPLETION"},
    named_number{LINECALLREASON_TRANSFER, "TRANSFER"},
    named_number{LINECALLREASON_REMINDER, "REMINDER"},
    named_number{LINECALLREASON_UNKNOWN, "UNKNOWN"},
    named_number{LINECALLREASON_UNAVAIL, "UNAVAIL"},
};

constexpr std::array kFeatures{
    named_number{LINECALLFEATURE_ANSWER, "ANSWER"},
    named_number{LINECALLFEATURE_BLINDTRANSFER, "BLINDTRANSFER"},
    named_number{LINECALLFEATURE_COMPLETETRANSF, "COMPLETETRANSF"},
    named_number{LINECALLFEATURE_DIAL, "DIAL"},
    named_number{LINECALLFEATURE_DROP, "DROP"},
    named_number{LINECALLFEATURE_GENERATEDIGITS, "GENERATEDIGITS"},
    named_number{LINECALLFEATURE_HOLD, "HOLD"},
    named_number{LINECALLFEATURE_REDIRECT, "REDIRECT"},
    named_number{LINECALLFEATURE_SETUPTRANSFER, "SETUPTRANSFER"},
    named_number{LINECALLFEATURE_SWAPHOLD, "SWAPHOLD"},
    named_number{LINECALLFEATURE_UNHOLD, "UNHOLD"},
};

std::string Hexadecimal(DWORD number) {
    char text[11];
    (void)std::snprintf(text, sizeof(text), "0x%lX", static_cast<unsigned long>(number));
    return text;
}

std::string_view Find(std::span<const named_number> table, DWORD number) {
    for (const named_number& entry : table) {
        if (entry.number == number) {
            return entry.name;
        }
    }
    return {};
}

std::string NameOrNumber(std::span<const named_number> table, DWORD number) {
    const std::string_view name = Find(table, number);
    return name.empty() ? Hexadecimal(number) : std::string(name);
}

std::string BitNames(std::span<const named_number> table, DWORD bits) {
    if (bits == 0) {
        return "none";
    }
    std::string text;
    for (const named_number& entry : table) {
        if ((bits & entry.number) != 0) {
            text.append(text.empty() ? "" : "|").append(entry.name);
            bits &= ~entry.number;
        }
    }
    if (bits != 0) {
        text.append(text.empty() ? "" : "|").append(Hexadecimal(bits));
    }
    return text;
}

}  // namespace

std::string MessageName(DWORD message) {
    const std::string_view name = Find(kMessages, message);
    return name.empty() ? "message " + std::to_string(message) : std::string(name);
}

std::string CallStateName(DWORD state) {
    return NameOrNumber(kCallStates, state);
}

bool IsCallState(DWORD state) {
    return !Find(kCallStates, state).empty();
}

std::string DisconnectModeName(DWORD mode) {
    return mode == 0 ? "none" : NameOrNumber(kDisconnectModes, mode);
}

std::string CallInfoName(DWORD bits) {
    return BitNames(kCallInfoBits, bits);
}

std::string ResultName(LONG result) {
    return result == 0 ? "0" : NameOrNumber(kErrors, static_cast<DWORD>(result));
}

std::string OriginName(DWORD origin) {
    return NameOrNumber(kOrigins, origin);
}

std::string ReasonName(DWORD reason) {
    return NameOrNumber(kReasons, reason);
}

std::string CallFeatureName(DWORD features) {
    return BitNames(kFeatures, features);
}

}  // namespace brivelnox::host
