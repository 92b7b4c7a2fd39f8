// The checker and calls that were never announced, that have ended, or that are closed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/contract_checker_helper.h"

namespace brivelnox::host {
namespace {

// --- Calls.

TEST_F(ContractChecker, ReportsAStateForACallNeverAnnounced) {
    State(kCall, LINECALLSTATE_OFFERING);
    EXPECT_BREACH("for a call that was never announced");
}

TEST_F(ContractChecker, ReportsInformationForACallNeverAnnounced) {
    Information(kCall);
    EXPECT_BREACH("for a call that was never announced");
}

TEST_F(ContractChecker, ReportsMessagesWithoutACallHandle) {
    State(nullptr, LINECALLSTATE_OFFERING);
    EXPECT_BREACH("for a call that was never announced");
    EXPECT_EQ(checker_.NullCallMessages(), 1U);
}

TEST_F(ContractChecker, CountsMessagesWithoutACallHandleWhenTheyAreTolerated) {
    checker_.SetNullCallRule(null_call_rule::kTolerate);
    State(nullptr, LINECALLSTATE_OFFERING);
    Information(nullptr);
    EXPECT_KEPT();
    EXPECT_EQ(checker_.NullCallMessages(), 2U);
}

TEST_F(ContractChecker, ReportsAStateAfterIdle) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_IDLE);
    State(kCall, LINECALLSTATE_CONNECTED);
    EXPECT_BREACH("a state for a call after IDLE");
}

TEST_F(ContractChecker, ReportsASecondIdle) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_IDLE);
    State(kCall, LINECALLSTATE_IDLE);
    EXPECT_BREACH("a state for a call after IDLE");
}

TEST_F(ContractChecker, ReportsInformationAfterIdle) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_IDLE);
    Information(kCall);
    EXPECT_BREACH("information for a call after IDLE");
}

TEST_F(ContractChecker, ReportsTheSameStateTwiceInARow) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_CONNECTED);
    State(kCall, LINECALLSTATE_CONNECTED);
    EXPECT_BREACH("the same state twice in a row");
}

TEST_F(ContractChecker, AllowsAStateToComeBack) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_CONNECTED);
    State(kCall, LINECALLSTATE_ONHOLD);
    State(kCall, LINECALLSTATE_CONNECTED);
    EXPECT_KEPT();
}

TEST_F(ContractChecker, ReportsAMessageForAClosedCall) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_CONNECTED);
    checker_.CallClosed(kCall);
    State(kCall, LINECALLSTATE_IDLE);
    EXPECT_BREACH("for a call that is closed");
}

TEST_F(ContractChecker, DoesNotExpectAClosedCallToEnd) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_CONNECTED);
    checker_.CallClosed(kCall);
    Close(kLine);
    checker_.ShutDown();
    EXPECT_KEPT();
}

TEST_F(ContractChecker, ReportsACallOnAnotherLine) {
    Open(kOtherLine, kDevice + 1);
    Announce(kCall);
    tapi_event event = StateEvent(kCall, LINECALLSTATE_OFFERING);
    event.line = kOtherLine;
    Take(event);
    EXPECT_BREACH("for a call of another line");
}

TEST_F(ContractChecker, AllowsACallUnderTheLinesNewHandle) {
    Announce(kCall);
    Open(kOtherLine, kDevice);
    tapi_event event = StateEvent(kCall, LINECALLSTATE_OFFERING);
    event.line = kOtherLine;
    Take(event);
    EXPECT_KEPT();
}

TEST_F(ContractChecker, ReportsMessagesForACallWhoseRequestWasRefused) {
    checker_.CallAnnounced(kCall, kLine, false);
    State(kCall, LINECALLSTATE_PROCEEDING);
    checker_.CallWithdrawn(kCall);
    EXPECT_BREACH("whose request was refused");
    checker_.CallAnnounced(kOtherCall, kLine, false);
    checker_.CallWithdrawn(kOtherCall);
    EXPECT_EQ(checker_.BreachCount(), 1U);
}

TEST_F(ContractChecker, ReportsACallThatWasMadeOnAnOpenLineWithoutAState) {
    checker_.CallAnnounced(kCall, kLine, false);
    checker_.CallNumbered(kCall, HandleOf<HDRVCALL>(1));
    EXPECT_BREACH("no state of it was told");
}

TEST_F(ContractChecker, AllowsACallWithoutAStateWhoseLineWasNotOpenAllTheTime) {
    checker_.CallAnnounced(kCall, kLine, false);
    checker_.LineClosing(kLine);
    checker_.CallNumbered(kCall, HandleOf<HDRVCALL>(1));
    checker_.CallAnnounced(kOtherCall, kLine, false);
    checker_.LineClosed(kLine);
    checker_.CallNumbered(kOtherCall, HandleOf<HDRVCALL>(2));
    EXPECT_KEPT();
}

TEST_F(ContractChecker, AllowsACallWithoutAStateOnALineWhoseOpeningMetAClose) {
    checker_.LineClosing(kLine);
    checker_.LineOpening(kOtherLine, kDevice);
    checker_.LineClosed(kLine);
    checker_.LineOpened(kOtherLine, true);
    checker_.CallAnnounced(kCall, kOtherLine, false);
    checker_.CallNumbered(kCall, HandleOf<HDRVCALL>(1));
    EXPECT_KEPT();
}

TEST_F(ContractChecker, AllowsACallWithoutAStateThatAShutdownHasOvertaken) {
    checker_.CallAnnounced(kCall, kLine, false);
    checker_.ShuttingDown();
    checker_.CallNumbered(kCall, HandleOf<HDRVCALL>(1));
    EXPECT_KEPT();
}

TEST_F(ContractChecker, ReportsADriverHandleThatTwoCallsHave) {
    Announce(kCall);
    Announce(kOtherCall);
    checker_.CallNumbered(kCall, HandleOf<HDRVCALL>(4));
    checker_.CallNumbered(kOtherCall, HandleOf<HDRVCALL>(4));
    EXPECT_BREACH("have the same driver call handle");
}

TEST_F(ContractChecker, ReportsADriverHandleOfZero) {
    Announce(kCall);
    checker_.CallNumbered(kCall, nullptr);
    EXPECT_BREACH("has no driver call handle");
}

}  // namespace
}  // namespace brivelnox::host
