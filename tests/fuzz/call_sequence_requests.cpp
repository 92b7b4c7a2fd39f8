// The applications' side of a sequence: their requests, also from inside messages.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "call_sequence.h"
#include "platform/ansi_text.h"

namespace brivelnox::fuzz {

namespace {

constexpr std::size_t kSlots = 10;
constexpr std::size_t kMostCalls = 24;
constexpr std::size_t kMostPlanned = 8;
constexpr std::size_t kDeepest = 3;

using call_request = void (*)(call_manager& calls, std::uint64_t handle, const std::wstring& text);

void GenerateDigits(call_manager& calls, std::uint64_t handle, const std::wstring& text) {
    const auto call = calls.FindCall(handle);
    const bool allowed =
        call != nullptr && !call->Line().IsRetired() && call->State() == LINECALLSTATE_CONNECTED;
    Require(
        calls.GenerateDigits(handle, 0, text) == (allowed ? 0 : static_cast<LONG>(LINEERR_OPERATIONFAILED)),
        "digits are played to a connected call only");
}

}  // namespace

/// A request, the states that allow it and what it sends then.
struct call_sequence::request_row {
    char letter;
    call_request make;
    DWORD allowed;  // LINECALLSTATE bits
    const char* sent;
    bool has_text;
};

bool call_sequence::MayMakeCalls() const {
    return ledger_.OpenLine() != 0 && handles_.size() < kMostCalls;
}

/// Makes a call of TAPI's own with `make`, which throws when it fails, and requires that it does so on a line
/// that is being closed and on no other: nothing would end the call. Whether it was made.
bool call_sequence::MakeOwnCall(std::uintptr_t handle, const std::function<void()>& make) {
    const bool must_fail = closing_ != 0;
    if (must_fail) {
        KnowNewCalls();
    }
    const std::size_t calls = handles_.size();
    const std::size_t sent = requests_.Requests().size();
    const std::size_t told = ledger_.MessageCount();
    try {
        make();
    } catch (const std::runtime_error&) {
        Require(must_fail, "a call is made on a line that is not being closed");
        Require(ledger_.MessageCount() == told, "a request that fails tells nothing");
        Require(requests_.Requests().size() == sent, "a request that fails sends nothing");
        KnowNewCalls();
        Require(handles_.size() == calls, "a request that fails leaves no record");
        ledger_.ForgetCall(handle);
        return false;
    }
    Require(!must_fail, "no call is made on a line that is being closed");
    return true;
}

/// Letters that are none of a step are passed over.
void call_sequence::MakeRequest(char letter) {
    constexpr std::string_view kWithCall = "AHUDWGKPL";
    if (letter == 'M') {
        MakeCall();
    } else if (kWithCall.find(letter) != std::string_view::npos) {
        Request(letter, HandleInSlot(input_.Choose(kSlots)));
    }
}

void call_sequence::Request(char letter, std::uint64_t driver_handle) {
    static constexpr DWORD kLive = (LINECALLSTATE_DISCONNECTED - 1) & ~DWORD{LINECALLSTATE_IDLE};
    static constexpr request_row kRequests[] = {
        {'A',
         [](call_manager& calls, std::uint64_t handle, const std::wstring&) { calls.AnswerCall(handle); },
         LINECALLSTATE_OFFERING | LINECALLSTATE_ACCEPTED, "acceptCall", false},
        {'H', [](call_manager& calls, std::uint64_t handle, const std::wstring&) { calls.HoldCall(handle); },
         LINECALLSTATE_CONNECTED, "holdCall", false},
        {'U',
         [](call_manager& calls, std::uint64_t handle, const std::wstring&) { calls.ResumeCall(handle); },
         LINECALLSTATE_ONHOLD, "resumeCall", false},
        {'D', [](call_manager& calls, std::uint64_t handle, const std::wstring&) { calls.DropCall(handle); },
         kLive, "hangupCall", false},
        {'W',
         [](call_manager& calls, std::uint64_t handle, const std::wstring& text) {
             calls.ForwardCall(handle, text);
         },
         LINECALLSTATE_OFFERING | LINECALLSTATE_ACCEPTED | LINECALLSTATE_CONNECTED, "forwardCall", true},
        {'G', &GenerateDigits, LINECALLSTATE_CONNECTED, "playDtmf", true},
    };
    for (const request_row& row : kRequests) {
        if (row.letter == letter) {
            RequestOfRow(row, driver_handle);
        }
    }
    switch (letter) {
        case 'K':
            CloseCall(driver_handle);
            break;
        case 'L':
            DialCall(driver_handle);
            break;
        case 'P':
            PrepareConsultation(driver_handle);
            break;
        default:
            break;
    }
}

std::string call_sequence::ExpectedRequest(const request_row& row, const call_ptr& call) const {
    if (call == nullptr || is_shut_ || (call->State() & row.allowed) == 0) {
        return {};
    }
    return std::string(row.sent) + " 7 " + ToAnsi(call->ClientCallId()) +
           (row.has_text ? ' ' + ToAnsi(text_) : std::string());
}

void call_sequence::RequestOfRow(const request_row& row, std::uint64_t driver_handle) {
    const std::string expected = ExpectedRequest(row, calls_.FindCall(driver_handle));
    const std::size_t before = requests_.Requests().size();
    const std::size_t reactions = reactions_;
    row.make(calls_, driver_handle, text_);
    if (reactions != reactions_) {
        return;
    }
    const std::vector<std::string> sent = requests_.Requests();
    Require(
        sent.size() == before + (expected.empty() ? 0 : 1) && (expected.empty() || sent.back() == expected),
        "a request is sent once, in the states that allow it");
}

void call_sequence::TransferCalls() {
    const call_ptr active = calls_.FindCall(HandleInSlot(input_.Choose(kSlots)));
    const call_ptr held = calls_.FindCall(HandleInSlot(input_.Choose(kSlots)));
    const bool allowed = active != nullptr && held != nullptr && !is_shut_ &&
                         active->State() == LINECALLSTATE_CONNECTED && held->State() == LINECALLSTATE_ONHOLD;
    constexpr std::uint64_t kNoCall = 0xFFFF;
    calls_.TransferCall(active != nullptr ? active->DriverCallHandle() : kNoCall,
                        held != nullptr ? held->DriverCallHandle() : kNoCall);
    const std::vector<std::string> sent = requests_.Requests();
    Require(sent.empty() != allowed, "a connected call and one on hold are joined, and no others");
    if (allowed) {
        Require(sent.back() ==
                    "transferCall 7 " + ToAnsi(active->ClientCallId()) + ' ' + ToAnsi(held->ClientCallId()),
                "a transfer names both calls");
    }
}

void call_sequence::CloseCall(std::uint64_t driver_handle) {
    const call_ptr call = calls_.FindCall(driver_handle);
    if (told_call* const told = ledger_.FindCall(driver_handle); told != nullptr && call != nullptr) {
        told->was_closed = true;
    }
    calls_.CloseCall(driver_handle);
    Require(calls_.FindCall(driver_handle) == nullptr, "a closed call is forgotten");
    Require(call == nullptr || call->State() == LINECALLSTATE_IDLE, "a closed call is idle");
}

void call_sequence::MakeCall() {
    if (!MayMakeCalls()) {
        return;
    }
    const std::uintptr_t handle = ledger_.AddOwnCall(call_source::placed);
    std::uint64_t driver_handle = 0;
    const auto make = [&] {
        line_.Calls().MakeCall(reinterpret_cast<HTAPICALL>(handle), 0, text_, driver_handle);
    };
    if (!MakeOwnCall(handle, make)) {
        return;
    }
    Require(driver_handle != 0, "a placed call has a driver call handle");
    ledger_.CallOf(handle).driver_handle = driver_handle;
    Know(driver_handle);
}

/// As the provider sets up a transfer: the call comes about, then it has dial tone.
void call_sequence::PrepareConsultation(std::uint64_t driver_handle) {
    if (!MayMakeCalls()) {
        return;
    }
    const std::uintptr_t handle = ledger_.AddOwnCall(call_source::consultation);
    std::uint64_t consultation_handle = 0;
    const auto prepare = [&] {
        calls_.PrepareConsultationCall(driver_handle, reinterpret_cast<HTAPICALL>(handle),
                                       consultation_handle);
    };
    if (calls_.FindCall(driver_handle) == nullptr) {
        prepare();
        Require(consultation_handle == 0, "only a known call is consulted on");
        ledger_.ForgetCall(handle);
        return;
    }
    if (!MakeOwnCall(handle, prepare)) {
        return;
    }
    Require(consultation_handle != 0, "a consultation call has a driver call handle");
    ledger_.CallOf(handle).driver_handle = consultation_handle;
    Know(consultation_handle);
    calls_.FindCall(consultation_handle)->SetState(LINECALLSTATE_DIALTONE, 0, true);
}

void call_sequence::DialCall(std::uint64_t driver_handle) {
    const call_ptr call = calls_.FindCall(driver_handle);
    // Any other state TAPI is refused before.
    if (call == nullptr || is_shut_ || call->State() != LINECALLSTATE_DIALTONE) {
        return;
    }
    const bool must_fail = closing_ != 0;
    const std::wstring id = call->ClientCallId();
    const std::size_t sent = requests_.Requests().size();
    bool has_failed = false;
    try {
        line_.Calls().Dial(call, 0, text_);
    } catch (const std::runtime_error&) {
        has_failed = true;
    }
    Require(has_failed == must_fail, "no call is dialled while its line is being closed");
    Require((call->ClientCallId() == id) == has_failed, "a dialled call has a new id");
    Require(!has_failed || requests_.Requests().size() == sent, "what is not dialled is not sent");
}

void call_sequence::PlanReaction() {
    constexpr DWORD kMessages[] = {LINE_CALLSTATE, LINE_CALLINFO, LINE_NEWCALL};
    constexpr DWORD kStates[] = {
        0,
        LINECALLSTATE_OFFERING,
        LINECALLSTATE_ACCEPTED,
        LINECALLSTATE_PROCEEDING,
        LINECALLSTATE_RINGBACK,
        LINECALLSTATE_CONNECTED,
        LINECALLSTATE_ONHOLD,
        LINECALLSTATE_BUSY,
        LINECALLSTATE_DISCONNECTED,
        LINECALLSTATE_IDLE,
        LINECALLSTATE_DIALTONE,
    };
    planned_reaction planned{};
    planned.message = kMessages[input_.Choose(std::size(kMessages))];
    planned.state = kStates[input_.Choose(std::size(kStates))];
    planned.letter = input_.Take();
    planned.slot = input_.Choose(kSlots);
    if (planned_.size() < kMostPlanned) {
        planned_.push_back(planned);
    }
}

/// One reaction to each message. After one that closes or opens the line the next follows at once: when the
/// line is closed there may be no other message to do it from.
void call_sequence::React(std::uintptr_t call, DWORD message, DWORD state) {
    constexpr std::string_view kGoOn = "COE";
    bool goes_on = depth_ < kDeepest;
    while (goes_on) {
        const auto found =
            std::find_if(planned_.begin(), planned_.end(), [&](const planned_reaction& planned) {
                return planned.message == message &&
                       (message != LINE_CALLSTATE || planned.state == 0 || planned.state == state);
            });
        if (found == planned_.end()) {
            return;
        }
        const planned_reaction reaction = *found;
        planned_.erase(found);
        ++reactions_;
        ++depth_;
        ReactWith(reaction, call);
        --depth_;
        goes_on = kGoOn.find(reaction.letter) != std::string_view::npos;
    }
}

void call_sequence::ReactWith(const planned_reaction& reaction, std::uintptr_t call) {
    constexpr std::size_t kThisCall = kSlots - 1;
    switch (reaction.letter) {
        case 'M':
            MakeCall();
            break;
        case 'O':
            OpenLine();
            break;
        case 'C':
            CloseLine();
            break;
        case 'E':
            ShutDown();
            break;
        default: {
            const auto told = ledger_.Calls().find(call);
            // While a request that makes a call has not returned, nobody knows the call's handle.
            const std::uint64_t this_call = told != ledger_.Calls().end() ? told->second.driver_handle : 0;
            Request(reaction.letter, reaction.slot == kThisCall ? this_call : HandleInSlot(reaction.slot));
            break;
        }
    }
}

}  // namespace brivelnox::fuzz
