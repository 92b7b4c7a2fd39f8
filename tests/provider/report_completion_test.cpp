// TAPI is told the result of an asynchronous request.

#include <stdexcept>
#include <thread>

#include "tests/provider/manager_fixture_helper.h"
#include "tests/support/signal.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class report_completion : public manager_fixture {
  protected:
    /// Whether another thread than this one could take the event lock now.
    bool IsEventLockFree() {
        bool is_free = false;
        std::thread([&] {
            if (lines_->EventLock().try_lock()) {
                is_free = true;
                lines_->EventLock().unlock();
            }
        }).join();
        return is_free;
    }
};

TEST_F(report_completion, calls_the_procedure_and_logs_it) {
    const auto manager = MakeManager();
    log_.Skip();
    manager->ReportCompletion(0x1234, static_cast<LONG>(0x80000048));
    EXPECT_THAT(completions_.Completions(), ElementsAre(completion{0x1234, kOperationFailed}));
    EXPECT_THAT(log_.Texts(),
                ElementsAre("AsyncCompletionProc: (dwRequestID: 0x00001234, lResult: 0x80000048)"));
}

TEST_F(report_completion, does_nothing_at_all_before_tapi_has_told_its_procedure) {
    const auto manager = telephony_manager::Create(5, KeepLines());
    log_.Skip();
    manager->ReportCompletion(0x1234, 0);
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_THAT(completions_.Completions(), IsEmpty());
}

TEST_F(report_completion, does_nothing_without_a_procedure_although_there_are_no_lines) {
    const auto manager = telephony_manager::Create(5, &FailToMakeLines);
    log_.Skip();
    EXPECT_NO_THROW(manager->ReportCompletion(0x1234, 0));
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(report_completion, holds_the_event_lock_meanwhile_and_no_longer) {
    const auto manager = MakeManager();
    bool was_free = true;
    completions_.SetReaction([&] { was_free = IsEventLockFree(); });
    EXPECT_TRUE(IsEventLockFree());
    manager->ReportCompletion(1, 0);
    EXPECT_FALSE(was_free);
    EXPECT_TRUE(IsEventLockFree());
}

TEST_F(report_completion, swallows_what_the_procedure_throws_and_lets_go_of_the_lock) {
    const auto manager = MakeManager();
    completions_.SetReaction([] { throw std::runtime_error("TAPI is in trouble"); });
    EXPECT_NO_THROW(manager->ReportCompletion(1, 0));
    EXPECT_TRUE(IsEventLockFree());
    EXPECT_EQ(manager->LineHold(2, nullptr), 2) << "the request has succeeded all the same";
    EXPECT_EQ(completions_.Completions().size(), 2U);
}

TEST_F(report_completion, waits_for_a_message_that_is_on_its_way) {
    const auto manager = MakeManager();
    lines_->EventLock().lock();
    signal begun;
    signal reported;
    std::thread reporting([&] {
        begun.Set();
        manager->ReportCompletion(1, 0);
        reported.Set();
    });
    EXPECT_TRUE(begun.Wait());
    EXPECT_FALSE(reported.Wait(std::chrono::milliseconds(100)));
    EXPECT_THAT(completions_.Completions(), IsEmpty());
    lines_->EventLock().unlock();
    EXPECT_TRUE(reported.Wait());
    reporting.join();
    EXPECT_EQ(completions_.Completions().size(), 1U);
}

TEST_F(report_completion, fails_without_a_line_manager_and_touches_nothing_of_it) {
    const auto manager = telephony_manager::Create(5, &FailToMakeLines);
    manager->SetCompletionProcedure(completions_.Procedure());
    log_.Skip();
    EXPECT_ANY_THROW(manager->ReportCompletion(1, 0));
    EXPECT_THAT(completions_.Completions(), IsEmpty());
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(report_completion, fails_once_the_lines_have_been_stopped) {
    const auto manager = MakeManager();
    lines_->Stop();
    log_.Skip();
    EXPECT_ANY_THROW(manager->ReportCompletion(1, 0));
    EXPECT_EQ(manager->LineHold(77, nullptr), kOperationFailed);
    EXPECT_THAT(completions_.Completions(), IsEmpty());
    EXPECT_THAT(ManagerLog(), ElementsAre("LineHoldCall: Caught Exception!"));
}

TEST_F(report_completion, of_each_request_comes_once) {
    const auto manager = MakeManager();
    HDRVCALL const call = MakeCall(*manager);
    HDRVCALL consultation = nullptr;
    EXPECT_EQ(manager->LineSetupTransfer(2, call, nullptr, &consultation), 2);
    EXPECT_EQ(manager->LineDial(3, consultation, L"4712", 0), 3);
    EXPECT_EQ(manager->LineAnswer(4, call), 4);
    EXPECT_EQ(manager->LineHold(5, call), 5);
    EXPECT_EQ(manager->LineUnhold(6, call), 6);
    EXPECT_EQ(manager->LineSwapHold(7, call, consultation), 7);
    EXPECT_EQ(manager->LineBlindTransfer(8, call, L"4713"), 8);
    EXPECT_EQ(manager->LineRedirect(9, call, L"4713"), 9);
    EXPECT_EQ(manager->LineCompleteTransfer(10, call, consultation, LINETRANSFERMODE_TRANSFER), 10);
    EXPECT_EQ(manager->LineDrop(11, call), 11);
    std::vector<completion> expected;
    for (DRV_REQUESTID id = 1; id <= 11; ++id) {
        expected.emplace_back(id, 0);
    }
    EXPECT_EQ(completions_.Completions(), expected);
}

TEST_F(report_completion, is_not_made_for_synchronous_requests) {
    const auto manager = MakeManager();
    EXPECT_EQ(manager->LineCloseCall(nullptr), 0);
    EXPECT_EQ(manager->LineClose(nullptr), 0);
    EXPECT_EQ(manager->LineGenerateDigits(nullptr, 0, L"1"), kOperationFailed);
    EXPECT_THAT(completions_.Completions(), IsEmpty());
}

}  // namespace
}  // namespace brivelnox::test
