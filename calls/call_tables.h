#pragma once

// What the softphone's words about a call mean, for the provider and for TAPI. Texts are compared as a whole
// and with regard to case.

#include <windows.h>

#include <cstdint>
#include <string_view>

namespace brivelnox {

/// The log's name of a LINECALLSTATE value; empty for anything that is none of the sixteen.
const wchar_t* CallStateName(std::uint32_t state);

/// Whether the value is one of the sixteen LINECALLSTATE values from IDLE (1) to UNKNOWN (0x8000).
bool IsCallState(std::uint32_t state);

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

/// The number of the client state that the text names; -1 for "None" and any other text.
std::int32_t ParseClientCallState(std::wstring_view text);

/// How a call was forwarded, as the softphone tells it.
enum class forward_type : std::int32_t {
    none = 0,
    cfi = 1,
    cfu = 2,
    cfb = 3,
    cfnr = 4,
    pickup = 5,
    blind_transfer = 6,
    transfer = 7,
    bl_back = 8,
};

/// The type that the text names; `none` for any other text.
forward_type ParseForwardType(std::wstring_view text);

/// The LINECALLREASON value that TAPI is told for the type.
DWORD CallReasonOf(forward_type type);

/// The call reason, a SIP response code, for a called party that is busy.
inline constexpr std::int32_t kCallReasonBusyHere = 486;

/// The LINEDISCONNECTMODE value for a call reason, a SIP response code. A reason that has a mode of its own
/// is logged with it; any other gives LINEDISCONNECTMODE_NORMAL.
DWORD DisconnectModeOf(std::int32_t call_reason);

}  // namespace brivelnox
