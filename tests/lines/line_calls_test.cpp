// The calls of a line as its registration and service state see them: index, resets, counts.

#include <windows.h>

#include <memory>
#include <stdexcept>
#include <string>

#include <tspi.h>

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/line_fixture.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr DWORD kCancelled = 0x80000;

class call_index_of_a_line : public line_fixture {
  protected:
    std::shared_ptr<tapi_call> MakeCall(std::uint64_t driver_call_handle, const std::wstring& id) {
        return std::make_shared<tapi_call>(driver_call_handle, AsHandle<HTAPICALL>(0xC0 + driver_call_handle),
                                           LINECALLORIGIN_OUTBOUND, id, line_, manual_clock::Now());
    }
};

TEST_F(call_index_of_a_line, AddingACallIsLogged) {
    Open();
    const auto call = MakeCall(1, L"id-1");
    log_.Skip();
    line_.Calls().AddCall(call);
    EXPECT_THAT(log_.Texts("Line"), ElementsAre("Add call Desk 7, tapiLineHandle: 0x000000A1, deviceId: "
                                                "0x00000005, client_call_id: id-1"));
}

TEST_F(call_index_of_a_line, AddingNoCallIsIgnored) {
    Open();
    log_.Skip();
    line_.Calls().AddCall(nullptr);
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_EQ(line_.Calls().CountCalls().active, 0U);
}

TEST_F(call_index_of_a_line, AddingUnderTheSameIdReplacesTheEntry) {
    Open();
    const auto first = MakeCall(1, L"id-1");
    const auto second = MakeCall(2, L"id-1");
    line_.Calls().AddCall(first);
    line_.Calls().AddCall(second);
    EXPECT_EQ(line_.Calls().CountCalls().active, 1U);
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Connected"));
    EXPECT_EQ(first->State(), LINECALLSTATE_UNKNOWN);
    EXPECT_EQ(second->State(), LINECALLSTATE_CONNECTED);
}

TEST_F(call_index_of_a_line, RemovingACallIsLogged) {
    Open();
    const auto call = MakeCall(1, L"id-1");
    line_.Calls().AddCall(call);
    log_.Skip();
    line_.Calls().RemoveCall(*call);
    EXPECT_THAT(log_.Texts("Line"), ElementsAre("Removed call Desk 7, tapiLineHandle: 0x000000A1, deviceId: "
                                                "0x00000005, client_call_id: id-1"));
    EXPECT_EQ(line_.Calls().CountCalls().active, 0U);
}

TEST_F(call_index_of_a_line, RemovingACallThatIsNotThereLogsNothing) {
    Open();
    const auto there = MakeCall(1, L"id-1");
    const auto absent = MakeCall(2, L"id-2");
    line_.Calls().AddCall(there);
    log_.Skip();
    line_.Calls().RemoveCall(*absent);
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_EQ(line_.Calls().CountCalls().active, 1U);
}

TEST_F(call_index_of_a_line, TheIdAloneDecidesWhatIsRemoved) {
    Open();
    const auto there = MakeCall(1, L"id-1");
    const auto same_id = MakeCall(2, L"id-1");
    line_.Calls().AddCall(there);
    line_.Calls().RemoveCall(*same_id);
    EXPECT_EQ(line_.Calls().CountCalls().active, 0U);
}

class resetting_calls : public line_fixture {};

TEST_F(resetting_calls, OfAClosedLineDoesNothing) {
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    line_.Calls().ResetCalls();
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_EQ(call->State(), LINECALLSTATE_CONNECTED);
}

TEST_F(resetting_calls, TellsDisconnectedCancelledAndIdleForEachInTheOrderOfTheirIds) {
    Open();
    const auto b = CallInState(LINECALLSTATE_CONNECTED, L"b", 0xCB);
    const auto c = CallInState(LINECALLSTATE_UNKNOWN, L"c", 0xCC);
    const auto a = CallInState(LINECALLSTATE_ONHOLD, L"a", 0xCA);
    line_.Calls().ResetCalls();
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(CallState(kTapiLine, 0xCA, LINECALLSTATE_DISCONNECTED, kCancelled),
                            CallState(kTapiLine, 0xCA, LINECALLSTATE_IDLE),
                            CallState(kTapiLine, 0xCB, LINECALLSTATE_DISCONNECTED, kCancelled),
                            CallState(kTapiLine, 0xCB, LINECALLSTATE_IDLE),
                            CallState(kTapiLine, 0xCC, LINECALLSTATE_DISCONNECTED, kCancelled),
                            CallState(kTapiLine, 0xCC, LINECALLSTATE_IDLE)));
    for (const auto& call : {a, b, c}) {
        EXPECT_EQ(call->State(), LINECALLSTATE_IDLE);
        EXPECT_TRUE(call->FinalStateSignalled());
    }
}

