#include "call_sequence.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "fixed_uuids.h"
#include "platform/ansi_text.h"
#include "tests/support/manual_clock.h"

namespace brivelnox::fuzz {

namespace {

constexpr std::int32_t kLineId = 7;
constexpr std::size_t kMostSteps = 150;
constexpr std::size_t kLongestText = 80;

bool IsOnHold(std::uint32_t state) {
    return state == LINECALLSTATE_ONHOLD || state == LINECALLSTATE_ONHOLDPENDCONF ||
           state == LINECALLSTATE_ONHOLDPENDTRANSFER;
}

}  // namespace

/// The letters of the steps. Letters of `request` steps are those of call_sequence_requests.cpp.
struct call_sequence::step_row {
    char letter;
    void (call_sequence::*play)();
};

call_sequence::call_sequence(std::string_view input)
    : input_(input),
      calls_(&test::manual_clock::Now),
      registration_{kLineId, 5060, true, true, L"Desk 7"},
      line_(3, registration_, events_, calls_, requests_, 5) {
    StartUuidsAnew();
    test::manual_clock::Set(0);
    ledger_.SetReaction(
        [this](std::uintptr_t call, DWORD message, DWORD state) { React(call, message, state); });
}

void call_sequence::Play() {
    static constexpr step_row kSteps[] = {
        {'O', &call_sequence::OpenLine},
        {'C', &call_sequence::CloseLine},
        {'Y', &call_sequence::ResetCalls},
        {'Z', &call_sequence::UpdateRegistration},
        {'V', &call_sequence::UpdateServiceState},
        {'T', &call_sequence::AdvanceClock},
        {'N', &call_sequence::ReadText},
        {'Q', &call_sequence::ToggleNewCalls},
        {'B', &call_sequence::ToggleService},
        {'E', &call_sequence::ShutDown},
        {'S', &call_sequence::Report},
        {'R', &call_sequence::RemoveCall},
        {'I', &call_sequence::PlanReaction},
        {'X', &call_sequence::TransferCalls},
    };
    for (std::size_t steps = 0; !input_.IsEmpty() && steps < kMostSteps; ++steps) {
        const char letter = input_.Take();
        const auto found = std::find_if(std::begin(kSteps), std::end(kSteps),
                                        [&](const step_row& row) { return row.letter == letter; });
        ledger_.StartOperation();
        if (found != std::end(kSteps)) {
            (this->*found->play)();
        } else {
            MakeRequest(letter);
        }
        Settle();
    }
    planned_.clear();
    ledger_.StartOperation();
    CloseLine();
    Settle();
    ShutDown();
    Settle();
}

/// What holds between any two steps.
void call_sequence::Settle() {
    KnowNewCalls();
    for (const auto& [handle, told] : ledger_.Calls()) {
        if (!told.was_closed) {
            CheckRecord(handle, told);
        }
    }
    Require(ledger_.EndedWithoutHandle() <= calls_without_handle_, "a call ends once");
    if (!is_shut_) {
        CheckCounts();
    }
    requests_.Clear();
}

void call_sequence::CheckRecord(std::uintptr_t handle, const told_call& told) const {
    const call_ptr call = calls_.FindCall(told.driver_handle);
    Require(call != nullptr, "an announced call has a record until TAPI closes it");
    Require(reinterpret_cast<std::uintptr_t>(call->TapiCallHandle()) == handle, "a record has TAPI's handle");
    if (told.line_handle != ledger_.OpenLine()) {
        Require(told.state == LINECALLSTATE_IDLE, "every call ends idle when its line is closed");
    }
    Require(call->State() == told.state, "a record has the state that TAPI was told");
    Require(told.state == LINECALLSTATE_IDLE || call->ChangedCallInfo() == 0,
            "no change of information stays untold");
}

void call_sequence::CheckCounts() {
    std::uint32_t active = 0;
    std::uint32_t on_hold = 0;
    for (const std::uint64_t handle : handles_) {
        if (const call_ptr call = calls_.FindCall(handle); call != nullptr && line_.IsOpen()) {
            on_hold += IsOnHold(call->State());
            active += call->State() != LINECALLSTATE_IDLE && !IsOnHold(call->State());
        }
    }
    Require(line_.Calls().CountCalls().active == active, "active calls are counted");
    Require(line_.Calls().CountCalls().on_hold == on_hold, "calls on hold are counted");
}

/// As the line manager does it, for a TAPI that opens no line that is open.
void call_sequence::OpenLine() {
    if (ledger_.OpenLine() != 0 || line_.IsRetired()) {
        return;
    }
    const std::uintptr_t handle = ++last_line_handle_;
    bool has_failed = false;
    try {
        line_.Open(reinterpret_cast<HTAPILINE>(handle), call_ledger::Procedure());
    } catch (const std::runtime_error&) {
        has_failed = true;
    }
    Require(has_failed == (closing_ != 0), "a line is opened unless it is being closed");
    if (!has_failed) {
        ledger_.LineOpened(handle);
    }
}

void call_sequence::CloseLine() {
    const std::size_t reactions = reactions_;
    ++closing_;
    line_.Close();
    --closing_;
    CheckReset(reactions == reactions_ && ledger_.OpenLine() != 0);
    Require(!line_.IsOpen(), "a closed line is closed, whatever happens while it is being closed");
    ledger_.LineClosed();
}

void call_sequence::ResetCalls() {
    const std::size_t reactions = reactions_;
    line_.Calls().ResetCalls();
    CheckReset(reactions == reactions_ && ledger_.OpenLine() != 0);
}

void call_sequence::CheckReset(bool is_reset) const {
    for (const std::uint64_t handle : handles_) {
        const call_ptr call = calls_.FindCall(handle);
        Require(!is_reset || call == nullptr || call->State() == LINECALLSTATE_IDLE,
                "a reset ends every call");
    }
}

void call_sequence::UpdateRegistration() {
    constexpr std::uint32_t kPorts[] = {5060, 5061, 0};
    const bool registered = input_.Choose(2) == 0;
    client_registration registration = registration_;
    registration.tcpPort = kPorts[input_.Choose(std::size(kPorts))];
    registration.permanentLineId = kLineId + static_cast<std::int32_t>(input_.Choose(2));
    const bool is_another = registration.tcpPort != registration_.tcpPort ||
                            registration.permanentLineId != registration_.permanentLineId;
    registration_ = registration;
    const std::size_t reactions = reactions_;
    line_.UpdateRegistration(registration, registered);
    CheckReset(reactions == reactions_ && ledger_.OpenLine() != 0 && (is_another || !registered));
    Require(line_.PermanentLineId() == kLineId, "a line keeps its id");
}

void call_sequence::UpdateServiceState() {
    const bool client = input_.Choose(2) == 1;
    const bool sip = input_.Choose(2) == 1;
    const bool has_changed = client != std::exchange(client_connected_, client);
    const std::size_t reactions = reactions_;
    line_.UpdateServiceState(client, sip);
    CheckReset(reactions == reactions_ && ledger_.OpenLine() != 0 && has_changed);
    Require(line_.CanAnswer() == (client && sip), "calls can be answered when both connections are up");
}

void call_sequence::AdvanceClock() {
    constexpr std::int64_t kSteps[] = {1, 500, 2998, 2999, 3000, 3001, 60000, -1, -5000};
    clock_ += kSteps[input_.Choose(std::size(kSteps))];
    test::manual_clock::Set(clock_);
}

void call_sequence::ReadText() {
    text_ = ToWide(input_.Line(kLongestText));
}

void call_sequence::ToggleNewCalls() {
    ledger_.SetAnswersNewCalls(!ledger_.AnswersNewCalls());
}

void call_sequence::ToggleService() {
    service_is_up_ = !service_is_up_;
    requests_.SetResult(service_is_up_);
}

/// As the line manager does it; what comes later finds nobody.
void call_sequence::ShutDown() {
    CloseLine();
    line_.Retire();
    events_.Shut();
    is_shut_ = true;
}

std::uint64_t call_sequence::HandleInSlot(std::size_t slot) const {
    constexpr std::uint64_t kNoCall = 0xFFFF;
    // The newest first.
    return slot < handles_.size() ? handles_[handles_.size() - 1 - slot] : kNoCall;
}

call_sequence::call_ptr call_sequence::FindById(const std::wstring& client_call_id) const {
    for (auto handle = handles_.rbegin(); handle != handles_.rend(); ++handle) {
        if (call_ptr call = calls_.FindCall(*handle);
            call != nullptr && call->ClientCallId() == client_call_id) {
            return call;
        }
    }
    return nullptr;
}

void call_sequence::Know(std::uint64_t driver_handle) {
    if (std::find(handles_.begin(), handles_.end(), driver_handle) != handles_.end()) {
        return;
    }
    handles_.push_back(driver_handle);
    created_.push_back(clock_);
    if (const call_ptr call = calls_.FindCall(driver_handle)) {
        calls_without_handle_ += call->TapiCallHandle() == nullptr;
    }
}

void call_sequence::KnowNewCalls() {
    if (ledger_.NewDriverHandle() != 0) {
        Know(ledger_.NewDriverHandle());
    }
    // Those that TAPI was not told of, its line being closed.
    std::uint64_t next = 1;
    for (const std::uint64_t handle : handles_) {
        next = std::max(next, handle + 1);
    }
    for (; calls_.FindCall(next) != nullptr; ++next) {
        Know(next);
    }
}

}  // namespace brivelnox::fuzz
