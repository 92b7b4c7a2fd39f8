#include "call_ledger.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "fuzz_input.h"

namespace brivelnox::fuzz {

namespace {

call_ledger* current = nullptr;

constexpr DWORD kToldStates[] = {
    LINECALLSTATE_IDLE,     LINECALLSTATE_OFFERING,     LINECALLSTATE_ACCEPTED,  LINECALLSTATE_DIALTONE,
    LINECALLSTATE_RINGBACK, LINECALLSTATE_BUSY,         LINECALLSTATE_CONNECTED, LINECALLSTATE_PROCEEDING,
    LINECALLSTATE_ONHOLD,   LINECALLSTATE_DISCONNECTED,
};

constexpr DWORD_PTR kToldModes[] = {
    0,
    LINEDISCONNECTMODE_NORMAL,
    LINEDISCONNECTMODE_BUSY,
    LINEDISCONNECTMODE_BADADDRESS,
    LINEDISCONNECTMODE_INCOMPATIBLE,
    LINEDISCONNECTMODE_TEMPFAILURE,
    LINEDISCONNECTMODE_BLOCKED,
    LINEDISCONNECTMODE_CANCELLED,
};

constexpr DWORD_PTR kToldInformation = LINECALLINFOSTATE_CALLERID | LINECALLINFOSTATE_CALLEDID |
                                       LINECALLINFOSTATE_CONNECTEDID | LINECALLINFOSTATE_REDIRECTINGID |
                                       LINECALLINFOSTATE_REASON;

template <class Value, std::size_t Count>
bool IsOneOf(const Value (&values)[Count], Value value) {
    return std::find(std::begin(values), std::end(values), value) != std::end(values);
}

/// Whether a call may go from one state to the other, whatever has happened in between.
bool MayFollow(const told_call& call, DWORD state) {
    switch (call.state) {
        case LINECALLSTATE_DISCONNECTED:
            return state == LINECALLSTATE_IDLE;
        case LINECALLSTATE_BUSY:
            return state == LINECALLSTATE_IDLE || state == LINECALLSTATE_DISCONNECTED;
        case LINECALLSTATE_PROCEEDING:
            return state != LINECALLSTATE_IDLE &&
                   (state != LINECALLSTATE_CONNECTED || call.source != call_source::placed);
        case LINECALLSTATE_UNKNOWN:
            return state != LINECALLSTATE_IDLE &&
                   (call.source != call_source::placed || state == LINECALLSTATE_PROCEEDING);
        default:
            return state != LINECALLSTATE_IDLE;
    }
}

}  // namespace

call_ledger::call_ledger() {
    current = this;
}

call_ledger::~call_ledger() {
    current = nullptr;
}

void CALLBACK call_ledger::OnEvent(HTAPILINE line, HTAPICALL call, DWORD message, DWORD_PTR param1,
                                   DWORD_PTR param2, DWORD_PTR param3) {
    call_ledger& ledger = *current;
    const auto call_handle = reinterpret_cast<std::uintptr_t>(call);
    ++ledger.message_count_;
    Require(ledger.open_line_ != 0, "nothing is told of a closed line");
    Require(reinterpret_cast<std::uintptr_t>(line) == ledger.open_line_, "messages carry the line's handle");
    switch (message) {
        case LINE_NEWCALL:
            ledger.TakeNewCall(call_handle, param1, param2, param3);
            break;
        case LINE_CALLSTATE:
            ledger.TakeState(call_handle, param1, param2, param3);
            break;
        case LINE_CALLINFO:
            ledger.TakeInformation(call_handle, param1, param2, param3);
            break;
        default:
            Broken("a line tells of calls only", std::to_string(message));
    }
    if (message == LINE_NEWCALL) {
        ledger.announced_ = ledger.answers_ ? ledger.last_handle_ : 0;
    }
    if (ledger.react_) {
        ledger.react_(call_handle, message, message == LINE_CALLSTATE ? static_cast<DWORD>(param1) : 0);
    }
    if (message == LINE_NEWCALL) {
        ledger.announced_ = 0;
    }
}

void call_ledger::LineClosed() {
    open_line_ = 0;
    calls_.erase(std::exchange(announced_, 0));
}

void call_ledger::TakeNewCall(std::uintptr_t call, DWORD_PTR driver_handle, DWORD_PTR address,
                              DWORD_PTR param3) {
    Require(call == 0 && param3 == 0 && address != 0, "a new call has no handle yet");
    Require(driver_handle > last_new_driver_handle_, "driver call handles count up and are never reused");
    last_new_driver_handle_ = driver_handle;
    new_driver_handle_ = driver_handle;
    if (!answers_) {
        return;
    }
    const std::uintptr_t handle = ++last_handle_;
    calls_[handle].line_handle = open_line_;
    calls_[handle].driver_handle = driver_handle;
    *reinterpret_cast<HTAPICALL*>(address) = reinterpret_cast<HTAPICALL>(handle);
}

std::uintptr_t call_ledger::AddOwnCall(call_source source) {
    const std::uintptr_t handle = ++last_handle_;
    calls_[handle].line_handle = open_line_;
    calls_[handle].source = source;
    return handle;
}

told_call* call_ledger::FindCall(std::uint64_t driver_handle) {
    const auto found = std::find_if(calls_.begin(), calls_.end(), [&](const auto& entry) {
        return entry.second.driver_handle == driver_handle;
    });
    return found != calls_.end() ? &found->second : nullptr;
}

told_call& call_ledger::LiveCall(std::uintptr_t call) {
    const auto found = calls_.find(call);
    Require(found != calls_.end(), "a call is announced before anything is told of it");
    told_call& known = found->second;
    Require(!known.was_closed, "nothing is told of a call that TAPI has closed");
    Require(known.state != LINECALLSTATE_IDLE, "nothing is told of an idle call");
    Require(known.line_handle == open_line_, "nothing is told of a call of an earlier opening");
    return known;
}

void call_ledger::TakeState(std::uintptr_t call, DWORD_PTR state, DWORD_PTR mode, DWORD_PTR media_mode) {
    const auto told = static_cast<DWORD>(state);
    Require(IsOneOf(kToldStates, told) && told == state, "only the states of a plain line are told");
    Require(media_mode == LINEMEDIAMODE_INTERACTIVEVOICE, "calls are interactive voice");
    Require(IsOneOf(kToldModes, mode), "only known disconnect modes are told");
    Require(mode == 0 || told == LINECALLSTATE_DISCONNECTED, "a mode goes with DISCONNECTED only");
    states_.push_back({call, told, static_cast<DWORD>(mode)});
    if (call == 0) {
        ended_without_handle_ += told == LINECALLSTATE_IDLE;
        return;
    }
    told_call& known = LiveCall(call);
    Require(known.state != told, "a state is told when it is another");
    if (!MayFollow(known, told)) {
        Broken("a state follows one that it can follow",
               std::to_string(known.state) + " -> " + std::to_string(told));
    }
    Require(told != LINECALLSTATE_DIALTONE || known.source == call_source::consultation,
            "only a consultation call has dial tone");
    known.state = told;
}

void call_ledger::TakeInformation(std::uintptr_t call, DWORD_PTR bits, DWORD_PTR param2, DWORD_PTR param3) {
    Require(bits != 0 && (bits & ~kToldInformation) == 0, "only what belongs to a party is told as changed");
    Require(param2 == 0 && param3 == 0, "LINE_CALLINFO carries nothing but the changes");
    if (call != 0) {
        LiveCall(call).changed_information |= static_cast<DWORD>(bits);
    }
}

void call_ledger::StartOperation() {
    states_.clear();
    new_driver_handle_ = 0;
    for (auto& [handle, call] : calls_) {
        call.changed_information = 0;
    }
}

}  // namespace brivelnox::fuzz
