#include "state_model.h"

namespace brivelnox::fuzz {

namespace {

constexpr std::int32_t kBusyHere = 486;
constexpr std::int32_t kBelievedAfter = 3000;

constexpr struct {
    char letter;
    DWORD state;
} kLetters[] = {
    {'o', LINECALLSTATE_OFFERING}, {'a', LINECALLSTATE_ACCEPTED},  {'p', LINECALLSTATE_PROCEEDING},
    {'r', LINECALLSTATE_RINGBACK}, {'c', LINECALLSTATE_CONNECTED}, {'h', LINECALLSTATE_ONHOLD},
    {'b', LINECALLSTATE_BUSY},     {'i', LINECALLSTATE_IDLE},
};

/// One report of a softphone: the states of a call that it begins, where the local party calls and where it
/// is called; of a call that TAPI has placed and that is proceeding (null: like any other); of any other
/// call.
struct report_row {
    std::wstring_view name;
    const char* new_caller;
    const char* new_called;
    const char* placed;
    const char* known;
};
constexpr char kByTime[] = "by time";
constexpr char kIfHeldBack[] = "if held back";
constexpr report_row kReports[] = {
    {L"Incoming", "", "", kIfHeldBack, ""},           {L"Outgoing", "", "", kIfHeldBack, ""},
    {L"Ringing", "oa", "oa", nullptr, "a"},           {L"Ringback", "pr", "pr", "pr", "r"},
    {L"Connected", "prc", "oac", kByTime, "c"},       {L"Parked", "pch", "och", nullptr, "h"},
    {L"ConferenceActive", "prc", "oac", "prc", "c"},  {L"Consult", "prc", "oac", "prc", "c"},
    {L"ConferenceConsult", "prc", "oac", "prc", "c"}, {L"ConferenceInactive", "prc", "oac", "prc", "c"},
};

constexpr struct {
    std::int32_t reason;
    DWORD mode;
} kModes[] = {
    {401, LINEDISCONNECTMODE_BLOCKED},     {403, LINEDISCONNECTMODE_BLOCKED},
    {404, LINEDISCONNECTMODE_BADADDRESS},  {415, LINEDISCONNECTMODE_INCOMPATIBLE},
    {480, LINEDISCONNECTMODE_TEMPFAILURE}, {484, LINEDISCONNECTMODE_BADADDRESS},
    {486, LINEDISCONNECTMODE_BUSY},        {600, LINEDISCONNECTMODE_BUSY},
};

const report_row* FindReport(std::wstring_view name) {
    for (const report_row& row : kReports) {
        if (row.name == name) {
            return &row;
        }
    }
    return nullptr;
}

const char* LettersOfKnown(const report_row& row, const met_call& met) {
    if (row.placed == nullptr || !met.is_placed_by_tapi || met.state != LINECALLSTATE_PROCEEDING) {
        return row.known;
    }
    if (row.placed == kByTime) {
        return IsConnectHeldBack(met) ? "p" : "prc";
    }
    if (row.placed == kIfHeldBack) {
        return met.is_connect_held_back ? "pr" : "";
    }
    return row.placed;
}

/// A state that the call already has is not told, and nothing behind IDLE.
void AddStep(state_steps& steps, DWORD& state, const state_step& next) {
    if (state != LINECALLSTATE_IDLE && state != next.state) {
        steps.push_back(next);
        state = next.state;
    }
}

state_steps ToSteps(const char* letters, DWORD state) {
    state_steps steps;
    for (; *letters != '\0'; ++letters) {
        for (const auto& row : kLetters) {
            if (row.letter == *letters) {
                AddStep(steps, state, {row.state, 0});
            }
        }
    }
    return steps;
}

}  // namespace

state_steps StepsAfterReport(std::wstring_view client_state, bool is_caller, std::int32_t call_reason,
                             const met_call& met) {
    if (client_state == L"Hangup") {
        return met.is_known && call_reason == kBusyHere ? ToSteps("bi", met.state) : state_steps();
    }
    const report_row* const row = FindReport(client_state);
    if (row == nullptr) {
        return {};
    }
    if (met.is_known) {
        return ToSteps(LettersOfKnown(*row, met), met.state);
    }
    return ToSteps(is_caller ? row->new_caller : row->new_called, LINECALLSTATE_UNKNOWN);
}

state_steps StepsAfterRemoval(const met_call& met) {
    state_steps steps;
    if (met.is_known) {
        DWORD state = met.state;
        AddStep(steps, state, {LINECALLSTATE_DISCONNECTED, met.mode});
        AddStep(steps, state, {LINECALLSTATE_IDLE, 0});
    }
    return steps;
}

bool IsConnectHeldBack(const met_call& met) {
    return met.is_placed_by_tapi && met.state == LINECALLSTATE_PROCEEDING &&
           met.milliseconds < kBelievedAfter;
}

bool CreatesCall(std::wstring_view client_state) {
    const report_row* const row = FindReport(client_state);
    return row != nullptr && *row->new_called != '\0';
}

DWORD ModeOfReason(std::int32_t call_reason) {
    for (const auto& row : kModes) {
        if (row.reason == call_reason) {
            return row.mode;
        }
    }
    return LINEDISCONNECTMODE_NORMAL;
}

}  // namespace brivelnox::fuzz
