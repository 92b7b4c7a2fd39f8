// How calls end: what a softphone's Hangup and CallRemoved become.

#include <windows.h>
#include <tspi.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "calls/tapi_call.h"
#include "tests/support/line_fixture.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uintptr_t kCall = 0xC1;
constexpr char kTemporary[] =
    "Client Hangup state might be temporary -> do not yet signal disconnected state";

class call_end : public line_fixture {
  protected:
    call_end() {
        Open();
        call_ = CallInState(LINECALLSTATE_CONNECTED);
    }
    void Hangup(std::int32_t reason) {
        line_.Calls().OnClientCallState(StateOf(L"call-1", L"Hangup", false, reason));
    }
    static tapi_event State(DWORD state, DWORD mode = 0) { return CallState(kTapiLine, kCall, state, mode); }

    std::shared_ptr<tapi_call> call_;
};

struct hangup_row {
    std::int32_t reason;
    DWORD mode;
    const char* first_line;  // null: none
    const char* second_line;
};

class hung_up_call : public call_end, public testing::WithParamInterface<hangup_row> {};

TEST_P(hung_up_call, is_told_only_when_it_is_removed_and_then_with_the_mode_of_its_reason) {
    const hangup_row& row = GetParam();
    Hangup(row.reason);
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(call_->State(), static_cast<std::uint32_t>(LINECALLSTATE_CONNECTED));
    EXPECT_EQ(call_->StateMode(), row.mode);
    std::vector<std::string> lines = {
        "Client call state received. Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005, "
        "client_call_id: call-1, client call state: Hangup",
        "Client call state changed. Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005, "
        "client_call_id: call-1, client call state: Hangup"};
    if (row.first_line != nullptr) {
        lines.emplace_back(row.first_line);
        lines.emplace_back(row.second_line);
    }
    lines.emplace_back(kTemporary);
    EXPECT_EQ(log_.Texts(), lines);

    line_.Calls().OnCallRemoved(L"call-1");
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(State(LINECALLSTATE_DISCONNECTED, row.mode), State(LINECALLSTATE_IDLE)));
}

INSTANTIATE_TEST_SUITE_P(
    each, hung_up_call,
    testing::Values(
        hangup_row{401, 0x20000,
                   "Hangup, call reason 401 -> signal disconnected state with cause 'blocked' 131072",
                   "Call reason 401 -> callStateMode 131072"},
        hangup_row{403, 0x20000,
                   "Hangup, call reason 403 -> signal disconnected state with cause 'blocked' 131072",
                   "Call reason 403 -> callStateMode 131072"},
        hangup_row{404, 0x80,
                   "Hangup, call reason 404 -> signal disconnected state with cause 'bad address' 128",
                   "Call reason 404 -> callStateMode 128"},
        hangup_row{484, 0x80,
                   "Hangup, call reason 484 -> signal disconnected state with cause 'bad address' 128",
                   "Call reason 484 -> callStateMode 128"},
        hangup_row{415, 0x400,
                   "Hangup, call reason 415 -> signal disconnected state with cause 'incompatible' 1024",
                   "Call reason 415 -> callStateMode 1024"},
        hangup_row{480, 0x8000,
                   "Hangup, call reason 480 -> signal disconnected state with cause 'temp failure' 32768",
                   "Call reason 480 -> callStateMode 32768"},
        hangup_row{600, 0x20, "Hangup, call reason 600 -> signal disconnected state with cause 'busy' 32",
                   "Call reason 600 -> callStateMode 32"},
        hangup_row{200, 0x1, nullptr, nullptr}, hangup_row{0, 0x1, nullptr, nullptr},
        hangup_row{487, 0x1, nullptr, nullptr}, hangup_row{-1, 0x1, nullptr, nullptr}),
    [](const testing::TestParamInfo<hangup_row>& row) {
        return row.param.reason < 0 ? std::string("negative") : "reason_" + std::to_string(row.param.reason);
    });

using busy_call = call_end;

TEST_F(busy_call, is_busy_and_idle_at_once) {
    Hangup(486);
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(LINECALLSTATE_BUSY), State(LINECALLSTATE_IDLE)));
    EXPECT_TRUE(call_->FinalStateSignalled());
    EXPECT_TRUE(log_.Has("Line", "Hangup, busy -> signal busy state for call"));
    EXPECT_FALSE(log_.Has("Line", kTemporary));
    EXPECT_EQ(log_.CountStarting("Line", "Hangup, call reason"), 0U);
    EXPECT_EQ(log_.CountStarting("Line", "Call reason"), 0U);
}

