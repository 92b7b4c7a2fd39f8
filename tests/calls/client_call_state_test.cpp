// What TAPI is told when a softphone reports the state of a call.

#include <windows.h>
#include <tspi.h>

#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "calls/tapi_call.h"
#include "tests/support/line_fixture.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uintptr_t kNewCall = tapi_recorder::kFirstCallHandle;
constexpr std::uintptr_t kKnownCall = 0xC1;
constexpr char kPrefix[] = " Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005, client_call_id: ";

class client_events : public line_fixture {
  protected:
    client_events() {
        Open();
        Forget();
    }

    /// An event with a peer.
    static client_call_state WithPeer(const std::wstring& id, const std::wstring& state,
                                      const std::wstring& number, const std::wstring& name) {
        client_call_state event = StateOf(id, state);
        event.peerPhoneNumber = number;
        event.peerName = name;
        return event;
    }
    static tapi_event NewState(DWORD state) { return CallState(kTapiLine, kNewCall, state); }
    static tapi_event KnownState(DWORD state) { return CallState(kTapiLine, kKnownCall, state); }
    static tapi_event KnownInfo(DWORD bits) { return CallInfo(kTapiLine, kKnownCall, bits); }
};

struct new_call_row {
    const char* name;
    const wchar_t* client_state;
    std::vector<DWORD> as_caller;
    std::vector<DWORD> as_callee;
};

class unknown_call : public client_events, public testing::WithParamInterface<new_call_row> {
  protected:
    void Expect(bool is_caller, const std::vector<DWORD>& states) {
        client_call_state event = StateOf(L"id-1", GetParam().client_state, is_caller, 404);
        event.selfPhoneNumber = L"7";
        line_.Calls().OnClientCallState(event);
        std::vector<tapi_event> expected;
        if (!states.empty()) {
            expected.push_back(NewCall(kTapiLine, 1, kNewCall));
            for (const DWORD state : states) {
                expected.push_back(NewState(state));
                if (state == states.front()) {
                    expected.push_back(CallInfo(kTapiLine, kNewCall, 0x18000));
                }
            }
        }
        EXPECT_EQ(tapi_.Events(), expected);
        const auto call = calls_.FindCall(1);
        ASSERT_EQ(call != nullptr, !states.empty());
        if (call != nullptr) {
            EXPECT_EQ(call->CallOrigin(), is_caller ? 0x1U : 0x80U);
            EXPECT_EQ(call->State(), states.back());
            EXPECT_EQ(call->Details().self_number, L"7");
            // The event that creates a call leaves no client state behind.
            EXPECT_EQ(call->ExchangeClientState(99), -1);
            EXPECT_FALSE(call->StartedByTapi());
            EXPECT_FALSE(call->FinalStateSignalled());
        }
    }
};

TEST_P(unknown_call, reported_by_the_caller) {
    Expect(true, GetParam().as_caller);
}

TEST_P(unknown_call, reported_by_the_callee) {
    Expect(false, GetParam().as_callee);
}

const std::vector<DWORD> kNothing = {};
const std::vector<DWORD> kCallerConnected = {0x200, 0x20, 0x100};
const std::vector<DWORD> kCalleeConnected = {0x2, 0x4, 0x100};

INSTANTIATE_TEST_SUITE_P(
    each, unknown_call,
    testing::Values(
        new_call_row{"incoming", L"Incoming", kNothing, kNothing},
        new_call_row{"outgoing", L"Outgoing", kNothing, kNothing},
        new_call_row{"ringing", L"Ringing", {0x2, 0x4}, {0x2, 0x4}},
        new_call_row{"ringback", L"Ringback", {0x200, 0x20}, {0x200, 0x20}},
        new_call_row{"connected", L"Connected", kCallerConnected, kCalleeConnected},
        new_call_row{"parked", L"Parked", {0x200, 0x100, 0x400}, {0x2, 0x100, 0x400}},
        new_call_row{"conference_active", L"ConferenceActive", kCallerConnected, kCalleeConnected},
        new_call_row{"consult", L"Consult", kCallerConnected, kCalleeConnected},
        new_call_row{"conference_consult", L"ConferenceConsult", kCallerConnected, kCalleeConnected},
        new_call_row{"conference_inactive", L"ConferenceInactive", kCallerConnected, kCalleeConnected},
        new_call_row{"hangup", L"Hangup", kNothing, kNothing},
        new_call_row{"none", L"None", kNothing, kNothing},
        new_call_row{"any_other_text", L"ringing", kNothing, kNothing}),
    [](const testing::TestParamInfo<new_call_row>& row) { return std::string(row.param.name); });

