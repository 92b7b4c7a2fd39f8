// Every asynchronous request is completed once, with success, as soon as it has been handed on.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <thread>
#include <vector>

#include "tests/dll/raw_provider_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class asynchronous_completion : public raw_provider {
  protected:
    /// A call on the first line, which needs no open line. Returns what the provider returned.
    LONG MakeCall(DRV_REQUESTID id, HDRVCALL* call) {
        return module_.TSPI_lineMakeCall(id, AsHandle<HDRVLINE>(1), nullptr, call, L"4711", 0, nullptr);
    }
};

TEST_F(asynchronous_completion, is_reported_before_the_request_returns) {
    ASSERT_EQ(Enumerate(), 0);
    ASSERT_EQ(Init(5), 0);
    HDRVCALL call = nullptr;
    log_.Skip();
    EXPECT_EQ(MakeCall(0x1234, &call), 0x1234);
    EXPECT_THAT(completions_.Completions(), ElementsAre(completion{0x1234, 0}));
    EXPECT_EQ(Last(ManagerLog()), "AsyncCompletionProc: (dwRequestID: 0x00001234, lResult: 0x00000000)");
}

TEST_F(asynchronous_completion, is_never_reported_for_a_request_made_before_initialisation) {
    ASSERT_EQ(Enumerate(), 0);
    HDRVCALL call = nullptr;
    log_.Skip();
    EXPECT_EQ(MakeCall(0x1001, &call), 0x1001) << "the request is accepted all the same";
    EXPECT_EQ(call, AsHandle<HDRVCALL>(1));
    EXPECT_EQ(module_.TSPI_lineHold(0x1002, call), 0x1002);
    EXPECT_EQ(log_.CountStarting(kManagerCategory, "AsyncCompletionProc"), 0u);
    ASSERT_EQ(Init(5), 0);
    EXPECT_THAT(completions_.Completions(), IsEmpty());
    EXPECT_EQ(module_.TSPI_lineHold(0x1003, call), 0x1003);
    EXPECT_THAT(completions_.Completions(), ElementsAre(completion{0x1003, 0}));
}

TEST_F(asynchronous_completion, is_not_reported_where_tapi_has_no_procedure_for_it) {
    ASSERT_EQ(Enumerate(), 0);
    ASSERT_EQ(module_.TSPI_providerInit(kVersion, 7, 5, 0, 3, 0, nullptr, nullptr), 0);
    HDRVCALL call = nullptr;
    log_.Skip();
    EXPECT_EQ(MakeCall(0x1001, &call), 0x1001);
    EXPECT_EQ(log_.CountStarting(kManagerCategory, "AsyncCompletionProc"), 0u);
}

TEST_F(asynchronous_completion, is_not_reported_for_a_request_that_is_refused) {
    ASSERT_EQ(Enumerate(), 0);
    ASSERT_EQ(Init(5), 0);
    HDRVCALL call = nullptr;
    EXPECT_LT(module_.TSPI_lineMakeCall(1, nullptr, nullptr, &call, L"4711", 0, nullptr), 0);
    EXPECT_LT(module_.TSPI_lineMakeCall(2, AsHandle<HDRVLINE>(1), nullptr, &call, nullptr, 0, nullptr), 0);
    EXPECT_LT(module_.TSPI_lineMakeCall(3, AsHandle<HDRVLINE>(1), nullptr, nullptr, L"4711", 0, nullptr), 0);
    EXPECT_LT(module_.TSPI_lineDial(4, nullptr, L"4711", 0), 0);
    EXPECT_LT(module_.TSPI_lineBlindTransfer(5, nullptr, nullptr, 0), 0);
    EXPECT_LT(module_.TSPI_lineSetupTransfer(6, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_LT(
        module_.TSPI_lineCompleteTransfer(7, nullptr, nullptr, nullptr, nullptr, LINETRANSFERMODE_CONFERENCE),
        0);
    EXPECT_THAT(completions_.Completions(), IsEmpty());
}

TEST_F(asynchronous_completion, reports_success_although_the_service_has_gone) {
    ASSERT_EQ(Enumerate(), 0);
    ASSERT_EQ(Init(5), 0);
    service_.Stop();
    HDRVCALL call = nullptr;
    for (DRV_REQUESTID id = 1; id <= 5; ++id) {
        EXPECT_EQ(MakeCall(id, &call), static_cast<LONG>(id));
    }
    EXPECT_THAT(completions_.Completions(), ElementsAre(completion{1, 0}, completion{2, 0}, completion{3, 0},
                                                        completion{4, 0}, completion{5, 0}));
}

using completion_by_host = open_line;

TEST_F(completion_by_host, of_requests_from_many_threads_comes_one_at_a_time_and_once_each) {
    constexpr int kThreads = 6;
    constexpr int kRequests = 40;
    std::atomic<int> accepted{0};
    std::vector<std::thread> threads;
    const std::uint64_t mark = host_.Mark();
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < kRequests; ++j) {
                accepted += host_.Hold(nullptr).Accepted();
            }
        });
    }
    for (std::thread& each : threads) {
        each.join();
    }
    EXPECT_EQ(accepted, kThreads * kRequests);
    EXPECT_EQ(host_.History().Since(mark).size(), std::size_t{kThreads} * kRequests);
    EXPECT_EQ(host_.Checker().OutstandingRequests(), 0u);
    // The host has watched for two at once; see the end of the fixture.
}

TEST_F(completion_by_host, of_a_request_made_inside_a_callback_comes_inside_it) {
    std::optional<host::request_result> dropped;
    host_.SetEventHook([&](const host::tapi_event& event) {
        if (event.IsMessage(LINE_CALLSTATE) && event.param1 == LINECALLSTATE_OFFERING) {
            dropped = host_.Drop(event.call);
        }
    });
    const std::uint64_t mark = host_.Mark();
    Play("in-1", "Ringing");
    HTAPICALL const call = host_.WaitForNewCall(line_, kSoon, mark);
    ASSERT_TRUE(host_.WaitForCallState(call, LINECALLSTATE_IDLE, kSoon));
    ASSERT_TRUE(Settled(kPhone));
    host_.SetEventHook({});
    ASSERT_TRUE(dropped);
    EXPECT_TRUE(dropped->Accepted());
    EXPECT_EQ(host_.WaitForCompletion(dropped->request_id, kSoon), 0);
    EXPECT_THAT(host_.States(call),
                ElementsAre(DWORD{LINECALLSTATE_OFFERING}, DWORD{LINECALLSTATE_DISCONNECTED},
                            DWORD{LINECALLSTATE_IDLE}));
}

}  // namespace
}  // namespace brivelnox::test
