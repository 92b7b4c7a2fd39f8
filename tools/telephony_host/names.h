#pragma once

// The symbolic names of TAPI's numbers, as the tables of the telephony headers give them.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <string>

namespace brivelnox::host {

/// "LINE_CALLSTATE", or "message 99" for a number that is no line message.
std::string MessageName(DWORD message);

/// "CONNECTED" for LINECALLSTATE_CONNECTED; bits that are no state, and combinations, as "0x...".
std::string CallStateName(DWORD state);

/// Whether the number is exactly one of the sixteen LINECALLSTATE_ values from IDLE to UNKNOWN.
bool IsCallState(DWORD state);

/// "BUSY" for LINEDISCONNECTMODE_BUSY; 0 as "none"; any other number as "0x...".
std::string DisconnectModeName(DWORD mode);

/// "CALLERID|CALLEDID" for the LINECALLINFOSTATE_ bits; bits without a name as "0x..."; 0 as "none".
std::string CallInfoName(DWORD bits);

/// "LINEERR_INVALPOINTER" for a negative result, "0" for 0; any other number as "0x...".
std::string ResultName(LONG result);

/// "INBOUND" or "OUTBOUND" for LINECALLORIGIN_ values, "FWDBUSY" and so on for LINECALLREASON_ values; any
/// other number as "0x...".
std::string OriginName(DWORD origin);
std::string ReasonName(DWORD reason);

/// "ANSWER|DROP" for the LINECALLFEATURE_ bits; bits without a name as "0x..."; 0 as "none".
std::string CallFeatureName(DWORD features);

}  // namespace brivelnox::host
