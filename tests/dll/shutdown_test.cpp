// The telephony service stops while the provider is in the middle of something.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "tests/dll/raw_provider_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/busy_processors.h"
#include "tests/support/looked_up.h"
#include "tests/support/signal.h"

namespace brivelnox::test {
namespace {

using simulator::request_kind;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::IsEmpty;

milliseconds Since(steady_clock::time_point begun) {
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - begun);
}

class shutdown_among_requests : public hosted_provider {
  protected:
    static constexpr std::int32_t kFirstPhone = 1001;
    static constexpr int kPhones = 3;

    void SetUp() override {
        for (int i = 0; i < kPhones; ++i) {
            AddPhone(kFirstPhone + i, Text("Desk %d", static_cast<int>(kFirstPhone) + i))->SetAutomatic(true);
        }
        StartService();
    }

    /// What an application does on a line: all kinds of requests, one after another.
    void UseLine(HTAPILINE line) {
        const host::request_result made = host_.MakeCall(line, L"4711");
        (void)host_.GetCallInfo(made.call);
        (void)host_.GetCallStatus(made.call);
        (void)host_.Hold(made.call);
        const host::request_result consultation = host_.SetupTransfer(made.call);
        (void)host_.Dial(consultation.call, L"4712");
        (void)host_.GenerateDigits(made.call, L"1");
        (void)host_.GetLineDevStatus(line);
        (void)host_.CompleteTransfer(made.call, consultation.call);
        for (HTAPICALL const call : {consultation.call, made.call}) {
            (void)host_.Drop(call);
            (void)host_.CloseCall(call);
        }
    }
};

TEST_F(shutdown_among_requests, returns_soon_and_leaves_nothing_undone) {
    constexpr int kRounds = 10;
    milliseconds slowest{0};
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_EQ(host_.Start(), 0);
        std::vector<HTAPILINE> lines;
        for (const host::line_device& device : host_.Devices()) {
            lines.push_back(host_.OpenLine(device.device_id));
        }
        std::atomic<bool> done{false};
        std::atomic<int> used{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 2 * kPhones; ++i) {
            threads.emplace_back([&, i] {
                while (!done) {
                    UseLine(lines[static_cast<std::size_t>(i % kPhones)]);
                    ++used;
                }
            });
        }
        // Calls of the softphones' own, so that the reader is busy too.
        threads.emplace_back([&] {
            while (!done) {
                const auto phone = service_.FindSoftphone(kFirstPhone);
                const std::string id = phone->Ring({"4713", "Berta"});
                (void)phone->Connect(id);
                (void)phone->End(id, 200);
                (void)service_.WaitUntilSent(milliseconds(100));
            }
        });
        while (used < 5 * (round + 1)) {
            std::this_thread::yield();
        }
        const auto begun = steady_clock::now();
        EXPECT_EQ(host_.Shutdown(), 0);
        slowest = std::max(slowest, Since(begun));
        // The applications have not noticed yet.
        const int used_before = used;
        while (used < used_before + 2 * kPhones) {
            std::this_thread::yield();
        }
        done = true;
        for (std::thread& each : threads) {
            each.join();
        }
        ASSERT_THAT(host_.Checker().Breaches(), IsEmpty()) << "in round " << round;
        EXPECT_EQ(host_.Checker().OutstandingRequests(), 0u);
        ASSERT_TRUE(service_.WaitForNoConnection(kSoon));
    }
    std::printf("the slowest of %d shutdowns took %lld ms\n", kRounds,
                static_cast<long long>(slowest.count()));
    EXPECT_LT(slowest, milliseconds(4000));
}

class shutdown_inside_initialisation : public raw_provider {};

TEST_F(shutdown_inside_initialisation, does_not_wait_for_the_list_and_gives_the_initialisation_up) {
    service_.SetListAnswer(simulator::answer_policy::kOnDemand);
    LONG enumerated = 0;
    std::thread enumerating([&] { enumerated = Enumerate(); });
    const bool asked = service_.WaitForRequest(request_kind::kGetClientRegistrations, kSoon).has_value();
    const auto begun = steady_clock::now();
    EXPECT_EQ(Shutdown(), 0);
    const milliseconds took = Since(begun);
    (void)service_.AnswerPending();
    enumerating.join();
    ASSERT_TRUE(asked);
    EXPECT_LT(took, milliseconds(3000));
    EXPECT_EQ(enumerated, kOperationFailed);
    EXPECT_FALSE(IsInitialised());
    EXPECT_TRUE(log_.Has(kManagerCategory, "Exception in TSPI_providerEnumDevices"));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    // The next start is a start like any other.
    service_.SetListAnswer(simulator::answer_policy::kAtOnce);
    EXPECT_EQ(Enumerate(), 0);
    EXPECT_EQ(lines_, 3u);
}