TEST_F(resetting_calls, IsLoggedForTheLineAndForEachCall) {
    Open();
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    line_.Calls().ResetCalls();
    EXPECT_THAT(
        log_.Texts(),
        ElementsAre("Reset calls Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005",
                    "Reset call Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005, client_cal_id: "
                    "call-1",
                    "SetState: client_call_id: call-1, tapiCallHandle: 0x000000C1, driverCallHandle: "
                    "0x00000001, state: Disconnected, mode: 0x00080000.",
                    "Send event to TAPI: LINE_CALLSTATE. Desk 7, tapiLineHandle: 0x000000A1, tapiCallHandle: "
                    "0x000000C1, Disconnected, LINEDISCONNECTMODE_CANCELLED, LINEMEDIAMODE_INTERACTIVEVOICE",
                    "SetState: client_call_id: call-1, tapiCallHandle: 0x000000C1, driverCallHandle: "
                    "0x00000001, state: Idle, mode: 0x00000000.",
                    "Send event to TAPI: LINE_CALLSTATE. Desk 7, tapiLineHandle: 0x000000A1, tapiCallHandle: "
                    "0x000000C1, Idle, , LINEMEDIAMODE_INTERACTIVEVOICE"));
}

TEST_F(resetting_calls, SkipsAnIdleCallWithoutALineOfItsOwn) {
    Open();
    const auto idle = CallInState(LINECALLSTATE_IDLE);
    line_.Calls().ResetCalls();
    EXPECT_THAT(log_.Texts(),
                ElementsAre("Reset calls Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005"));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

TEST_F(resetting_calls, LeavesTheCallsInTheIndexWhereNothingMoreIsToldOfThem) {
    Open();
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    line_.Calls().ResetCalls();
    Forget();
    client_call_state changed = StateOf(L"call-1", L"Connected");
    changed.peerName = L"Somebody else";
    line_.Calls().OnClientCallState(changed);
    line_.Calls().OnCallRemoved(L"call-1");
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(log_.CountStarting("Line", "Client call state changed. "), 1U);
    line_.Calls().RemoveCall(*call);
    EXPECT_TRUE(log_.Has("Line",
                         "Removed call Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005, "
                         "client_call_id: call-1"));
}

TEST_F(resetting_calls, GoesOnWhenTheApplicationThrows) {
    Open();
    const auto first = CallInState(LINECALLSTATE_CONNECTED, L"a", 0xCA);
    const auto second = CallInState(LINECALLSTATE_CONNECTED, L"b", 0xCB);
    tapi_.SetReaction([](const tapi_event&) { throw std::runtime_error("from the application"); });
    EXPECT_NO_THROW(line_.Calls().ResetCalls());
    EXPECT_EQ(first->State(), LINECALLSTATE_IDLE);
    EXPECT_EQ(second->State(), LINECALLSTATE_IDLE);
}

class service_state_of_a_line : public line_fixture {};

TEST_F(service_state_of_a_line, IsLoggedAndStored) {
    Open();
    log_.Skip();
    line_.UpdateServiceState(false, true);
    EXPECT_THAT(log_.Texts(),
                ElementsAre("Updated service state Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005, "
                            "client connected: 0, sip connected: 1"));
    EXPECT_FALSE(line_.ClientConnected());
}

TEST_F(service_state_of_a_line, ClientThatDisconnectsAndComesBackResetsTheCallsEachTime) {
    Open();
    line_.UpdateServiceState(true, true);
    const auto first = CallInState(LINECALLSTATE_CONNECTED, L"a", 0xCA);
    line_.UpdateServiceState(false, true);
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(CallState(kTapiLine, 0xCA, LINECALLSTATE_DISCONNECTED, kCancelled),
                            CallState(kTapiLine, 0xCA, LINECALLSTATE_IDLE)));
    EXPECT_THAT(log_.Texts("Line").at(1),
                "Reset calls Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005");
    const auto second = CallInState(LINECALLSTATE_CONNECTED, L"b", 0xCB);
    line_.UpdateServiceState(true, true);
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(CallState(kTapiLine, 0xCB, LINECALLSTATE_DISCONNECTED, kCancelled),
                            CallState(kTapiLine, 0xCB, LINECALLSTATE_IDLE)));
    EXPECT_TRUE(line_.ClientConnected());
}

TEST_F(service_state_of_a_line, ChangeOfTheSipConnectionAloneIsOnlyStored) {
    Open();
    line_.UpdateServiceState(true, true);
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    line_.UpdateServiceState(true, false);
    EXPECT_THAT(log_.Texts(),
                ElementsAre("Updated service state Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005, "
                            "client connected: 1, sip connected: 0"));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(call->State(), LINECALLSTATE_CONNECTED);
    EXPECT_FALSE(line_.CanAnswer());
}

TEST_F(service_state_of_a_line, CallsCanBeAnsweredOnlyWithBothConnectionsUp) {
    EXPECT_FALSE(line_.CanAnswer());
    line_.UpdateServiceState(true, false);
    EXPECT_FALSE(line_.CanAnswer());
    line_.UpdateServiceState(true, true);
    EXPECT_TRUE(line_.CanAnswer());
    line_.UpdateServiceState(false, true);
    EXPECT_FALSE(line_.CanAnswer());
}

