#include "calls/client_call_states.h"

#include <windows.h>
#include <tapi.h>

#include "calls/line_log.h"
#include "logging/category_log.h"

namespace brivelnox {

namespace {

constexpr category_log Log{kLineCategory};

constexpr struct {
    std::wstring_view text;
    std::int32_t state;
} kClientStates[] = {
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

constexpr struct {
    std::int32_t reason;
    DWORD mode;
    const wchar_t* word;
} kDisconnectReasons[] = {
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

std::int32_t ParseClientCallState(std::wstring_view text) {
    for (const auto& row : kClientStates) {
        if (row.text == text) {
            return row.state;
        }
    }
    return kNoClientState;
}

DWORD DisconnectModeOf(std::int32_t call_reason) {
    for (const auto& row : kDisconnectReasons) {
        if (row.reason == call_reason) {
            Log(L"Hangup, call reason %d -> signal disconnected state with cause '%s' %d", call_reason,
                row.word, row.mode);
            Log(L"Call reason %d -> callStateMode %d", call_reason, row.mode);
            return row.mode;
        }
    }
    return LINEDISCONNECTMODE_NORMAL;
}

}  // namespace brivelnox