TEST_F(shutdown_inside_initialisation, lets_it_see_the_lines_or_fail) {
    constexpr int kRounds = 30;
    constexpr std::int32_t kLatePhone = 1004;
    const busy_processors load;
    // How often the initialisation has succeeded, by the number of lines that it has seen.
    std::map<std::string, int> seen;
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_EQ(Enumerate(), 0);
        // Both have to wait while a new line is announced. Either may get on first.
        signal inside;
        signal release;
        tapi_.SetReaction([&](const tapi_event&) {
            inside.Set();
            EXPECT_TRUE(release.Wait());
        });
        simulator::registration late;
        late.permanent_line_id = kLatePhone;
        service_.AddSoftphone(late);
        EXPECT_TRUE(inside.Wait());
        log_.Skip();
        LONG initialised = 0;
        std::thread initialising([&] { initialised = Init(5); });
        EXPECT_TRUE(log_.WaitFor(kManagerCategory, "TSPI_providerInit", kSoon));
        std::thread stopping([&] { EXPECT_EQ(Shutdown(), 0); });
        EXPECT_TRUE(log_.WaitFor("LineManager", "CleanUp", kSoon));
        release.Set();
        initialising.join();
        stopping.join();
        tapi_.SetReaction({});
        service_.RemoveSoftphone(kLatePhone, simulator::announcement::kSilent);
        ASSERT_TRUE(service_.WaitForNoConnection(kSoon));
        for (const std::string& text : ManagerLog()) {
            if (initialised == 0 && text.starts_with("Initial line count: ")) {
                ++seen[text];
            }
        }
        ASSERT_TRUE(initialised == 0 || initialised == kOperationFailed) << std::hex << initialised;
        ASSERT_FALSE(IsInitialised());
    }
    EXPECT_THAT(seen, testing::Each(testing::Key("Initial line count: 4")));
}

class shutdown_and_callbacks : public raw_provider {
  protected:
    void StartWithOpenLine() {
        ASSERT_EQ(Enumerate(), 0);
        ASSERT_EQ(Init(5), 0);
        ASSERT_EQ(module_.TSPI_lineOpen(5, AsHandle<HTAPILINE>(0xA1), &line_, kVersion, tapi_.Procedure()),
                  0);
    }

    HDRVLINE line_ = nullptr;
};

TEST_F(shutdown_and_callbacks, of_a_quick_application_take_no_time) {
    StartWithOpenLine();
    Play(1001, "in-1", "Ringing");
    ASSERT_TRUE(tapi_.WaitForCount(3, kSoon));
    const auto begun = steady_clock::now();
    EXPECT_EQ(Shutdown(), 0);
    EXPECT_LT(Since(begun), milliseconds(2000));
    const std::vector<tapi_event> told = tapi_.Events();
    ASSERT_GE(told.size(), 5u);
    const std::uintptr_t call = tapi_recorder::kFirstCallHandle;
    EXPECT_EQ(told[told.size() - 2],
              CallState(0xA1, call, LINECALLSTATE_DISCONNECTED, LINEDISCONNECTMODE_CANCELLED));
    EXPECT_EQ(Last(told), CallState(0xA1, call, LINECALLSTATE_IDLE));
}

TEST_F(shutdown_and_callbacks, of_an_application_that_blocks_is_over_within_its_bounds) {
    StartWithOpenLine();
    signal inside;
    signal release;
    signal left;
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.message == static_cast<DWORD>(LINE_CALLSTATE) && !inside.IsSet()) {
            inside.Set();
            (void)release.Wait(milliseconds(60000));
            left.Set();
        }
    });
    Play(1001, "in-1", "Ringing");
    ASSERT_TRUE(inside.Wait(kSoon));

    log_.Skip();
    const auto begun = steady_clock::now();
    EXPECT_EQ(Shutdown(), 0);
    const milliseconds took = Since(begun);
    std::printf("fault: event procedure that blocks: shut down after %lld ms\n",
                static_cast<long long>(took.count()));
    // 5 s for the lock that the callback keeps and 5 s for the reader that is inside it.
    EXPECT_LT(took, milliseconds(12000));
    EXPECT_EQ(log_.Count("LineManager", "CleanUp: Failure cleaning up LineManager."), 1u);
    EXPECT_FALSE(IsInitialised());

    const std::size_t told = tapi_.Count();
    // A new life of the provider is not disturbed by what is left of the old one, nor the other way round.
    ASSERT_EQ(Enumerate(), 0);
    EXPECT_EQ(lines_, 3u);
    release.Set();
    ASSERT_TRUE(left.Wait(kSoon));
    ASSERT_EQ(Init(5), 0);
    EXPECT_EQ(DeviceIdOf(1), 5u);
    EXPECT_EQ(Shutdown(), 0);
    EXPECT_EQ(tapi_.Count(), told) << "something was told after shutdown had returned";
}

}  // namespace
}  // namespace brivelnox::test
