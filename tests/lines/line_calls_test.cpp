// The calls of a line as its registration and service state see them: index, resets, counts.

#include <windows.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/as_handle.h"
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

TEST_F(call_index_of_a_line, adding_a_call_is_logged) {
    Open();
    const auto call = MakeCall(1, L"id-1");
    log_.Skip();
    line_.Calls().AddCall(call);
    EXPECT_THAT(log_.Texts("Line"), ElementsAre("Add call Desk 7, tapiLineHandle: 0x000000A1, deviceId: "
                                                "0x00000005, client_call_id: id-1"));
}

TEST_F(call_index_of_a_line, adding_no_call_is_ignored) {
    Open();
    log_.Skip();
    line_.Calls().AddCall(nullptr);
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_EQ(line_.Calls().CountCalls().active, 0U);
}

TEST_F(call_index_of_a_line, adding_under_the_same_id_replaces_the_entry) {
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

TEST_F(call_index_of_a_line, removing_a_call_is_logged) {
    Open();
    const auto call = MakeCall(1, L"id-1");
    line_.Calls().AddCall(call);
    log_.Skip();
    line_.Calls().RemoveCall(call->ClientCallId());
    EXPECT_THAT(log_.Texts("Line"), ElementsAre("Removed call Desk 7, tapiLineHandle: 0x000000A1, deviceId: "
                                                "0x00000005, client_call_id: id-1"));
    EXPECT_EQ(line_.Calls().CountCalls().active, 0U);
}

TEST_F(call_index_of_a_line, removing_a_call_that_is_not_there_logs_nothing) {
    Open();
    const auto there = MakeCall(1, L"id-1");
    const auto absent = MakeCall(2, L"id-2");
    line_.Calls().AddCall(there);
    log_.Skip();
    line_.Calls().RemoveCall(absent->ClientCallId());
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_EQ(line_.Calls().CountCalls().active, 1U);
}

TEST_F(call_index_of_a_line, the_id_alone_decides_what_is_removed) {
    Open();
    const auto there = MakeCall(1, L"id-1");
    const auto same_id = MakeCall(2, L"id-1");
    line_.Calls().AddCall(there);
    line_.Calls().RemoveCall(same_id->ClientCallId());
    EXPECT_EQ(line_.Calls().CountCalls().active, 0U);
}

class resetting_calls : public line_fixture {};

TEST_F(resetting_calls, of_a_closed_line_does_nothing) {
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    line_.Calls().ResetCalls();
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_EQ(call->State(), LINECALLSTATE_CONNECTED);
}

TEST_F(resetting_calls, tells_disconnected_cancelled_and_idle_for_each_in_the_order_of_their_ids) {
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

TEST_F(resetting_calls, is_logged_for_the_line_and_for_each_call) {
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

TEST_F(resetting_calls, skips_an_idle_call_without_a_line_of_its_own) {
    Open();
    const auto idle = CallInState(LINECALLSTATE_IDLE);
    line_.Calls().ResetCalls();
    EXPECT_THAT(log_.Texts(),
                ElementsAre("Reset calls Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005"));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

TEST_F(resetting_calls, leaves_the_calls_in_the_index_where_nothing_more_is_told_of_them) {
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
    line_.Calls().RemoveCall(call->ClientCallId());
    EXPECT_TRUE(log_.Has("Line",
                         "Removed call Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005, "
                         "client_call_id: call-1"));
}

TEST_F(resetting_calls, goes_on_when_the_application_throws) {
    Open();
    const auto first = CallInState(LINECALLSTATE_CONNECTED, L"a", 0xCA);
    const auto second = CallInState(LINECALLSTATE_CONNECTED, L"b", 0xCB);
    tapi_.SetReaction([](const tapi_event&) { throw std::runtime_error("from the application"); });
    EXPECT_NO_THROW(line_.Calls().ResetCalls());
    EXPECT_EQ(first->State(), LINECALLSTATE_IDLE);
    EXPECT_EQ(second->State(), LINECALLSTATE_IDLE);
}

class service_state_of_a_line : public line_fixture {};

TEST_F(service_state_of_a_line, is_logged_and_stored) {
    Open();
    log_.Skip();
    line_.UpdateServiceState(false, true);
    EXPECT_THAT(log_.Texts(),
                ElementsAre("Updated service state Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005, "
                            "client connected: 0, sip connected: 1"));
    EXPECT_FALSE(line_.ClientConnected());
}

TEST_F(service_state_of_a_line, client_that_disconnects_and_comes_back_resets_the_calls_each_time) {
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

TEST_F(service_state_of_a_line, change_of_the_sip_connection_alone_is_only_stored) {
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

TEST_F(service_state_of_a_line, calls_can_be_answered_only_with_both_connections_up) {
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

TEST_F(registration_of_a_line, registered_with_same_id_and_port_logs_and_resets_nothing) {
    client_registration same = Registration(kPermanentLineId, L"Another name");
    same.clientConnected = false;
    same.sipConnected = false;
    line_.UpdateRegistration(same, true);
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(call_->State(), LINECALLSTATE_CONNECTED);
    EXPECT_EQ(line_.Name(), L"Desk 7");
}

TEST_F(registration_of_a_line, registered_on_another_port_is_logged_resets_and_is_stored) {
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

TEST_F(registration_of_a_line, registered_under_another_id_is_stored_while_the_line_keeps_its_own) {
    line_.UpdateRegistration(Registration(99, L"Desk 7"), true);
    EXPECT_EQ(tapi_.Events(), CallReset());
    EXPECT_TRUE(Has(Registration(99, L"Desk 7")));
    EXPECT_EQ(line_.PermanentLineId(), kPermanentLineId);
}

TEST_F(registration_of_a_line, unregistered_unchanged_resets_the_calls_and_logs_no_update) {
    line_.UpdateRegistration(Registration(kPermanentLineId, L"Desk 7"), false);
    EXPECT_EQ(tapi_.Events(), CallReset());
    EXPECT_EQ(log_.CountStarting("Line", "Updated registration"), 0U);
    EXPECT_EQ(log_.CountStarting("Line", "Reset calls "), 1U);
}

TEST_F(registration_of_a_line, unregistered_with_port_zero_resets_once_before_it_is_logged_and_stored) {
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

TEST_F(call_counts_of_a_line, idle_and_held_calls_are_not_active) {
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

TEST_F(call_counts_of_a_line, a_closed_line_has_none) {
    (void)CallInState(LINECALLSTATE_CONNECTED, L"a");
    (void)CallInState(LINECALLSTATE_ONHOLD, L"b");
    EXPECT_EQ(line_.Calls().CountCalls().active, 0U);
    EXPECT_EQ(line_.Calls().CountCalls().on_hold, 0U);
}

}  // namespace
}  // namespace brivelnox::test
