#include "calls/call_state_names.h"

#include "platform/bit_names.h"

namespace brivelnox {

namespace {

// From LINECALLSTATE_IDLE (1) to LINECALLSTATE_UNKNOWN (0x8000), in the order of their bits.
constexpr const wchar_t* kCallStates[] = {
    L"Idle",           L"Offering",           L"Accepted",     L"DialTone",   L"Dialing", L"RingBack",
    L"Busy",           L"SpecialInfo",        L"Connected",    L"Proceeding", L"OnHold",  L"Conferenced",
    L"OnHoldPendConf", L"OnHoldPendTransfer", L"Disconnected", L"Unknown",
};

}  // namespace

const wchar_t* CallStateName(std::uint32_t state) {
    return NameOfBit(kCallStates, state);
}

bool IsCallState(std::uint32_t state) {
    return *CallStateName(state) != L'\0';
}

}  // namespace brivelnox
