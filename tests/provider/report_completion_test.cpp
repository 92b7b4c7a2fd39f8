// TAPI is told the result of an asynchronous request.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/provider/manager_fixture_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/looked_up.h"
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
    EXPECT_EQ(manager->Request(kHold, 0x1234, nullptr), 0x1234);
    EXPECT_THAT(completions_.Completions(), ElementsAre(completion{0x1234, 0}));
    EXPECT_THAT(ManagerLog(),
                ElementsAre("AsyncCompletionProc: (dwRequestID: 0x00001234, lResult: 0x00000000)"));
}

TEST_F(report_completion, is_logged_before_tapi_is_told) {
    const auto manager = MakeManager();
    std::size_t logged = 0;
    completions_.SetReaction([&] {
        logged = log_.Count(kManagerCategory,
                            "AsyncCompletionProc: (dwRequestID: 0x00000001, lResult: 0x00000000)");
    });
    log_.Skip();
    EXPECT_EQ(manager->Request(kHold, 1, nullptr), 1);
    EXPECT_EQ(logged, 1U);
}

TEST_F(report_completion, is_not_made_before_tapi_has_told_its_procedure) {
    const auto manager = telephony_manager::Create(5, KeepLines());
    log_.Skip();
    EXPECT_EQ(manager->Request(kHold, 0x1234, nullptr), 0x1234);
    EXPECT_THAT(ManagerLog(), IsEmpty());
    EXPECT_THAT(completions_.Completions(), IsEmpty());
}

TEST_F(report_completion, holds_the_event_lock_meanwhile_and_no_longer) {
    const auto manager = MakeManager();
    bool was_free = true;
    completions_.SetReaction([&] { was_free = IsEventLockFree(); });
    EXPECT_TRUE(IsEventLockFree());
    EXPECT_EQ(manager->Request(kHold, 1, nullptr), 1);
    EXPECT_FALSE(was_free);
    EXPECT_TRUE(IsEventLockFree());
}

TEST_F(report_completion, swallows_what_the_procedure_throws_and_lets_go_of_the_lock) {
    const auto manager = MakeManager();
    completions_.SetReaction([] { throw std::runtime_error("TAPI is in trouble"); });
    EXPECT_EQ(manager->Request(kHold, 1, nullptr), 1) << "the request has succeeded all the same";
    EXPECT_TRUE(IsEventLockFree());
    EXPECT_EQ(manager->Request(kHold, 2, nullptr), 2);
    EXPECT_EQ(completions_.Completions().size(), 2U);
}

TEST_F(report_completion, waits_for_a_message_that_is_on_its_way) {
    const auto manager = MakeManager();
    lines_->EventLock().lock();
    signal begun;
    signal reported;
    std::thread reporting([&] {
        begun.Set();
        EXPECT_EQ(manager->Request(kHold, 1, nullptr), 1);
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

TEST_F(report_completion, is_not_made_once_the_lines_have_been_stopped) {
    const auto manager = MakeManager();
    lines_->Stop();
    log_.Skip();
    EXPECT_EQ(manager->Request(kHold, 77, nullptr), kOperationFailed);
    EXPECT_THAT(completions_.Completions(), IsEmpty());
    EXPECT_THAT(log_.Texts(), ElementsAre("LineHoldCall: Caught Exception!")) << "nothing was done";
}

TEST_F(report_completion, comes_when_the_way_to_tapi_is_shut_under_a_request_that_is_at_work) {
    const auto manager = MakeManager();
    HDRVLINE line = nullptr;
    ASSERT_EQ(telephony_manager::LineOpen(manager, 5, AsHandle<HTAPILINE>(0xA1), &line, kTspiVersion,
                                          tapi_.Procedure()),
              0);
    HDRVCALL const call = MakeCall(*manager);
    // A shutdown that does not wait any longer for the application inside this message.
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.message == LINE_CALLSTATE && event.param1 == LINECALLSTATE_DISCONNECTED) {
            lines_->EventLock().Shut();
        }
    });
    EXPECT_EQ(manager->Request(kDrop, 2, call), 2);
    EXPECT_THAT(completions_.Completions(), ElementsAre(completion{1, 0}, completion{2, 0}));
    EXPECT_EQ(Last(tapi_.Events()), CallState(0xA1, 0xC1, LINECALLSTATE_DISCONNECTED, 1));
    EXPECT_EQ(manager->Request(kDrop, 3, call), kOperationFailed);
}