struct known_call_row {
    const char* name;
    const wchar_t* client_state;
    DWORD told;  // 0: nothing
};

class known_call : public client_events, public testing::WithParamInterface<known_call_row> {};

TEST_P(known_call, goes_to_its_state_once_however_often_it_is_reported) {
    const auto call = CallInState(LINECALLSTATE_UNKNOWN);
    const DWORD told = GetParam().told;
    for (const bool is_caller : {true, false}) {
        line_.Calls().OnClientCallState(StateOf(L"call-1", GetParam().client_state, is_caller, 200));
    }
    EXPECT_EQ(tapi_.Events(), told != 0 ? std::vector{KnownState(told)} : std::vector<tapi_event>{});
    EXPECT_EQ(call->State(), told != 0 ? told : 0x8000U);
    EXPECT_EQ(calls_.FindCall(2), nullptr);
}

TEST_P(known_call, in_proceeding_that_tapi_did_not_place_goes_the_same_way) {
    // A consultation call that was dialled, or a call that the user of the softphone dialled.
    const auto call = CallInState(LINECALLSTATE_PROCEEDING);
    const DWORD told = GetParam().told;
    line_.Calls().OnClientCallState(StateOf(L"call-1", GetParam().client_state, true, 200));
    EXPECT_EQ(tapi_.Events(), told != 0 ? std::vector{KnownState(told)} : std::vector<tapi_event>{});
    EXPECT_EQ(log_.CountStarting("Line", "Outbound call "), 0U);
}

TEST_P(known_call, placed_by_tapi_that_has_left_proceeding_goes_the_same_way) {
    const auto call = PlacedCall(kKnownCall);
    call->SetState(LINECALLSTATE_DIALING, 0, false);
    call->SetConnectedIgnored(true);
    Forget();
    const DWORD told = GetParam().told;
    line_.Calls().OnClientCallState(StateOf(call->ClientCallId(), GetParam().client_state, true, 200));
    EXPECT_EQ(tapi_.Events(), told != 0 ? std::vector{KnownState(told)} : std::vector<tapi_event>{});
    EXPECT_EQ(log_.CountStarting("Line", "Outbound call "), 0U);
}

TEST_P(known_call, that_is_idle_stays_idle_and_nothing_is_told) {
    const auto call = CallInState(LINECALLSTATE_IDLE);
    client_call_state event = StateOf(L"call-1", GetParam().client_state, false, 486);
    line_.Calls().OnClientCallState(event);
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(call->State(), 0x1U);
}

INSTANTIATE_TEST_SUITE_P(
    each, known_call,
    testing::Values(known_call_row{"incoming", L"Incoming", 0}, known_call_row{"outgoing", L"Outgoing", 0},
                    known_call_row{"ringing", L"Ringing", 0x4}, known_call_row{"ringback", L"Ringback", 0x20},
                    known_call_row{"connected", L"Connected", 0x100},
                    known_call_row{"parked", L"Parked", 0x400},
                    known_call_row{"conference_active", L"ConferenceActive", 0x100},
                    known_call_row{"consult", L"Consult", 0x100},
                    known_call_row{"conference_consult", L"ConferenceConsult", 0x100},
                    known_call_row{"conference_inactive", L"ConferenceInactive", 0x100},
                    known_call_row{"hangup", L"Hangup", 0}, known_call_row{"none", L"None", 0},
                    known_call_row{"any_other_text", L"connected", 0}),
    [](const testing::TestParamInfo<known_call_row>& row) { return std::string(row.param.name); });

using client_event_log = client_events;

TEST_F(client_event_log, every_event_is_logged_as_received) {
    line_.Calls().OnClientCallState(StateOf(L"id-9", L"Strange state"));
    EXPECT_THAT(log_.Texts(), ElementsAre(std::string("Client call state received.") + kPrefix +
                                          "id-9, client call state: Strange state"));
    EXPECT_EQ(log_.Lines().at(0).category, "Line");
}

TEST_F(client_event_log, change_of_the_client_state_is_logged) {
    (void)CallInState(LINECALLSTATE_CONNECTED);
    line_.Calls().OnClientCallState(StateOf(L"call-1", L"Incoming"));
    EXPECT_THAT(log_.Texts(), ElementsAre(std::string("Client call state received.") + kPrefix +
                                              "call-1, client call state: Incoming",
                                          std::string("Client call state changed.") + kPrefix +
                                              "call-1, client call state: Incoming"));
}

