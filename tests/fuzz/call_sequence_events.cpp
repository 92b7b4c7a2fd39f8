// The softphone's side of a sequence.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "call_sequence.h"
#include "calls/call_tables.h"

namespace brivelnox::fuzz {

namespace {

constexpr const wchar_t* kStates[] = {
    L"Incoming",  L"Outgoing",           L"Ringing", L"Ringback",          L"Connected", L"Parked",
    L"Hangup",    L"ConferenceActive",   L"Consult", L"ConferenceConsult", L"None",      L"",
    L"connected", L"ConferenceInactive",
};
constexpr std::int32_t kReasons[] = {
    0, 200, 401, 403, 404, 415, 480, 484, 486, 600, -1, 487, std::numeric_limits<std::int32_t>::min(),
};
constexpr const wchar_t* kParties[] = {L"", L"100", L"200", L"Alice", L"Bob"};
constexpr const wchar_t* kForwardTypes[] = {
    L"",       L"NONE",          L"CFI",      L"CFU",     L"CFB", L"CFNR",
    L"PICKUP", L"BLINDTRANSFER", L"TRANSFER", L"BL_BACK", L"cfu",
};

constexpr std::uint32_t kPartyBits = LINECALLINFOSTATE_CALLERID | LINECALLINFOSTATE_CALLEDID;

/// The bits of what the report changes in the record.
std::uint32_t ChangedBits(const call_details& before, const client_call_state& report) {
    std::uint32_t bits = 0;
    const auto note = [&](const std::wstring& held, const std::wstring& reported, std::uint32_t changed) {
        bits |= held != reported ? changed : 0;
    };
    note(before.self_number, report.selfPhoneNumber, kPartyBits);
    note(before.self_name, report.selfName, kPartyBits);
    note(before.peer_number, report.peerPhoneNumber, kPartyBits);
    note(before.peer_name, report.peerName, kPartyBits);
    note(before.connected_number, report.peerPhoneNumber, LINECALLINFOSTATE_CONNECTEDID);
    note(before.connected_name, report.peerName, LINECALLINFOSTATE_CONNECTEDID);
    note(before.forwarder_number, report.forwarderPhoneNumber, LINECALLINFOSTATE_REDIRECTINGID);
    note(before.forwarder_name, report.forwarderName, LINECALLINFOSTATE_REDIRECTINGID);
    bits |= before.forward_type != ParseForwardType(report.forwardType) ? LINECALLINFOSTATE_REASON : 0;
    return bits;
}

}  // namespace

/// Ids of the softphone's own, the input's text, or that of one of the calls there are.
std::wstring call_sequence::ReadCallId() {
    constexpr std::size_t kOwnIds = 4;
    constexpr std::size_t kChoices = 10;
    const std::size_t choice = input_.Choose(kChoices);
    if (choice < kOwnIds) {
        return L"id-" + std::to_wstring(choice);
    }
    if (choice == kChoices - 1) {
        return L"n" + text_;
    }
    const call_ptr call = calls_.FindCall(HandleInSlot(choice - kOwnIds));
    return call != nullptr ? call->ClientCallId() : L"id-gone";
}

std::wstring call_sequence::ReadParty() {
    const std::size_t choice = input_.Choose(std::size(kParties) + 1);
    return choice < std::size(kParties) ? kParties[choice] : text_;
}

client_call_state call_sequence::ReadReport() {
    client_call_state report;
    report.clientCallId = ReadCallId();
    report.callState = kStates[input_.Choose(std::size(kStates))];
    report.isCaller = input_.Choose(2) == 1;
    report.callReason = kReasons[input_.Choose(std::size(kReasons))];
    report.selfPhoneNumber = ReadParty();
    report.peerPhoneNumber = ReadParty();
    report.peerName = ReadParty();
    report.forwarderName = ReadParty();
    report.forwardType = kForwardTypes[input_.Choose(std::size(kForwardTypes))];
    // Rarely of interest of their own.
    report.selfName = report.selfPhoneNumber;
    report.forwarderPhoneNumber = report.forwarderName;
    return report;
}

met_call call_sequence::Meet(const call_ptr& call) const {
    if (call == nullptr) {
        return {};
    }
    const auto told = ledger_.Calls().find(reinterpret_cast<std::uintptr_t>(call->TapiCallHandle()));
    const auto known = std::find(handles_.begin(), handles_.end(), call->DriverCallHandle());
    met_call met;
    met.is_known = true;
    met.state = call->State();
    met.mode = call->StateMode();
    met.is_placed_by_tapi = told != ledger_.Calls().end() && told->second.source == call_source::placed;
    met.is_connect_held_back = call->ConnectedIgnored();
    met.milliseconds =
        static_cast<std::int32_t>(clock_ - created_[static_cast<std::size_t>(known - handles_.begin())]);
    return met;
}

void call_sequence::Report() {
    const client_call_state report = ReadReport();
    const call_ptr known = FindById(report.clientCallId);
    const met_call met = Meet(known);
    const call_details before = known != nullptr ? known->Details() : call_details();
    const std::size_t reactions = reactions_;
    line_.Calls().OnClientCallState(report);
    KnowNewCalls();

    const call_ptr call = known != nullptr ? known : FindById(report.clientCallId);
    if (call != nullptr) {
        CheckParties(*call, report);
    }
    // After the shutdown nothing is told; what becomes of the records is nobody's business any more.
    if (reactions != reactions_ || is_shut_) {
        return;
    }
    Require((call != nullptr) == (known != nullptr || CreatesCall(report.callState)),
            "a call is created by what shows that it is there");
    if (known == nullptr) {
        Require((ledger_.NewDriverHandle() != 0) == (call != nullptr && ledger_.OpenLine() != 0),
                "a new call is announced when the line is open");
    }
    if (call == nullptr) {
        return;
    }
    CheckSteps(call, StepsAfterReport(report.callState, report.isCaller, report.callReason, met));
    CheckInformation(*call, met.state != LINECALLSTATE_IDLE ? ChangedBits(before, report) : 0);
    if (report.callState == L"Connected" && IsConnectHeldBack(met)) {
        Require(call->ConnectedIgnored(), "a connect that is not believed is remembered");
    }
    if (report.callState == L"Hangup" && report.callReason != 486) {
        Require(call->StateMode() == ModeOfReason(report.callReason), "the reason of a hang-up is kept");
    }
}

void call_sequence::RemoveCall() {
    const std::wstring id = ReadCallId();
    const call_ptr call = FindById(id);
    const met_call met = Meet(call);
    const std::size_t reactions = reactions_;
    line_.Calls().OnCallRemoved(id);
    if (reactions == reactions_) {
        CheckSteps(call, StepsAfterRemoval(met));
    }
    Require(call == nullptr || call->State() == LINECALLSTATE_IDLE, "a removed call is idle");
}

void call_sequence::CheckSteps(const call_ptr& call, const state_steps& steps) const {
    std::vector<told_state> expected;
    if (call != nullptr && ledger_.OpenLine() != 0) {
        for (const state_step& step : steps) {
            expected.push_back(
                {reinterpret_cast<std::uintptr_t>(call->TapiCallHandle()), step.state, step.mode});
        }
    }
    if (ledger_.States() != expected) {
        std::string detail = "expected";
        for (const told_state& state : expected) {
            detail += ' ' + std::to_string(state.state) + '/' + std::to_string(state.mode);
        }
        detail += ", told";
        for (const told_state& state : ledger_.States()) {
            detail += ' ' + std::to_string(state.state) + '/' + std::to_string(state.mode);
        }
        Broken("the softphone's states are told as those of a telephone line", detail);
    }
}

void call_sequence::CheckParties(const tapi_call& call, const client_call_state& report) const {
    const call_details now = call.Details();
    const bool is_parked = report.callState == L"Parked";
    Require(now.self_number == report.selfPhoneNumber && now.self_name == report.selfName &&
                now.peer_number == report.peerPhoneNumber && now.peer_name == report.peerName &&
                now.forwarder_number == report.forwarderPhoneNumber &&
                now.forwarder_name == report.forwarderName &&
                now.forward_type == ParseForwardType(report.forwardType),
            "a record holds the parties last reported");
    Require(now.connected_number == (is_parked ? L"" : report.peerPhoneNumber) &&
                now.connected_name == (is_parked ? L"" : report.peerName),
            "the connected party is the peer, and nobody on hold");
}

void call_sequence::CheckInformation(const tapi_call& call, std::uint32_t expected) const {
    const auto told = ledger_.Calls().find(reinterpret_cast<std::uintptr_t>(call.TapiCallHandle()));
    if (told != ledger_.Calls().end() && ledger_.OpenLine() != 0) {
        Require(told->second.changed_information == expected, "exactly what has changed is told");
    }
}

}  // namespace brivelnox::fuzz