TEST_F(busy_call, is_not_told_again_when_it_is_removed) {
    Hangup(486);
    Forget();
    line_.Calls().OnCallRemoved(L"call-1");
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_THAT(log_.Texts(), ElementsAre("Call removed Desk 7, tapiLineHandle: 0x000000A1, deviceId: "
                                          "0x00000005, client_call_id: call-1"));
}

TEST_F(busy_call, tells_changed_parties_between_busy_and_idle) {
    client_call_state event = StateOf(L"call-1", L"Hangup", false, 486);
    event.selfName = L"Desk";
    line_.Calls().OnClientCallState(event);
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(LINECALLSTATE_BUSY), CallInfo(kTapiLine, kCall, 0x18000),
                                            State(LINECALLSTATE_IDLE)));
}

using removed_call = call_end;

TEST_F(removed_call, without_a_hangup_ends_with_mode_zero) {
    line_.Calls().OnCallRemoved(L"call-1");
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(LINECALLSTATE_DISCONNECTED, 0), State(LINECALLSTATE_IDLE)));
    EXPECT_TRUE(call_->FinalStateSignalled());
    EXPECT_EQ(
        log_.Texts().at(0),
        "Call removed Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005, client_call_id: call-1");
    EXPECT_EQ(log_.Lines().at(0).category, "Line");
}

TEST_F(removed_call, after_another_state_than_hangup_ends_with_mode_zero) {
    Hangup(404);
    line_.Calls().OnClientCallState(StateOf(L"call-1", L"Connected"));
    EXPECT_EQ(call_->StateMode(), 0U);
    line_.Calls().OnCallRemoved(L"call-1");
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(LINECALLSTATE_DISCONNECTED, 0), State(LINECALLSTATE_IDLE)));
}

TEST_F(removed_call, after_two_hangups_ends_with_the_mode_of_the_last) {
    Hangup(404);
    Hangup(480);
    line_.Calls().OnCallRemoved(L"call-1");
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(State(LINECALLSTATE_DISCONNECTED, 0x8000), State(LINECALLSTATE_IDLE)));
}

TEST_F(removed_call, is_told_once_however_often_it_is_removed) {
    line_.Calls().OnCallRemoved(L"call-1");
    tapi_.Clear();
    line_.Calls().OnCallRemoved(L"call-1");
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

TEST_F(removed_call, that_is_unknown_is_logged_and_nothing_else) {
    line_.Calls().OnCallRemoved(L"id-9");
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_THAT(log_.Texts(), ElementsAre("Call removed Desk 7, tapiLineHandle: 0x000000A1, deviceId: "
                                          "0x00000005, client_call_id: id-9"));
}

TEST_F(removed_call, stays_known_until_tapi_closes_it) {
    line_.Calls().OnCallRemoved(L"call-1");
    EXPECT_EQ(calls_.FindCall(1), call_);
    log_.Skip();
    calls_.CloseCall(1);
    EXPECT_EQ(calls_.FindCall(1), nullptr);
    EXPECT_EQ(log_.CountStarting("Line", "Removed call "), 1U);
}

TEST_F(removed_call, tells_information_that_is_still_pending_after_the_state) {
    client_call_state event;
    event.selfName = L"Desk";
    call_->Update(event);
    line_.Calls().OnCallRemoved(L"call-1");
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(LINECALLSTATE_DISCONNECTED, 0),
                                            CallInfo(kTapiLine, kCall, 0x18000), State(LINECALLSTATE_IDLE)));
}

TEST_F(removed_call, reports_nothing_more_of_a_later_event) {
    line_.Calls().OnCallRemoved(L"call-1");
    Forget();
    client_call_state event = StateOf(L"call-1", L"Connected");
    event.peerName = L"Somebody else";
    line_.Calls().OnClientCallState(event);
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(call_->State(), static_cast<std::uint32_t>(LINECALLSTATE_IDLE));
}

TEST_F(removed_call, id_that_tapi_has_closed_is_a_new_call_when_it_is_reported_again) {
    line_.Calls().OnCallRemoved(L"call-1");
    calls_.CloseCall(1);
    Forget();
    line_.Calls().OnClientCallState(StateOf(L"call-1", L"Ringing"));
    ASSERT_FALSE(tapi_.Events().empty());
    EXPECT_EQ(tapi_.Events().at(0), NewCall(kTapiLine, 2, tapi_recorder::kFirstCallHandle));
}

}  // namespace
}  // namespace brivelnox::test