TEST_F(client_event_log, same_state_and_same_parties_is_only_received) {
    (void)CallInState(LINECALLSTATE_CONNECTED);
    line_.Calls().OnClientCallState(StateOf(L"call-1", L"Incoming"));
    log_.Skip();
    line_.Calls().OnClientCallState(StateOf(L"call-1", L"Incoming"));
    EXPECT_THAT(log_.Texts(), ElementsAre(std::string("Client call state received.") + kPrefix +
                                          "call-1, client call state: Incoming"));
}

TEST_F(client_event_log, change_of_the_parties_alone_is_logged_as_parameters) {
    (void)CallInState(LINECALLSTATE_CONNECTED);
    line_.Calls().OnClientCallState(StateOf(L"call-1", L"Incoming"));
    log_.Skip();
    line_.Calls().OnClientCallState(WithPeer(L"call-1", L"Incoming", L"123", L""));
    const auto texts = log_.Texts();
    ASSERT_GE(texts.size(), 2U);
    EXPECT_EQ(texts[1], std::string("Client call parameters changed.") + kPrefix +
                            "call-1, client call state: Incoming");
}

TEST_F(client_event_log, change_of_both_is_logged_as_the_state) {
    (void)CallInState(LINECALLSTATE_CONNECTED);
    line_.Calls().OnClientCallState(WithPeer(L"call-1", L"Incoming", L"123", L""));
    EXPECT_EQ(log_.CountStarting("Line", "Client call state changed."), 1U);
    EXPECT_EQ(log_.CountStarting("Line", "Client call parameters changed."), 0U);
}

TEST_F(client_event_log, second_event_of_a_call_counts_as_a_change_even_in_the_same_state) {
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Ringing"));
    EXPECT_EQ(log_.CountStarting("Line", "Client call state changed."), 0U);
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Ringing"));
    EXPECT_EQ(log_.CountStarting("Line", "Client call state changed."), 1U);
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Ringing"));
    EXPECT_EQ(log_.CountStarting("Line", "Client call state changed."), 1U);
}

TEST_F(client_event_log, unknown_text_after_creation_is_no_change) {
    (void)CallInState(LINECALLSTATE_CONNECTED);
    line_.Calls().OnClientCallState(StateOf(L"call-1", L"None"));
    EXPECT_EQ(log_.CountStarting("Line", "Client call state changed."), 0U);
}

using incoming_call = client_events;

TEST_F(incoming_call, ringing_twice_is_announced_once) {
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Ringing"));
    EXPECT_THAT(tapi_.Events(), ElementsAre(NewCall(kTapiLine, 1, kNewCall), NewState(LINECALLSTATE_OFFERING),
                                            NewState(LINECALLSTATE_ACCEPTED)));
    tapi_.Clear();
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Ringing"));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

TEST_F(incoming_call, lives_through_its_whole_life) {
    const auto event = [](const wchar_t* state) { return WithPeer(L"id-1", state, L"123", L"Caller"); };
    line_.Calls().OnClientCallState(event(L"Incoming"));
    line_.Calls().OnClientCallState(event(L"Ringing"));
    line_.Calls().OnClientCallState(event(L"Connected"));
    line_.Calls().OnClientCallState(event(L"Parked"));
    line_.Calls().OnClientCallState(event(L"Connected"));
    line_.Calls().OnClientCallState(event(L"Hangup"));
    line_.Calls().OnCallRemoved(L"id-1");
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(NewCall(kTapiLine, 1, kNewCall), NewState(LINECALLSTATE_OFFERING),
                            CallInfo(kTapiLine, kNewCall, 0x38000), NewState(LINECALLSTATE_ACCEPTED),
                            NewState(LINECALLSTATE_CONNECTED), NewState(LINECALLSTATE_ONHOLD),
                            NewState(LINECALLSTATE_CONNECTED), CallInfo(kTapiLine, kNewCall, 0x20000),
                            CallState(kTapiLine, kNewCall, LINECALLSTATE_DISCONNECTED, 0x1),
                            NewState(LINECALLSTATE_IDLE)));
}

TEST_F(incoming_call, on_a_closed_line_goes_on_without_a_handle) {
    line_.Close();
    Forget();
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Ringing"));
    const auto call = calls_.FindCall(1);
    ASSERT_NE(call, nullptr);
    EXPECT_EQ(call->State(), static_cast<std::uint32_t>(LINECALLSTATE_ACCEPTED));
    EXPECT_EQ(call->TapiCallHandle(), nullptr);
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(
        log_.Count("Line", "Skip sending event to TAPI. Desk 7, tapiLineHandle: 0x000000A1, line not open"),
        3U);
    EXPECT_TRUE(log_.Has("CallManager", "GetNewTapiCallHandle: Line not open"));
    Open();
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Connected"));
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(kTapiLine, 0, LINECALLSTATE_CONNECTED)));
}

