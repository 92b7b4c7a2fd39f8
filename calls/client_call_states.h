#pragma once

#include <windows.h>

#include <cstdint>
#include <string_view>

namespace brivelnox {

// The softphone's call states, by the numbers that the call records keep. The gaps are intended.
// That of a call for which no event, or none that is known, has come.
inline constexpr std::int32_t kNoClientState = -1;
inline constexpr std::int32_t kClientIncoming = 0;
inline constexpr std::int32_t kClientOutgoing = 1;
inline constexpr std::int32_t kClientRinging = 2;
inline constexpr std::int32_t kClientRingback = 3;
inline constexpr std::int32_t kClientConnected = 4;
inline constexpr std::int32_t kClientParked = 5;
inline constexpr std::int32_t kClientConferenceActive = 6;
inline constexpr std::int32_t kClientConsult = 11;
inline constexpr std::int32_t kClientConferenceConsult = 12;
inline constexpr std::int32_t kClientConferenceInactive = 13;
inline constexpr std::int32_t kClientHangup = 15;

/// The number of the client state that the text names, compared as a whole and with regard to case; -1 for
/// "None" and any other text.
std::int32_t ParseClientCallState(std::wstring_view text);

/// The call reason, a SIP response code, for a called party that is busy.
inline constexpr std::int32_t kCallReasonBusyHere = 486;

/// The LINEDISCONNECTMODE value for a call reason, a SIP response code. A reason that has a mode of its own
/// is logged with it; any other gives LINEDISCONNECTMODE_NORMAL.
DWORD DisconnectModeOf(std::int32_t call_reason);

}  // namespace brivelnox
