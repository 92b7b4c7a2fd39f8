// The checker fed with messages that a provider should not send, each next to one that it may.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/contract_checker_helper.h"

namespace brivelnox::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

// --- A life in good order.

TEST_F(ContractChecker, FindsNothingInAGoodLife) {
    static DWORD_PTR handle = 0;
    Take(Message(static_cast<DWORD>(LINE_CREATE), nullptr, nullptr, 0xA0, 8, 0));
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kLine, nullptr, 1, reinterpret_cast<DWORD_PTR>(&handle),
                 0));
    Announce(kCall);
    checker_.CallNumbered(kCall, HandleOf<HDRVCALL>(1));
    State(kCall, LINECALLSTATE_OFFERING);
    Information(kCall);
    State(kCall, LINECALLSTATE_ACCEPTED);
    checker_.RequestIssued(1, "Answer");
    Take(CompletionEvent(1));
    EXPECT_TRUE(checker_.RequestReturned(1, 1));
    State(kCall, LINECALLSTATE_CONNECTED);
    EndCall(kCall);
    checker_.CallClosed(kCall);
    Close(kLine);
    checker_.ShutDown();
    EXPECT_KEPT();
    EXPECT_EQ(checker_.OutstandingRequests(), 0U);
}

// --- Two at once.

TEST_F(ContractChecker, ReportsTwoMessagesAtOnce) {
    Announce(kCall);
    checker_.Enter(StateEvent(kCall, LINECALLSTATE_OFFERING));
    tapi_event other = StateEvent(kCall, LINECALLSTATE_ACCEPTED);
    other.thread_id = kThread + 1;
    checker_.Enter(other);
    EXPECT_THAT(checker_.Breaches(), ElementsAre(AllOf(HasSubstr("two at once"), HasSubstr("ACCEPTED"),
                                                       HasSubstr("OFFERING"), HasSubstr("thread 101"))));
    checker_.Leave(kThread + 1);
    checker_.Leave(kThread);
    State(kCall, LINECALLSTATE_CONNECTED);
    EXPECT_EQ(checker_.BreachCount(), 1U);
}

TEST_F(ContractChecker, ReportsACompletionDuringAMessage) {
    Announce(kCall);
    checker_.RequestIssued(1, "Drop");
    checker_.Enter(StateEvent(kCall, LINECALLSTATE_OFFERING));
    tapi_event completion = CompletionEvent(1);
    completion.thread_id = kThread + 1;
    checker_.Enter(completion);
    EXPECT_BREACH("two at once: request 1 completed");
}

TEST_F(ContractChecker, AllowsACallbackInsideAnotherOnTheSameThread) {
    Announce(kCall);
    checker_.RequestIssued(1, "Drop");
    checker_.Enter(StateEvent(kCall, LINECALLSTATE_OFFERING));
    EndCall(kCall);
    Take(CompletionEvent(1));
    EXPECT_TRUE(checker_.RequestReturned(1, 1));
    checker_.Leave(kThread);
    EXPECT_KEPT();
}

TEST_F(ContractChecker, CountsTheOuterCallbackAsStillThereAfterAnInnerOne) {
    Announce(kCall);
    checker_.Enter(StateEvent(kCall, LINECALLSTATE_OFFERING));
    State(kCall, LINECALLSTATE_ACCEPTED);
    tapi_event other = StateEvent(kCall, LINECALLSTATE_CONNECTED);
    other.thread_id = kThread + 1;
    checker_.Enter(other);
    EXPECT_BREACH("two at once");
}

// --- Parameters.

TEST_F(ContractChecker, ReportsADisconnectModeWithAnyOtherState) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_CONNECTED, LINEDISCONNECTMODE_NORMAL);
    EXPECT_BREACH("wrong parameters");
}

TEST_F(ContractChecker, AllowsDisconnectedWithAndWithoutAMode) {
    Announce(kCall);
    Announce(kOtherCall);
    State(kCall, LINECALLSTATE_DISCONNECTED, LINEDISCONNECTMODE_BUSY);
    State(kOtherCall, LINECALLSTATE_DISCONNECTED, 0);
    EXPECT_KEPT();
}

TEST_F(ContractChecker, ReportsAStateThatIsNoneOrTwo) {
    Announce(kCall);
    State(kCall, 0x10000);
    State(kCall, LINECALLSTATE_CONNECTED | LINECALLSTATE_ONHOLD);
    EXPECT_THAT(checker_.Breaches(),
                ElementsAre(HasSubstr("wrong parameters"), HasSubstr("wrong parameters")));
}

TEST_F(ContractChecker, ReportsAnotherMediaMode) {
    Announce(kCall);
    tapi_event event = StateEvent(kCall, LINECALLSTATE_CONNECTED);
    event.param3 = 0;
    Take(event);
    EXPECT_BREACH("wrong parameters");
}

TEST_F(ContractChecker, ReportsEmptyInformation) {
    Announce(kCall);
    Information(kCall, 0);
    EXPECT_BREACH("wrong parameters");
}

TEST_F(ContractChecker, ReportsANewCallWithWrongParameters) {
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kLine, nullptr, 0, 1, 0));
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kLine, nullptr, 1, 0, 0));
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kLine, kCall, 1, 1, 0));
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kLine, nullptr, 1, 1, 1));
    EXPECT_EQ(checker_.BreachCount(), 4U);
}

TEST_F(ContractChecker, ReportsAMessageThatIsNotTheProviders) {
    Take(Message(static_cast<DWORD>(LINE_CLOSE), kLine, nullptr, 0, 0, 0));
    Take(Message(4711, kLine, nullptr, 0, 0, 0));
    EXPECT_THAT(checker_.Breaches(), ElementsAre(AllOf(HasSubstr("no business"), HasSubstr("LINE_CLOSE")),
                                                 HasSubstr("message 4711")));
}

// --- The end.

TEST_F(ContractChecker, ReportsAnythingAfterShutdown) {
    checker_.RequestIssued(1, "Hold");
    checker_.ShutDown();
    Take(CompletionEvent(1));
    State(kCall, LINECALLSTATE_IDLE);
    EXPECT_THAT(checker_.Breaches(), ElementsAre(HasSubstr("after shutdown: request 1"),
                                                 HasSubstr("after shutdown: LINE_CALLSTATE")));
}

TEST_F(ContractChecker, ReportsACallThatHasNotEndedAtShutdown) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_CONNECTED);
    checker_.ShutDown();
    EXPECT_BREACH("had not ended IDLE when the provider was shut down (last state CONNECTED)");
}

TEST_F(ContractChecker, JudgesEachCallOnce) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_CONNECTED);
    Close(kLine);
    checker_.ShutDown();
    EXPECT_EQ(checker_.BreachCount(), 1U);
}

TEST_F(ContractChecker, KeepsBreachesOverARestartUntilTheyAreCleared) {
    Take(CompletionEvent(77));
    checker_.ShutDown();
    checker_.Starting(kProvider);
    EXPECT_EQ(checker_.BreachCount(), 1U);
    checker_.ClearBreaches();
    EXPECT_KEPT();
    EXPECT_EQ(checker_.BreachCount(), 0U);
}

TEST_F(ContractChecker, KeepsALimitedNumberOfTextsButCountsOn) {
    for (std::size_t i = 0; i < contract_checker::kMaxBreaches + 5; ++i) {
        Take(CompletionEvent(77));
    }
    EXPECT_EQ(checker_.Breaches().size(), contract_checker::kMaxBreaches);
    EXPECT_EQ(checker_.BreachCount(), contract_checker::kMaxBreaches + 5);
}

}  // namespace
}  // namespace brivelnox::host
