#include "calls/call_tables.h"

#include <windows.h>
#include <tapi.h>

#include <algorithm>
#include <iterator>

#include "calls/line_log.h"
#include "logging/category_log.h"
#include "platform/bit_names.h"

namespace brivelnox {

namespace {

constexpr category_log Log{kLineCategory};

// From LINECALLSTATE_IDLE (1) to LINECALLSTATE_UNKNOWN (0x8000), in the order of their bits.
constexpr const wchar_t* kCallStates[] = {
    L"Idle",           L"Offering",           L"Accepted",     L"DialTone",   L"Dialing", L"RingBack",
    L"Busy",           L"SpecialInfo",        L"Connected",    L"Proceeding", L"OnHold",  L"Conferenced",
    L"OnHoldPendConf", L"OnHoldPendTransfer", L"Disconnected", L"Unknown",
};

struct client_state_row {
    std::wstring_view text;
    std::int32_t state;
};

constexpr client_state_row kClientStates[] = {
    {L"Incoming", kClientIncoming},
    {L"Outgoing", kClientOutgoing},
    {L"Ringing", kClientRinging},
    {L"Ringback", kClientRingback},
    {L"Connected", kClientConnected},
    {L"Parked", kClientParked},
    {L"ConferenceActive", kClientConferenceActive},
    {L"Consult", kClientConsult},
    {L"ConferenceConsult", kClientConferenceConsult},
    {L"ConferenceInactive", kClientConferenceInactive},
    {L"Hangup", kClientHangup},
};

struct forward_type_row {
    std::wstring_view text;
    forward_type type;
    DWORD reason;
};

constexpr forward_type_row kForwardTypes[] = {
    {L"NONE", forward_type::none, LINECALLREASON_DIRECT},
    {L"CFI", forward_type::cfi, LINECALLREASON_REDIRECT},
    {L"CFU", forward_type::cfu, LINECALLREASON_FWDUNCOND},
    {L"CFB", forward_type::cfb, LINECALLREASON_FWDBUSY},
    {L"CFNR", forward_type::cfnr, LINECALLREASON_FWDNOANSWER},
    {L"PICKUP", forward_type::pickup, LINECALLREASON_PICKUP},
    {L"BLINDTRANSFER", forward_type::blind_transfer, LINECALLREASON_TRANSFER},
    {L"TRANSFER", forward_type::transfer, LINECALLREASON_TRANSFER},
    {L"BL_BACK", forward_type::bl_back, LINECALLREASON_TRANSFER},
};

struct disconnect_reason_row {
    std::int32_t reason;
    DWORD mode;
    const wchar_t* word;
};

constexpr disconnect_reason_row kDisconnectReasons[] = {
    {401, LINEDISCONNECTMODE_BLOCKED, L"blocked"},
    {403, LINEDISCONNECTMODE_BLOCKED, L"blocked"},
    {404, LINEDISCONNECTMODE_BADADDRESS, L"bad address"},
    {415, LINEDISCONNECTMODE_INCOMPATIBLE, L"incompatible"},
    {480, LINEDISCONNECTMODE_TEMPFAILURE, L"temp failure"},
    {484, LINEDISCONNECTMODE_BADADDRESS, L"bad address"},
    {kCallReasonBusyHere, LINEDISCONNECTMODE_BUSY, L"busy"},
    {600, LINEDISCONNECTMODE_BUSY, L"busy"},
};

}  // namespace

const wchar_t* CallStateName(std::uint32_t state) {
    return NameOfBit(kCallStates, state);
}

bool IsCallState(std::uint32_t state) {
    return *CallStateName(state) != L'\0';
}

std::int32_t ParseClientCallState(std::wstring_view text) {
    const auto* const row = std::ranges::find(kClientStates, text, &client_state_row::text);
    return row != std::end(kClientStates) ? row->state : kNoClientState;
}

forward_type ParseForwardType(std::wstring_view text) {
    const auto* const row = std::ranges::find(kForwardTypes, text, &forward_type_row::text);
    return row != std::end(kForwardTypes) ? row->type : forward_type::none;
}

DWORD CallReasonOf(forward_type type) {
    const auto* const row = std::ranges::find(kForwardTypes, type, &forward_type_row::type);
    return row != std::end(kForwardTypes) ? row->reason : LINECALLREASON_DIRECT;
}

DWORD DisconnectModeOf(std::int32_t call_reason) {
    const auto* const row =
        std::ranges::find(kDisconnectReasons, call_reason, &disconnect_reason_row::reason);
    if (row == std::end(kDisconnectReasons)) {
        return LINEDISCONNECTMODE_NORMAL;
    }
    Log(L"Hangup, call reason %d -> signal disconnected state with cause '%s' %d", call_reason, row->word,
        row->mode);
    Log(L"Call reason %d -> callStateMode %d", call_reason, row->mode);
    return row->mode;
}

}  // namespace brivelnox
