// The checker and messages for lines that are not open, calls that outlive their line, new lines.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/as_handle.h"
#include "tests/tools/contract_checker_helper.h"

namespace brivelnox::test {
namespace {

using host::tapi_event;

// --- Lines.

TEST_F(contract_check, reports_a_message_for_a_line_never_opened) {
    Announce(kCall);
    tapi_event event = StateEvent(kCall, LINECALLSTATE_OFFERING);
    event.line = kOtherLine;
    Take(event);
    EXPECT_BREACH("never opened");
}

TEST_F(contract_check, reports_a_message_for_a_closed_line) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_OFFERING);
    EndCall(kCall);
    Close(kLine);
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kLine, nullptr, 2, 1, 0));
    EXPECT_BREACH("a message for a line that is closed");
}

TEST_F(contract_check, allows_messages_while_a_line_is_opened_or_closed) {
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

TEST_F(contract_check, reports_a_message_for_a_line_that_could_not_be_opened) {
    checker_.LineOpening(kOtherLine, kDevice + 1);
    checker_.LineOpened(kOtherLine, false);
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kOtherLine, nullptr, 2, 1, 0));
    EXPECT_BREACH("a message for a line that is closed");
}

TEST_F(contract_check, reports_a_call_that_has_not_ended_when_its_line_is_closed) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_OFFERING);
    Close(kLine);
    EXPECT_BREACH("had not ended IDLE when its line was closed (last state OFFERING)");
}

TEST_F(contract_check, reports_a_call_that_never_got_a_state) {
    Announce(kCall);
    Close(kLine);
    EXPECT_BREACH("had not ended IDLE");
}

TEST_F(contract_check, allows_a_call_that_is_just_being_closed_when_its_line_is_closed) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_OFFERING);
    checker_.CallClosing(kCall);
    Close(kLine);
    checker_.CallClosed(kCall);
    EXPECT_KEPT();
}

TEST_F(contract_check, allows_an_applications_call_that_the_provider_never_heard_of) {
    checker_.CallAnnounced(kCall, kLine, false);
    Close(kLine);
    EXPECT_KEPT();
}

TEST_F(contract_check, does_not_judge_calls_of_a_line_that_was_opened_while_it_was_closed) {
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

TEST_F(contract_check, does_not_take_a_handle_for_closed_whose_opening_was_under_way) {
    checker_.LineOpening(kOtherLine, kDevice);
    Close(kLine);
    checker_.LineOpened(kOtherLine, true);
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kOtherLine, nullptr, 2, 1, 0));
    EXPECT_KEPT();
}

TEST_F(contract_check, waits_for_the_last_of_two_that_close_a_line_at_once) {
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

TEST_F(contract_check, bears_the_closing_of_an_unknown_line) {
    Close(AsHandle<HTAPILINE>(0x99));
    EXPECT_KEPT();
}

// --- New lines.

TEST_F(contract_check, reports_a_temporary_identifier_used_twice) {
    const tapi_event event = Message(static_cast<DWORD>(LINE_CREATE), nullptr, nullptr, 0xA0, 8, 0);
    Take(event);
    Take(event);
    EXPECT_BREACH("announced twice");
}

TEST_F(contract_check, allows_several_lines_without_an_identifier) {
    const tapi_event event = Message(static_cast<DWORD>(LINE_CREATE), nullptr, nullptr, 0xA0, 0xFFFFFFFF, 0);
    Take(event);
    Take(event);
    EXPECT_KEPT();
}

TEST_F(contract_check, reports_a_new_line_of_another_provider) {
    Take(Message(static_cast<DWORD>(LINE_CREATE), nullptr, nullptr, 0xA1, 8, 0));
    EXPECT_BREACH("wrong parameters");
}

TEST_F(contract_check, starts_the_identifiers_anew_with_the_provider) {
    const tapi_event event = Message(static_cast<DWORD>(LINE_CREATE), nullptr, nullptr, 0xA0, 8, 0);
    Take(event);
    checker_.ShutDown();
    checker_.Starting(kProvider);
    Take(event);
    EXPECT_KEPT();
}

}  // namespace
}  // namespace brivelnox::test
