// The checker and the completion of requests.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/contract_checker_helper.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// --- Requests.

TEST_F(contract_check, reports_a_request_completed_twice) {
    checker_.RequestIssued(1, "Hold");
    Take(CompletionEvent(1));
    Take(CompletionEvent(1));
    EXPECT_BREACH("request 1 (Hold) was completed twice");
}

TEST_F(contract_check, reports_a_second_completion_after_the_request_returned) {
    checker_.RequestIssued(1, "Hold");
    Take(CompletionEvent(1));
    EXPECT_TRUE(checker_.RequestReturned(1, 1));
    Take(CompletionEvent(1));
    EXPECT_BREACH("request 1 was completed again");
}

TEST_F(contract_check, reports_a_request_never_completed) {
    checker_.RequestIssued(1, "Hold");
    EXPECT_TRUE(checker_.RequestReturned(1, 1));
    EXPECT_EQ(checker_.OutstandingRequests(), 1U);
    EXPECT_KEPT();
    checker_.ShutDown();
    EXPECT_BREACH("request 1 (Hold) was never completed");
}

TEST_F(contract_check, reports_a_request_that_returns_after_shutdown_and_was_never_completed) {
    checker_.RequestIssued(1, "Hold");
    checker_.ShutDown();
    EXPECT_KEPT();
    EXPECT_TRUE(checker_.RequestReturned(1, 1));
    EXPECT_BREACH("request 1 (Hold) was never completed");
}

TEST_F(contract_check, allows_a_completion_after_the_request_returned) {
    checker_.RequestIssued(1, "Hold");
    EXPECT_TRUE(checker_.RequestReturned(1, 1));
    Take(CompletionEvent(1));
    checker_.ShutDown();
    EXPECT_KEPT();
}

TEST_F(contract_check, reports_a_completion_of_a_request_never_issued) {
    Take(CompletionEvent(77));
    EXPECT_BREACH("request 77 was completed but never issued");
}

TEST_F(contract_check, reports_a_completion_of_request_zero) {
    checker_.RequestIssued(1, "Hold");
    Take(CompletionEvent(0));
    EXPECT_BREACH("request 0 was completed but never issued");
}

TEST_F(contract_check, reports_the_completion_of_a_refused_request) {
    checker_.RequestIssued(1, "MakeCall");
    Take(CompletionEvent(1));
    EXPECT_FALSE(checker_.RequestReturned(1, static_cast<LONG>(LINEERR_INVALADDRESS)));
    EXPECT_BREACH("completed although it was refused with LINEERR_INVALADDRESS");
}

TEST_F(contract_check, reports_the_late_completion_of_a_refused_request) {
    checker_.RequestIssued(1, "MakeCall");
    EXPECT_FALSE(checker_.RequestReturned(1, static_cast<LONG>(LINEERR_INVALADDRESS)));
    EXPECT_KEPT();
    Take(CompletionEvent(1));
    EXPECT_BREACH("after it had been refused");
}

TEST_F(contract_check, reports_a_request_that_returns_neither_its_id_nor_an_error) {
    checker_.RequestIssued(1, "Hold");
    EXPECT_FALSE(checker_.RequestReturned(1, 0));
    checker_.RequestIssued(2, "Hold");
    EXPECT_FALSE(checker_.RequestReturned(2, 3));
    EXPECT_THAT(checker_.Breaches(), ElementsAre(HasSubstr("request 1 (Hold) returned 0, neither"),
                                                 HasSubstr("request 2 (Hold) returned 3, neither")));
}

}  // namespace
}  // namespace brivelnox::test