class registration_of_a_line : public line_fixture {
  protected:
    registration_of_a_line() {
        Open();
        call_ = CallInState(LINECALLSTATE_CONNECTED);
    }

    std::vector<tapi_event> CallReset() const {
        return {CallState(kTapiLine, 0xC1, LINECALLSTATE_DISCONNECTED, kCancelled),
                CallState(kTapiLine, 0xC1, LINECALLSTATE_IDLE)};
    }

    /// Whether the line has this registration: taking it once more is nothing new then.
    bool Has(const client_registration& registration) {
        log_.Skip();
        line_.UpdateRegistration(registration, true);
        return log_.CountStarting("Line", "Updated registration") == 0;
    }

    std::shared_ptr<tapi_call> call_;
};

TEST_F(registration_of_a_line, RegisteredWithSameIdAndPortLogsAndResetsNothing) {
    client_registration same = Registration(kPermanentLineId, L"Another name");
    same.clientConnected = false;
    same.sipConnected = false;
    line_.UpdateRegistration(same, true);
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(call_->State(), LINECALLSTATE_CONNECTED);
    EXPECT_EQ(line_.Name(), L"Desk 7");
}

TEST_F(registration_of_a_line, RegisteredOnAnotherPortIsLoggedResetsAndIsStored) {
    line_.UpdateRegistration(Registration(kPermanentLineId, L"Another name", 5062), true);
    const auto texts = log_.Texts("Line");
    ASSERT_GE(texts.size(), 2U);
    EXPECT_EQ(texts[0], "Updated registration Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005");
    EXPECT_EQ(texts[1], "Reset calls Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005");
    EXPECT_EQ(tapi_.Events(), CallReset());
    EXPECT_TRUE(Has(Registration(kPermanentLineId, L"Another name", 5062)));
    // What identifies the line stays.
    EXPECT_EQ(line_.Name(), L"Desk 7");
    EXPECT_EQ(line_.PermanentLineId(), kPermanentLineId);
}

TEST_F(registration_of_a_line, RegisteredUnderAnotherIdIsStoredWhileTheLineKeepsItsOwn) {
    line_.UpdateRegistration(Registration(99, L"Desk 7"), true);
    EXPECT_EQ(tapi_.Events(), CallReset());
    EXPECT_TRUE(Has(Registration(99, L"Desk 7")));
    EXPECT_EQ(line_.PermanentLineId(), kPermanentLineId);
}

TEST_F(registration_of_a_line, UnregisteredUnchangedResetsTheCallsAndLogsNoUpdate) {
    line_.UpdateRegistration(Registration(kPermanentLineId, L"Desk 7"), false);
    EXPECT_EQ(tapi_.Events(), CallReset());
    EXPECT_EQ(log_.CountStarting("Line", "Updated registration"), 0U);
    EXPECT_EQ(log_.CountStarting("Line", "Reset calls "), 1U);
}

TEST_F(registration_of_a_line, UnregisteredWithPortZeroResetsOnceBeforeItIsLoggedAndStored) {
    line_.UpdateRegistration(Registration(kPermanentLineId, L"Desk 7", 0), false);
    EXPECT_EQ(tapi_.Events(), CallReset());
    EXPECT_EQ(log_.CountStarting("Line", "Reset calls "), 1U);
    const auto texts = log_.Texts("Line");
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts.front(), "Reset calls Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005");
    EXPECT_EQ(texts.back(), "Updated registration Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005");
    EXPECT_TRUE(Has(Registration(kPermanentLineId, L"Desk 7", 0)));
}

class call_counts_of_a_line : public line_fixture {};

TEST_F(call_counts_of_a_line, IdleAndHeldCallsAreNotActive) {
    Open();
    const std::vector<std::uint32_t> states = {LINECALLSTATE_IDLE,           LINECALLSTATE_OFFERING,
                                               LINECALLSTATE_CONNECTED,      LINECALLSTATE_ONHOLD,
                                               LINECALLSTATE_ONHOLDPENDCONF, LINECALLSTATE_ONHOLDPENDTRANSFER,
                                               LINECALLSTATE_DISCONNECTED,   LINECALLSTATE_UNKNOWN};
    for (std::size_t i = 0; i < states.size(); ++i) {
        (void)CallInState(states[i], L"call-" + std::to_wstring(i), 0xC0 + i);
    }
    EXPECT_EQ(line_.Calls().CountCalls().active, 4U);
    EXPECT_EQ(line_.Calls().CountCalls().on_hold, 1U);
}

TEST_F(call_counts_of_a_line, AClosedLineHasNone) {
    (void)CallInState(LINECALLSTATE_CONNECTED, L"a");
    (void)CallInState(LINECALLSTATE_ONHOLD, L"b");
    EXPECT_EQ(line_.Calls().CountCalls().active, 0U);
    EXPECT_EQ(line_.Calls().CountCalls().on_hold, 0U);
}

}  // namespace
}  // namespace brivelnox::test
