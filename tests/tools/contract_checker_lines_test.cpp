// The checker and messages for lines that are not open, calls that outlive their line, new lines.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/contract_checker_helper.h"

namespace brivelnox::host {
namespace {

// --- Lines.

TEST_F(ContractChecker, ReportsAMessageForALineNeverOpened) {
    Announce(kCall);
    tapi_event event = StateEvent(kCall, LINECALLSTATE_OFFERING);
    event.line = kOtherLine;
    Take(event);
    EXPECT_BREACH("never opened");
}

TEST_F(ContractChecker, ReportsAMessageForAClosedLine) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_OFFERING);
    EndCall(kCall);
    Close(kLine);
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kLine, nullptr, 2, 1, 0));
    EXPECT_BREACH("a message for a line that is closed");
}

TEST_F(ContractChecker, AllowsMessagesWhileALineIsOpenedOrClosed) {
    checker_.LineOpening(kOtherLine, kDevice + 1);
    checker_.CallAnnounced(kOtherCall, kOtherLine, true);
    tapi_event event = StateEvent(kOtherCall, LINECALLSTATE_OFFERING);
    event.line = kOtherLine;
    Take(event);
    checker_.LineOpened(kOtherLine, true);
    checker_.LineClosing(kOtherLine);
    event.param1 = LINECALLSTATE_IDLE;
    Take(event);
    checker_.LineClosed(kOtherLine);
    EXPECT_KEPT();
}

TEST_F(ContractChecker, ReportsAMessageForALineThatCouldNotBeOpened) {
    checker_.LineOpening(kOtherLine, kDevice + 1);
    checker_.LineOpened(kOtherLine, false);
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kOtherLine, nullptr, 2, 1, 0));
    EXPECT_BREACH("a message for a line that is closed");
}

TEST_F(ContractChecker, ReportsACallThatHasNotEndedWhenItsLineIsClosed) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_OFFERING);
    Close(kLine);
    EXPECT_BREACH("had not ended IDLE when its line was closed (last state OFFERING)");
}

TEST_F(ContractChecker, ReportsACallThatNeverGotAState) {
    Announce(kCall);
    Close(kLine);
    EXPECT_BREACH("had not ended IDLE");
}

TEST_F(ContractChecker, AllowsACallThatIsJustBeingClosedWhenItsLineIsClosed) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_OFFERING);
    checker_.CallClosing(kCall);
    Close(kLine);
    checker_.CallClosed(kCall);
    EXPECT_KEPT();
}

TEST_F(ContractChecker, AllowsAnApplicationsCallThatTheProviderNeverHeardOf) {
    checker_.CallAnnounced(kCall, kLine, false);
    Close(kLine);
    EXPECT_KEPT();
}

TEST_F(ContractChecker, DoesNotJudgeCallsOfALineThatWasOpenedWhileItWasClosed) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_OFFERING);
    checker_.LineClosing(kLine);
    checker_.LineOpening(kOtherLine, kDevice);
    checker_.LineOpened(kOtherLine, true);
    checker_.LineClosed(kLine);
    EXPECT_KEPT();
    // The new handle is not taken for closed.
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kOtherLine, nullptr, 2, 1, 0));
    EXPECT_KEPT();
    // At the latest now it has to have ended.
    checker_.ShutDown();
    EXPECT_BREACH("had not ended IDLE when the provider was shut down (last state OFFERING)");
}

TEST_F(ContractChecker, DoesNotTakeAHandleForClosedWhoseOpeningWasUnderWay) {
    checker_.LineOpening(kOtherLine, kDevice);
    Close(kLine);
    checker_.LineOpened(kOtherLine, true);
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kOtherLine, nullptr, 2, 1, 0));
    EXPECT_KEPT();
}

TEST_F(ContractChecker, WaitsForTheLastOfTwoThatCloseALineAtOnce) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_OFFERING);
    checker_.LineClosing(kLine);
    checker_.LineClosing(kLine);
    checker_.LineClosed(kLine);
    EndCall(kCall);
    checker_.LineClosed(kLine);
    EXPECT_KEPT();
    State(kCall, LINECALLSTATE_IDLE);
    EXPECT_EQ(checker_.BreachCount(), 2U);  // closed line, idle call
}

TEST_F(ContractChecker, BearsTheClosingOfAnUnknownLine) {
    Close(HandleOf<HTAPILINE>(0x99));
    EXPECT_KEPT();
}

// --- New lines.

TEST_F(ContractChecker, ReportsATemporaryIdentifierUsedTwice) {
    const tapi_event event = Message(static_cast<DWORD>(LINE_CREATE), nullptr, nullptr, 0xA0, 8, 0);
    Take(event);
    Take(event);
    EXPECT_BREACH("announced twice");
}

TEST_F(ContractChecker, AllowsSeveralLinesWithoutAnIdentifier) {
    const tapi_event event = Message(static_cast<DWORD>(LINE_CREATE), nullptr, nullptr, 0xA0, 0xFFFFFFFF, 0);
    Take(event);
    Take(event);
    EXPECT_KEPT();
}

TEST_F(ContractChecker, ReportsANewLineOfAnotherProvider) {
    Take(Message(static_cast<DWORD>(LINE_CREATE), nullptr, nullptr, 0xA1, 8, 0));
    EXPECT_BREACH("wrong parameters");
}

TEST_F(ContractChecker, StartsTheIdentifiersAnewWithTheProvider) {
    const tapi_event event = Message(static_cast<DWORD>(LINE_CREATE), nullptr, nullptr, 0xA0, 8, 0);
    Take(event);
    checker_.ShutDown();
    checker_.Starting(kProvider);
    Take(event);
    EXPECT_KEPT();
}

}  // namespace
}  // namespace brivelnox::host
