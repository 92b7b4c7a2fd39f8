#include "calls/call_state_names.h"

#include <windows.h>
#include <tapi.h>

namespace brivelnox {

namespace {

constexpr struct {
    std::uint32_t state;
    const wchar_t* name;
} kCallStates[] = {
    {LINECALLSTATE_IDLE, L"Idle"},
    {LINECALLSTATE_OFFERING, L"Offering"},
    {LINECALLSTATE_ACCEPTED, L"Accepted"},
    {LINECALLSTATE_DIALTONE, L"DialTone"},
    {LINECALLSTATE_DIALING, L"Dialing"},
    {LINECALLSTATE_RINGBACK, L"RingBack"},
    {LINECALLSTATE_BUSY, L"Busy"},
    {LINECALLSTATE_SPECIALINFO, L"SpecialInfo"},
    {LINECALLSTATE_CONNECTED, L"Connected"},
    {LINECALLSTATE_PROCEEDING, L"Proceeding"},
    {LINECALLSTATE_ONHOLD, L"OnHold"},
    {LINECALLSTATE_CONFERENCED, L"Conferenced"},
    {LINECALLSTATE_ONHOLDPENDCONF, L"OnHoldPendConf"},
    {LINECALLSTATE_ONHOLDPENDTRANSFER, L"OnHoldPendTransfer"},
    {LINECALLSTATE_DISCONNECTED, L"Disconnected"},
    {LINECALLSTATE_UNKNOWN, L"Unknown"},
};

}  // namespace

const wchar_t* CallStateName(std::uint32_t state) {
    for (const auto& row : kCallStates) {
        if (row.state == state) {
            return row.name;
        }
    }
    return L"";
}

bool IsCallState(std::uint32_t state) {
    return *CallStateName(state) != L'\0';
}

}  // namespace brivelnox