using outgoing_call = client_events;

TEST_F(outgoing_call, dialled_at_the_softphone_goes_through_proceeding_and_ringback) {
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Outgoing", true));
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Ringback", true));
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Connected", true));
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(NewCall(kTapiLine, 1, kNewCall), NewState(LINECALLSTATE_PROCEEDING),
                            NewState(LINECALLSTATE_RINGBACK), NewState(LINECALLSTATE_CONNECTED)));
}

using call_parties = client_events;

TEST_F(call_parties, change_of_the_peers_name_alone_is_one_message) {
    line_.Calls().OnClientCallState(WithPeer(L"id-1", L"Connected", L"123", L"Caller"));
    Forget();
    line_.Calls().OnClientCallState(WithPeer(L"id-1", L"Connected", L"123", L"Somebody else"));
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallInfo(kTapiLine, kNewCall, 0x38000)));
}

TEST_F(call_parties, change_in_a_state_that_tells_nothing_is_flushed) {
    (void)CallInState(LINECALLSTATE_CONNECTED);
    for (const wchar_t* const state : {L"Incoming", L"Outgoing", L"Hangup", L"None", L"Strange"}) {
        tapi_.Clear();
        line_.Calls().OnClientCallState(WithPeer(L"call-1", state, state, L""));
        EXPECT_THAT(tapi_.Events(), ElementsAre(KnownInfo(0x38000)));
    }
}

TEST_F(call_parties, change_with_a_new_state_is_told_after_the_state) {
    (void)CallInState(LINECALLSTATE_ACCEPTED);
    line_.Calls().OnClientCallState(WithPeer(L"call-1", L"Connected", L"123", L""));
    // On connecting the peer is the connected party already; the bits are told all the same.
    EXPECT_THAT(tapi_.Events(), ElementsAre(KnownState(LINECALLSTATE_CONNECTED), KnownInfo(0x38000)));
}

TEST_F(call_parties, bits_left_pending_by_an_earlier_event_count_as_a_change) {
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    line_.Calls().OnClientCallState(StateOf(L"call-1", L"Incoming"));
    client_call_state other_party = StateOf(L"call-1", L"Incoming");
    other_party.selfName = L"Desk";
    call->Update(other_party);
    Forget();
    line_.Calls().OnClientCallState(other_party);
    EXPECT_EQ(log_.CountStarting("Line", "Client call parameters changed."), 1U);
    EXPECT_THAT(tapi_.Events(), ElementsAre(KnownInfo(0x18000)));
}

TEST_F(call_parties, after_the_final_state_nothing_is_flushed) {
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    call->SetFinalStateSignalled();
    line_.Calls().OnClientCallState(WithPeer(L"call-1", L"None", L"123", L""));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(call->Details().peer_number, L"123");
}

TEST_F(call_parties, on_hold_clears_the_connected_party_and_the_next_event_reports_it) {
    line_.Calls().OnClientCallState(WithPeer(L"id-1", L"Connected", L"123", L"Caller"));
    line_.Calls().OnClientCallState(WithPeer(L"id-1", L"Parked", L"123", L"Caller"));
    const auto call = Found(calls_.FindCall(1));
    EXPECT_EQ(call->State(), static_cast<std::uint32_t>(LINECALLSTATE_ONHOLD));
    EXPECT_EQ(call->Details().connected_number, L"");
    EXPECT_EQ(call->Details().connected_name, L"");
    tapi_.Clear();
    line_.Calls().OnClientCallState(WithPeer(L"id-1", L"None", L"123", L"Caller"));
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallInfo(kTapiLine, kNewCall, 0x20000)));
}

TEST_F(call_parties, forwarder_and_forward_type_are_told_as_redirection_and_reason) {
    client_call_state event = StateOf(L"id-1", L"Ringing");
    event.forwarderPhoneNumber = L"9";
    event.forwarderName = L"Boss";
    event.forwardType = L"CFNR";
    line_.Calls().OnClientCallState(event);
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(NewCall(kTapiLine, 1, kNewCall), NewState(LINECALLSTATE_OFFERING),
                            CallInfo(kTapiLine, kNewCall, 0x80200), NewState(LINECALLSTATE_ACCEPTED)));
}

}  // namespace
}  // namespace brivelnox::test
