// The checker fed with sequences that a provider should not produce, each next to one that it may.

#include "tools/telephony_host/contract_checker.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brivelnox::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

template <class Handle>
Handle HandleOf(std::uintptr_t number) {
    return reinterpret_cast<Handle>(number);
}

constexpr DWORD kDevice = 5;
constexpr DWORD kThread = 100;

class ContractChecker : public testing::Test {
  protected:
    void SetUp() override {
        checker_.Starting(kProvider);
        Open(kLine, kDevice);
    }
    void Open(HTAPILINE line, DWORD device) {
        checker_.LineOpening(line, device);
        checker_.LineOpened(line, true);
    }
    void Close(HTAPILINE line) {
        checker_.LineClosing(line);
        checker_.LineClosed(line);
    }
    void Announce(HTAPICALL call) { checker_.CallAnnounced(call, kLine, true); }

    static tapi_event Message(DWORD message, HTAPILINE line, HTAPICALL call, DWORD_PTR param1,
                              DWORD_PTR param2, DWORD_PTR param3) {
        tapi_event event;
        event.message = message;
        event.thread_id = kThread;
        event.line = line;
        event.call = call;
        event.param1 = param1;
        event.param2 = param2;
        event.param3 = param3;
        return event;
    }
    static tapi_event StateEvent(HTAPICALL call, DWORD state, DWORD mode = 0) {
        return Message(static_cast<DWORD>(LINE_CALLSTATE), kLine, call, state, mode,
                       LINEMEDIAMODE_INTERACTIVEVOICE);
    }
    static tapi_event CompletionEvent(DRV_REQUESTID id) {
        tapi_event event;
        event.kind = event_kind::kCompletion;
        event.thread_id = kThread;
        event.request_id = id;
        return event;
    }
    void Take(const tapi_event& event) {
        checker_.Enter(event);
        checker_.Leave(event.thread_id);
    }
    void State(HTAPICALL call, DWORD state, DWORD mode = 0) { Take(StateEvent(call, state, mode)); }
    void Information(HTAPICALL call, DWORD bits = LINECALLINFOSTATE_CALLERID) {
        Take(Message(static_cast<DWORD>(LINE_CALLINFO), kLine, call, bits, 0, 0));
    }
    void EndCall(HTAPICALL call) {
        State(call, LINECALLSTATE_DISCONNECTED, LINEDISCONNECTMODE_NORMAL);
        State(call, LINECALLSTATE_IDLE);
    }

    static inline const HPROVIDER kProvider = HandleOf<HPROVIDER>(0xA0);
    static inline const HTAPILINE kLine = HandleOf<HTAPILINE>(0x11);
    static inline const HTAPILINE kOtherLine = HandleOf<HTAPILINE>(0x12);
    static inline const HTAPICALL kCall = HandleOf<HTAPICALL>(0x21);
    static inline const HTAPICALL kOtherCall = HandleOf<HTAPICALL>(0x22);
    contract_checker checker_;
};

#define EXPECT_KEPT() EXPECT_THAT(checker_.Breaches(), IsEmpty())
#define EXPECT_BREACH(text) EXPECT_THAT(checker_.Breaches(), ElementsAre(HasSubstr(text)))

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

// --- Requests.

TEST_F(ContractChecker, ReportsARequestCompletedTwice) {
    checker_.RequestIssued(1, "Hold");
    Take(CompletionEvent(1));
    Take(CompletionEvent(1));
    EXPECT_BREACH("request 1 (Hold) was completed twice");
}

TEST_F(ContractChecker, ReportsASecondCompletionAfterTheRequestReturned) {
    checker_.RequestIssued(1, "Hold");
    Take(CompletionEvent(1));
    EXPECT_TRUE(checker_.RequestReturned(1, 1));
    Take(CompletionEvent(1));
    EXPECT_BREACH("request 1 was completed again");
}

TEST_F(ContractChecker, ReportsARequestNeverCompleted) {
    checker_.RequestIssued(1, "Hold");
    EXPECT_TRUE(checker_.RequestReturned(1, 1));
    EXPECT_EQ(checker_.OutstandingRequests(), 1U);
    EXPECT_KEPT();
    checker_.ShutDown();
    EXPECT_BREACH("request 1 (Hold) was never completed");
}

TEST_F(ContractChecker, ReportsARequestThatReturnsAfterShutdownAndWasNeverCompleted) {
    checker_.RequestIssued(1, "Hold");
    checker_.ShutDown();
    EXPECT_KEPT();
    EXPECT_TRUE(checker_.RequestReturned(1, 1));
    EXPECT_BREACH("request 1 (Hold) was never completed");
}

TEST_F(ContractChecker, AllowsACompletionAfterTheRequestReturned) {
    checker_.RequestIssued(1, "Hold");
    EXPECT_TRUE(checker_.RequestReturned(1, 1));
    Take(CompletionEvent(1));
    checker_.ShutDown();
    EXPECT_KEPT();
}

TEST_F(ContractChecker, ReportsACompletionOfARequestNeverIssued) {
    Take(CompletionEvent(77));
    EXPECT_BREACH("request 77 was completed but never issued");
}

TEST_F(ContractChecker, ReportsACompletionOfRequestZero) {
    checker_.RequestIssued(1, "Hold");
    Take(CompletionEvent(0));
    EXPECT_BREACH("request 0 was completed but never issued");
}

TEST_F(ContractChecker, ReportsTheCompletionOfARefusedRequest) {
    checker_.RequestIssued(1, "MakeCall");
    Take(CompletionEvent(1));
    EXPECT_FALSE(checker_.RequestReturned(1, static_cast<LONG>(LINEERR_INVALADDRESS)));
    EXPECT_BREACH("completed although it was refused with LINEERR_INVALADDRESS");
}

TEST_F(ContractChecker, ReportsTheLateCompletionOfARefusedRequest) {
    checker_.RequestIssued(1, "MakeCall");
    EXPECT_FALSE(checker_.RequestReturned(1, static_cast<LONG>(LINEERR_INVALADDRESS)));
    EXPECT_KEPT();
    Take(CompletionEvent(1));
    EXPECT_BREACH("after it had been refused");
}

TEST_F(ContractChecker, ReportsARequestThatReturnsNeitherItsIdNorAnError) {
    checker_.RequestIssued(1, "Hold");
    EXPECT_FALSE(checker_.RequestReturned(1, 0));
    checker_.RequestIssued(2, "Hold");
    EXPECT_FALSE(checker_.RequestReturned(2, 3));
    EXPECT_THAT(checker_.Breaches(), ElementsAre(HasSubstr("request 1 (Hold) returned 0, neither"),
                                                 HasSubstr("request 2 (Hold) returned 3, neither")));
}

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
