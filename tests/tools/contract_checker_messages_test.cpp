// The checker fed with messages that a provider should not send, each next to one that it may.

#include <cstddef>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/as_handle.h"
#include "tests/tools/contract_checker_helper.h"

namespace brivelnox::test {
namespace {

using host::contract_checker;
using host::tapi_event;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

// --- A life in good order.

TEST_F(contract_check, finds_nothing_in_a_good_life) {
    static DWORD_PTR handle = 0;
    Take(Message(static_cast<DWORD>(LINE_CREATE), nullptr, nullptr, 0xA0, 8, 0));
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kLine, nullptr, 1, reinterpret_cast<DWORD_PTR>(&handle),
                 0));
    Announce(kCall);
    checker_.CallNumbered(kCall, AsHandle<HDRVCALL>(1));
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

TEST_F(contract_check, reports_two_messages_at_once) {
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

TEST_F(contract_check, reports_a_completion_during_a_message) {
    Announce(kCall);
    checker_.RequestIssued(1, "Drop");
    checker_.Enter(StateEvent(kCall, LINECALLSTATE_OFFERING));
    tapi_event completion = CompletionEvent(1);
    completion.thread_id = kThread + 1;
    checker_.Enter(completion);
    EXPECT_BREACH("two at once: request 1 completed");
}

TEST_F(contract_check, allows_a_callback_inside_another_on_the_same_thread) {
    Announce(kCall);
    checker_.RequestIssued(1, "Drop");
    checker_.Enter(StateEvent(kCall, LINECALLSTATE_OFFERING));
    EndCall(kCall);
    Take(CompletionEvent(1));
    EXPECT_TRUE(checker_.RequestReturned(1, 1));
    checker_.Leave(kThread);
    EXPECT_KEPT();
}

TEST_F(contract_check, counts_the_outer_callback_as_still_there_after_an_inner_one) {
    Announce(kCall);
    checker_.Enter(StateEvent(kCall, LINECALLSTATE_OFFERING));
    State(kCall, LINECALLSTATE_ACCEPTED);
    tapi_event other = StateEvent(kCall, LINECALLSTATE_CONNECTED);
    other.thread_id = kThread + 1;
    checker_.Enter(other);
    EXPECT_BREACH("two at once");
}

// --- Parameters.

TEST_F(contract_check, reports_a_disconnect_mode_with_any_other_state) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_CONNECTED, LINEDISCONNECTMODE_NORMAL);
    EXPECT_BREACH("wrong parameters");
}

TEST_F(contract_check, allows_disconnected_with_and_without_a_mode) {
    Announce(kCall);
    Announce(kOtherCall);
    State(kCall, LINECALLSTATE_DISCONNECTED, LINEDISCONNECTMODE_BUSY);
    State(kOtherCall, LINECALLSTATE_DISCONNECTED, 0);
    EXPECT_KEPT();
}

TEST_F(contract_check, reports_a_state_that_is_none_or_two) {
    Announce(kCall);
    State(kCall, 0x10000);
    State(kCall, LINECALLSTATE_CONNECTED | LINECALLSTATE_ONHOLD);
    EXPECT_THAT(checker_.Breaches(),
                ElementsAre(HasSubstr("wrong parameters"), HasSubstr("wrong parameters")));
}

TEST_F(contract_check, reports_another_media_mode) {
    Announce(kCall);
    tapi_event event = StateEvent(kCall, LINECALLSTATE_CONNECTED);
    event.param3 = 0;
    Take(event);
    EXPECT_BREACH("wrong parameters");
}

TEST_F(contract_check, reports_empty_information) {
    Announce(kCall);
    Information(kCall, 0);
    EXPECT_BREACH("wrong parameters");
}

TEST_F(contract_check, reports_a_new_call_with_wrong_parameters) {
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kLine, nullptr, 0, 1, 0));
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kLine, nullptr, 1, 0, 0));
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kLine, kCall, 1, 1, 0));
    Take(Message(static_cast<DWORD>(LINE_NEWCALL), kLine, nullptr, 1, 1, 1));
    EXPECT_EQ(checker_.BreachCount(), 4U);
}

TEST_F(contract_check, reports_a_message_that_is_not_the_providers) {
    Take(Message(static_cast<DWORD>(LINE_CLOSE), kLine, nullptr, 0, 0, 0));
    Take(Message(4711, kLine, nullptr, 0, 0, 0));
    EXPECT_THAT(checker_.Breaches(), ElementsAre(AllOf(HasSubstr("no business"), HasSubstr("LINE_CLOSE")),
                                                 HasSubstr("message 4711")));
}

// --- The end.

TEST_F(contract_check, reports_anything_after_shutdown) {
    checker_.ShutDown();
    Take(CompletionEvent(1));
    State(kCall, LINECALLSTATE_IDLE);
    EXPECT_THAT(checker_.Breaches(), ElementsAre(HasSubstr("after shutdown: request 1"),
                                                 HasSubstr("after shutdown: LINE_CALLSTATE")));
}

TEST_F(contract_check, takes_the_completion_of_a_request_that_was_under_way_at_shutdown_once) {
    checker_.RequestIssued(1, "Hold");
    checker_.ShutDown();
    Take(CompletionEvent(1));
    EXPECT_TRUE(checker_.RequestReturned(1, 1));
    EXPECT_THAT(checker_.Breaches(), testing::IsEmpty());
    Take(CompletionEvent(1));
    EXPECT_THAT(checker_.Breaches(), ElementsAre(HasSubstr("after shutdown: request 1")));
}

TEST_F(contract_check, reports_a_call_that_has_not_ended_at_shutdown) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_CONNECTED);
    checker_.ShutDown();
    EXPECT_BREACH("had not ended IDLE when the provider was shut down (last state CONNECTED)");
}

TEST_F(contract_check, judges_each_call_once) {
    Announce(kCall);
    State(kCall, LINECALLSTATE_CONNECTED);
    Close(kLine);
    checker_.ShutDown();
    EXPECT_EQ(checker_.BreachCount(), 1U);
}

TEST_F(contract_check, keeps_breaches_over_a_restart_until_they_are_cleared) {
    Take(CompletionEvent(77));
    checker_.ShutDown();
    checker_.Starting(kProvider);
    EXPECT_EQ(checker_.BreachCount(), 1U);
    checker_.ClearBreaches();
    EXPECT_KEPT();
    EXPECT_EQ(checker_.BreachCount(), 0U);
}

TEST_F(contract_check, keeps_a_limited_number_of_texts_but_counts_on) {
    for (std::size_t i = 0; i < contract_checker::kMaxBreaches + 5; ++i) {
        Take(CompletionEvent(77));
    }
    EXPECT_EQ(checker_.Breaches().size(), contract_checker::kMaxBreaches);
    EXPECT_EQ(checker_.BreachCount(), contract_checker::kMaxBreaches + 5);
}

}  // namespace
}  // namespace brivelnox::test
