#pragma once

#include <windows.h>
#include <tapi.h>

#include <cstdint>
#include <string_view>
#include <vector>

namespace brivelnox::fuzz {

/// What a softphone's state meets.
struct met_call {
    bool is_known = false;
    DWORD state = LINECALLSTATE_UNKNOWN;
    DWORD mode = 0;
    bool is_placed_by_tapi = false;  // by the request to make a call
    bool is_connect_held_back = false;
    std::int32_t milliseconds = 0;  // since it came about
};

/// One state that TAPI is to be told.
struct state_step {
    DWORD state = 0;
    DWORD mode = 0;

    bool operator==(const state_step&) const = default;
};
using state_steps = std::vector<state_step>;

/// The states that TAPI is told after a softphone's report, in order, when nothing comes between.
state_steps StepsAfterReport(std::wstring_view client_state, bool is_caller, std::int32_t call_reason,
                             const met_call& met);

/// The states that TAPI is told when the softphone has removed the call.
state_steps StepsAfterRemoval(const met_call& met);

/// Whether the softphone's connect is not believed yet.
bool IsConnectHeldBack(const met_call& met);

/// Whether the report creates a call that is not known yet.
bool CreatesCall(std::wstring_view client_state);

/// The disconnect mode that a call reason is kept as.
DWORD ModeOfReason(std::int32_t call_reason);

}  // namespace brivelnox::fuzz
