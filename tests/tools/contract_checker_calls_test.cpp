// The checker and calls that were never announced, that have ended, or that are closed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/as_handle.h"
#include "tests/tools/contract_checker_helper.h"

namespace brivelnox::test {
namespace {

using host::null_call_rule;
using host::tapi_event;

// --- Calls.

TEST_F(contract_check, reports_a_state_for_a_call_never_announced) {
    State(kCall, LINECALLSTATE_OFFERING);
    EXPECT_BREACH("for a call that was never announced");
}

TEST_F(contract_check, reports_information_for_a_call_never_announced) {
    Information(kCall);
    EXPECT_BREACH("for a call that was never announced");
}

TEST_F(contract_check, reports_messages_without_a_call_handle) {
    State(nullptr, LINECALLSTATE_OFFERING);
    EXPECT_BREACH("for a call that was never announced");
    EXPECT_EQ(checker_.NullCallMessages(), 1U);
}

TEST_F(contract_check, counts_messages_without_a_call_handle_when_they_are_tolerated) {
    checker_.SetNullCallRule(null_call_rule::kTolerate);
    State(nullptr, LINECALLSTATE_OFFERING);
    Information(nullptr);
    EXPECT_KEPT();
    EXPECT_EQ(checker_.NullCallMessages(), 2U);
}

TEST_F(contract_check, reports_a_state_after_idle) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_IDLE);
    State(kCall, LINECALLSTATE_CONNECTED);
    EXPECT_BREACH("a state for a call after IDLE");
}

TEST_F(contract_check, reports_a_second_idle) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_IDLE);
    State(kCall, LINECALLSTATE_IDLE);
    EXPECT_BREACH("a state for a call after IDLE");
}

TEST_F(contract_check, reports_information_after_idle) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_IDLE);
    Information(kCall);
    EXPECT_BREACH("information for a call after IDLE");
}

TEST_F(contract_check, reports_the_same_state_twice_in_a_row) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_CONNECTED);
    State(kCall, LINECALLSTATE_CONNECTED);
    EXPECT_BREACH("the same state twice in a row");
}

TEST_F(contract_check, allows_a_state_to_come_back) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_CONNECTED);
    State(kCall, LINECALLSTATE_ONHOLD);
    State(kCall, LINECALLSTATE_CONNECTED);
    EXPECT_KEPT();
}

TEST_F(contract_check, reports_a_message_for_a_closed_call) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_CONNECTED);
    checker_.CallClosed(kCall);
    State(kCall, LINECALLSTATE_IDLE);
    EXPECT_BREACH("for a call that is closed");
}

TEST_F(contract_check, does_not_expect_a_closed_call_to_end) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_CONNECTED);
    checker_.CallClosed(kCall);
    Close(kLine);
    checker_.ShutDown();
    EXPECT_KEPT();
}

TEST_F(contract_check, reports_a_call_on_another_line) {
    Open(kOtherLine, kDevice + 1);
    Announce(kCall);
    tapi_event event = StateEvent(kCall, LINECALLSTATE_OFFERING);
    event.line = kOtherLine;
    Take(event);
    EXPECT_BREACH("for a call of another line");
}

TEST_F(contract_check, allows_a_call_under_the_lines_new_handle) {
    Announce(kCall);
    Open(kOtherLine, kDevice);
    tapi_event event = StateEvent(kCall, LINECALLSTATE_OFFERING);
    event.line = kOtherLine;
    Take(event);
    EXPECT_KEPT();
}

TEST_F(contract_check, reports_messages_for_a_call_whose_request_was_refused) {
    checker_.CallAnnounced(kCall, kLine, false);
    State(kCall, LINECALLSTATE_PROCEEDING);
    checker_.CallWithdrawn(kCall);
    EXPECT_BREACH("whose request was refused");
    checker_.CallAnnounced(kOtherCall, kLine, false);
    checker_.CallWithdrawn(kOtherCall);
    EXPECT_EQ(checker_.BreachCount(), 1U);
}

TEST_F(contract_check, reports_a_call_that_was_made_on_an_open_line_without_a_state) {
    checker_.CallAnnounced(kCall, kLine, false);
    checker_.CallNumbered(kCall, AsHandle<HDRVCALL>(1));
    EXPECT_BREACH("no state of it was told");
}

TEST_F(contract_check, allows_a_call_without_a_state_whose_line_was_not_open_all_the_time) {
    checker_.CallAnnounced(kCall, kLine, false);
    checker_.LineClosing(kLine);
    checker_.CallNumbered(kCall, AsHandle<HDRVCALL>(1));
    checker_.CallAnnounced(kOtherCall, kLine, false);
    checker_.LineClosed(kLine);
    checker_.CallNumbered(kOtherCall, AsHandle<HDRVCALL>(2));
    EXPECT_KEPT();
}

TEST_F(contract_check, allows_a_call_without_a_state_on_a_line_whose_opening_met_a_close) {
    checker_.LineClosing(kLine);
    checker_.LineOpening(kOtherLine, kDevice);
    checker_.LineClosed(kLine);
    checker_.LineOpened(kOtherLine, true);
    checker_.CallAnnounced(kCall, kOtherLine, false);
    checker_.CallNumbered(kCall, AsHandle<HDRVCALL>(1));
    EXPECT_KEPT();
}

TEST_F(contract_check, allows_a_call_without_a_state_that_a_shutdown_has_overtaken) {
    checker_.CallAnnounced(kCall, kLine, false);
    checker_.ShuttingDown();
    checker_.CallNumbered(kCall, AsHandle<HDRVCALL>(1));
    EXPECT_KEPT();
}

TEST_F(contract_check, reports_a_driver_handle_that_two_calls_have) {
    Announce(kCall);
    Announce(kOtherCall);
    checker_.CallNumbered(kCall, AsHandle<HDRVCALL>(4));
    checker_.CallNumbered(kOtherCall, AsHandle<HDRVCALL>(4));
    EXPECT_BREACH("have the same driver call handle");
}

TEST_F(contract_check, reports_a_driver_handle_of_zero) {
    Announce(kCall);
    checker_.CallNumbered(kCall, nullptr);
    EXPECT_BREACH("has no driver call handle");
}

}  // namespace
}  // namespace brivelnox::test