TEST_F(report_completion, that_shutdown_makes_impossible_keeps_a_call_from_being_placed) {
    const auto manager = MakeManager();
    HDRVCALL consultation = nullptr;
    HDRVCALL const call = MakeCall(*manager);
    ASSERT_EQ(manager->LineSetupTransfer(2, call, nullptr, &consultation), 2);
    ASSERT_TRUE(service_.WaitForRequests(2, std::chrono::seconds(10)));
    const std::size_t requests = service_.Requests().size();
    const std::size_t messages = tapi_.Count();
    // The moment in which the way to TAPI is shut already and the link still stands.
    lines_->EventLock().Shut();
    HDRVCALL unused = nullptr;
    EXPECT_EQ(manager->LineMakeCall(3, AsHandle<HDRVLINE>(1), AsHandle<HTAPICALL>(0xC2), &unused, L"4711", 0),
              kOperationFailed);
    EXPECT_EQ(manager->LineDial(4, consultation, L"4712", 0), kOperationFailed);
    HDRVCALL second = nullptr;
    EXPECT_EQ(manager->LineSetupTransfer(5, call, nullptr, &second), kOperationFailed);
    EXPECT_EQ(unused, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(manager->Request(kDrop, 6, call), kOperationFailed);
    EXPECT_EQ(manager->Forward(L"any text", 7, call, L"4713"), kOperationFailed);
    // A request that does go out shows that none did before it.
    lines_->Calls().DropCall(reinterpret_cast<std::uint64_t>(call));
    ASSERT_TRUE(service_.WaitForRequests(requests + 1, std::chrono::seconds(10)));
    EXPECT_THAT(Last(service_.Requests()), testing::HasSubstr("<hangupCall"));
    EXPECT_EQ(service_.Requests().size(), requests + 1);
    EXPECT_EQ(tapi_.Count(), messages);
}

TEST_F(report_completion, that_shutdown_makes_impossible_keeps_a_consultation_call_from_being_made) {
    const auto manager = MakeManager();
    HDRVCALL const call = MakeCall(*manager);
    lines_->EventLock().Shut();
    log_.Skip();
    HDRVCALL consultation = nullptr;
    EXPECT_EQ(manager->LineSetupTransfer(2, call, nullptr, &consultation), kOperationFailed);
    EXPECT_THAT(log_.Texts(), ElementsAre("LineSetupTransfer: Caught Exception!"));
    EXPECT_EQ(lines_->Calls().FindCall(2), nullptr);
}

TEST_F(report_completion, without_a_place_for_the_handle_is_not_made_and_no_call_either) {
    const auto manager = MakeManager();
    HDRVCALL const call = MakeCall(*manager);
    log_.Skip();
    EXPECT_EQ(manager->LineSetupTransfer(2, call, nullptr, nullptr), kOperationFailed);
    EXPECT_EQ(manager->LineMakeCall(3, AsHandle<HDRVLINE>(1), nullptr, nullptr, L"4711", 0),
              kOperationFailed);
    EXPECT_THAT(log_.Texts(),
                ElementsAre("LineSetupTransfer: Caught Exception!", "LineMakeCallAsync: Caught Exception!"));
    EXPECT_EQ(lines_->Calls().FindCall(2), nullptr);
    EXPECT_THAT(completions_.Completions(), ElementsAre(completion{1, 0}));
}

TEST_F(report_completion, of_each_request_comes_once) {
    const auto manager = MakeManager();
    HDRVCALL const call = MakeCall(*manager);
    HDRVCALL consultation = nullptr;
    EXPECT_EQ(manager->LineSetupTransfer(2, call, nullptr, &consultation), 2);
    EXPECT_EQ(manager->LineDial(3, consultation, L"4712", 0), 3);
    EXPECT_EQ(manager->Request(kAnswer, 4, call), 4);
    EXPECT_EQ(manager->Request(kHold, 5, call), 5);
    EXPECT_EQ(manager->Request(kUnhold, 6, call), 6);
    EXPECT_EQ(manager->Request(kUnhold, 7, consultation), 7);
    EXPECT_EQ(manager->Forward(L"any text", 8, call, L"4713"), 8);
    EXPECT_EQ(manager->Forward(L"any text", 9, call, L"4713"), 9);
    EXPECT_EQ(manager->LineCompleteTransfer(10, call, consultation, LINETRANSFERMODE_TRANSFER), 10);
    EXPECT_EQ(manager->Request(kDrop, 11, call), 11);
    std::vector<completion> expected;
    for (DRV_REQUESTID id = 1; id <= 11; ++id) {
        expected.emplace_back(id, 0);
    }
    EXPECT_EQ(completions_.Completions(), expected);
}

TEST_F(report_completion, comes_when_the_handle_of_a_new_call_is_written) {
    const auto manager = MakeManager();
    HDRVCALL call = nullptr;
    HDRVCALL told = nullptr;
    completions_.SetReaction([&] { told = call; });
    EXPECT_EQ(manager->LineMakeCall(1, AsHandle<HDRVLINE>(1), nullptr, &call, L"4711", 0), 1);
    EXPECT_EQ(told, AsHandle<HDRVCALL>(1));
    EXPECT_EQ(manager->LineSetupTransfer(2, told, nullptr, &call), 2);
    EXPECT_EQ(told, AsHandle<HDRVCALL>(2));
}

TEST_F(report_completion, of_a_transfers_setup_is_its_result_whatever_goes_wrong_afterwards) {
    const auto manager = MakeManager();
    HDRVCALL const call = MakeCall(*manager);
    // TAPI shuts down inside the completion: nobody can give the new call its dial tone.
    completions_.SetReaction([&] { manager->CleanUp(); });
    log_.Skip();
    HDRVCALL consultation = nullptr;
    EXPECT_EQ(manager->LineSetupTransfer(2, call, nullptr, &consultation), 2);
    EXPECT_EQ(Last(completions_.Completions()), (completion{2, 0}));
    EXPECT_THAT(ManagerLog(),
                ElementsAre("AsyncCompletionProc: (dwRequestID: 0x00000002, lResult: 0x00000000)",
                            "Brivelnox TSP: CleanUp"));
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
