// A call comes about as a whole or not at all, whichever allocation on the way fails.

#include <windows.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "calls/call_manager.h"
#include "calls/line_calls.h"
#include "calls/tapi_call.h"
#include "lines/line.h"
#include "platform/event_lock.h"
#include "registry_service/call_requests.h"
#include "tests/support/as_handle.h"
#include "tests/support/failing_memory.h"
#include "tests/support/looked_up.h"
#include "tests/support/process_log.h"
#include "tests/support/tapi_recorder.h"

namespace brivelnox::test {
namespace {

/// Counts the calls that the softphone has been asked for and those it has been told to hang up. Takes no
/// memory of its own.
class counting_call_requests : public call_requests {
  public:
    bool SendCallRequest(const call_request& request, std::int32_t, const std::string&,
                         const std::string&) override {
        const std::string_view command = request.command;
        placed += command == kPlaceCall.command ? 1 : 0;
        hung_up += command == kHangupCall.command ? 1 : 0;
        return true;
    }

    int placed = 0;
    int hung_up = 0;
};

// What TAPI has been told last. Procedures are plain functions.
DWORD told_message = 0;
DWORD_PTR told_state = 0;
constexpr std::uintptr_t kTapiCall = 0xC1;

void CALLBACK OnEvent(HTAPILINE, HTAPICALL, DWORD message, DWORD_PTR param1, DWORD_PTR param2, DWORD_PTR) {
    told_message = message;
    told_state = param1;
    if (message == LINE_NEWCALL) {
        *reinterpret_cast<HTAPICALL*>(param2) = AsHandle<HTAPICALL>(kTapiCall);
    }
}

class out_of_memory : public testing::Test {
  protected:
    /// A line with its calls, for one attempt.
    struct scene {
        scene() { desk.Open(AsHandle<HTAPILINE>(0xA1), &OnEvent); }

        counting_call_requests requests;
        event_lock events;
        call_manager calls;
        line desk{1, {7, 5060, true, true, L"Desk 7"}, events, calls, requests, 5};
    };

    /// Tries `attempt` with each of its allocations failing in turn, and `check` after each that has failed.
    template <class Attempt, class Check>
    void ForEachFailure(Attempt attempt, Check check) {
        constexpr std::size_t kMost = 1000;
        std::size_t failures = 0;
        for (std::size_t successes = 0; successes < kMost; ++successes) {
            scene now;
            bool has_thrown = false;
            bool has_failed = false;
            {
                const auto prepared = Prepare(now);
                const failing_memory memory(successes);
                try {
                    attempt(now, prepared);
                } catch (const std::bad_alloc&) {
                    has_thrown = true;
                }
                has_failed = memory.HasFailed();
            }
            if (!has_failed) {
                EXPECT_GT(failures, 5U) << "it takes memory";
                return;
            }
            ++failures;
            check(now, has_thrown);
        }
        FAIL() << "it never succeeds";
    }

    /// A consultation call in dial tone.
    static std::shared_ptr<tapi_call> Prepare(scene& now) {
        auto call = now.calls.CreateOutboundCall(now.desk, L"consultation", AsHandle<HTAPICALL>(0xC2));
        call->SetState(LINECALLSTATE_DIALTONE, 0, false);
        return call;
    }

    log_reader log_ = StartProcessLog();
};

TEST_F(out_of_memory, a_call_that_is_made_is_there_or_is_hung_up) {
    ForEachFailure(
        [](scene& now, const auto&) {
            std::uint64_t handle = 0;
            now.desk.Calls().MakeCall(AsHandle<HTAPICALL>(kTapiCall), 0, L"a number longer than a small text",
                                      handle);
        },
        [](scene& now, bool has_thrown) {
            const bool is_known = now.calls.FindCall(2) != nullptr;
            EXPECT_EQ(is_known, !has_thrown);
            EXPECT_EQ(now.desk.Calls().CountCalls().active, has_thrown ? 1U : 2U);
            EXPECT_EQ(now.requests.placed - now.requests.hung_up, is_known ? 1 : 0);
        });
}

TEST_F(out_of_memory, a_call_that_is_dialled_stays_on_its_line_and_is_hung_up) {
    ForEachFailure(
        [](scene& now, const auto& consultation) {
            now.desk.Calls().Dial(consultation, 0, L"a number longer than a small text");
        },
        [](scene& now, bool has_thrown) {
            ASSERT_NE(now.calls.FindCall(1), nullptr);
            EXPECT_EQ(now.desk.Calls().CountCalls().active, 1U);
            EXPECT_EQ(now.requests.placed - now.requests.hung_up, has_thrown ? 0 : 1);
            now.desk.Close();
            EXPECT_EQ(Found(now.calls.FindCall(1))->State(), DWORD{LINECALLSTATE_IDLE})
                << "it has kept its place";
        });
}

TEST_F(out_of_memory, a_call_that_is_announced_has_a_record_or_is_told_to_be_idle) {
    ForEachFailure(
        [](scene& now, const auto&) {
            told_message = 0;
            now.desk.Calls().OnClientCallState({L"an id that is longer than a small text",
                                                L"Ringing",
                                                false,
                                                {},
                                                {},
                                                {},
                                                {},
                                                {},
                                                {},
                                                {},
                                                0});
        },
        [](scene& now, bool) {
            const bool is_known = now.calls.FindCall(2) != nullptr;
            EXPECT_EQ(now.desk.Calls().CountCalls().active, is_known ? 2U : 1U)
                << "in both indexes or in none";
            if (!is_known && told_message != 0) {
                EXPECT_EQ(told_message, DWORD{LINE_CALLSTATE});
                EXPECT_EQ(told_state, DWORD_PTR{LINECALLSTATE_IDLE});
            }
        });
}

}  // namespace
}  // namespace brivelnox::test
