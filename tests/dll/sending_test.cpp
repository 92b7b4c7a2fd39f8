// Requests of many threads on one socket, and a socket that takes no more.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/signal.h"

namespace brivelnox::test {
namespace {

using simulator::request_kind;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

class sending : public hosted_provider {
  protected:
    static constexpr std::int32_t kFirstPhone = 1001;
    static constexpr int kPhones = 4;
    // Long enough that a full socket is reached soon, short enough for one request.
    const std::wstring digits_ = std::wstring(900, L'1');

    void SetUp() override {
        for (std::int32_t i = 0; i < kPhones; ++i) {
            phones_.push_back(AddPhone(kFirstPhone + i, Text("Desk %d", static_cast<int>(kFirstPhone + i))));
        }
        service_.SetReceiveBufferSize(8192);
        StartAll();
        for (const host::line_device& device : host_.Devices()) {
            lines_.push_back(host_.OpenLine(device.device_id));
            ASSERT_NE(lines_.back(), nullptr);
        }
    }

    void Play(std::size_t phone, const std::string& id, const std::string& state) {
        service_.Send(CallEvent(phone, id, state));
    }
    std::string CallEvent(std::size_t phone, const std::string& id, const std::string& state) const {
        simulator::call_state_event event;
        event.permanent_line_id = kFirstPhone + static_cast<std::int32_t>(phone);
        event.client_call_id = id;
        event.call_state = state;
        return simulator::CallStateEvent(event);
    }

    /// A connected call on the line of that phone.
    HTAPICALL Connect(std::size_t phone, const std::string& id) {
        const std::uint64_t mark = host_.Mark();
        Play(phone, id, "Connected");
        HTAPICALL const call = host_.WaitForNewCall(lines_[phone], kSoon, mark);
        EXPECT_TRUE(host_.WaitForCurrentState(call, LINECALLSTATE_CONNECTED, kSoon));
        EXPECT_TRUE(Settled(kFirstPhone));
        return call;
    }

    std::vector<std::shared_ptr<simulator::softphone>> phones_;
    std::vector<HTAPILINE> lines_;
};

TEST_F(sending, of_many_threads_at_once_tears_and_loses_nothing) {
    constexpr int kThreads = 8;
    constexpr int kRequests = 100;
    std::vector<HTAPICALL> calls;
    for (std::size_t i = 0; i < kPhones; ++i) {
        calls.push_back(Connect(i, "call-" + std::to_string(i)));
    }
    const std::size_t since = service_.ReceivedCount();
    std::atomic<int> failed{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            // Two threads each on one line. Digits tell thread and number apart.
            HTAPICALL const call = calls[static_cast<std::size_t>(thread % kPhones)];
            for (int i = 0; i < kRequests; ++i) {
                const std::string text = Text("%d*%03d", thread, i) + std::string(200, '#');
                const std::wstring digits(text.begin(), text.end());
                failed += host_.GenerateDigits(call, digits.c_str()) != 0;
            }
        });
    }
    for (std::thread& each : threads) {
        each.join();
    }
    EXPECT_EQ(failed, 0);
    const auto all_are_there = [&] {
        return service_.Received(request_kind::kPlayDtmf, since).size() >= std::size_t{kThreads} * kRequests;
    };
    ASSERT_TRUE(service_.WaitForMessage(
        [&](const simulator::received_message& message) {
            return message.index + 1 >= since + std::size_t{kThreads} * kRequests;
        },
        kSoon, since));
    ASSERT_TRUE(all_are_there());
    EXPECT_EQ(service_.Received(request_kind::kMalformed).size(), 0u);
    // Each thread's requests have arrived in its order.
    std::map<int, int> next;
    for (const simulator::received_message& message : service_.Received(request_kind::kPlayDtmf, since)) {
        const int thread = message.parsed.digits[0] - '0';
        EXPECT_EQ(message.parsed.digits.substr(0, 5), Text("%d*%03d", thread, next[thread]));
        EXPECT_EQ(message.parsed.digits.size(), 205u);
        EXPECT_EQ(message.parsed.permanent_line_id, kFirstPhone + thread % kPhones);
        ++next[thread];
    }
    EXPECT_EQ(service_.AcceptedCount(), 1u) << "no connection was given up";
}

TEST_F(sending, that_fails_while_the_line_s_events_are_handled_stalls_nobody) {
    HTAPICALL const busy_call = Connect(0, "busy");
    HTAPICALL const other_call = Connect(1, "other");
    service_.PauseReading();

    // Events for the line, as many as the connection brings until it ends.
    std::atomic<bool> done{false};
    std::thread events([&] {
        while (!done) {
            service_.Send(CallEvent(0, "busy", "Parked") + CallEvent(0, "busy", "Connected"));
            (void)service_.WaitUntilSent(milliseconds(50));
            // So many that one is always being handled, and not so many that nothing else is.
            std::this_thread::sleep_for(milliseconds(3));
        }
    });
    std::atomic<std::int64_t> slowest_other{0};
    std::thread other_line([&] {
        while (!done) {
            const auto begun = steady_clock::now();
            (void)host_.GenerateDigits(other_call, L"1");
            const std::int64_t took = (steady_clock::now() - begun).count();
            slowest_other = std::max<std::int64_t>(slowest_other, took);
            std::this_thread::sleep_for(milliseconds(5));
        }
    });
    steady_clock::duration slowest{0};
    const auto begun = steady_clock::now();
    int requests = 0;
    while (service_.OpenCount() != 0 && steady_clock::now() - begun < milliseconds(60000)) {
        const auto asked = steady_clock::now();
        (void)host_.GenerateDigits(busy_call, digits_.c_str());
        slowest = std::max(slowest, steady_clock::now() - asked);
        ++requests;
    }
    const bool ended = service_.OpenCount() == 0;
    done = true;
    events.join();
    other_line.join();
    std::printf(
        "%d requests until the service knew of the end; slowest on that line %.1f ms, on another %.1f ms\n",
        requests, std::chrono::duration<double, std::milli>(slowest).count(),
        std::chrono::duration<double, std::milli>(steady_clock::duration(slowest_other)).count());
    EXPECT_TRUE(ended) << "the send that failed has not closed the connection";
    // Waiting for the reader would take 5 s.
    EXPECT_LT(slowest, milliseconds(3000));
    EXPECT_LT(steady_clock::duration(slowest_other), milliseconds(3000));
    // The provider goes on without a connection, and stops at once.
    EXPECT_TRUE(host_.MakeCall(lines_[0], L"4711").Accepted());
    const auto stopping = steady_clock::now();
    EXPECT_EQ(host_.Shutdown(), 0);
    EXPECT_LT(steady_clock::now() - stopping, milliseconds(3000));
}

TEST_F(sending, that_fails_inside_a_message_ends_the_connection_and_the_messages_behind_it) {
    HTAPICALL const call = Connect(0, "busy");
    service_.PauseReading();
    std::atomic<std::int64_t> slowest{0};
    signal left;
    host_.SetEventHook([&](const host::tapi_event& event) {
        if (!event.IsMessage(LINE_CALLSTATE) || event.param1 != LINECALLSTATE_ONHOLD) {
            return;
        }
        for (int i = 0; i < 50000 && steady_clock::duration(slowest) < milliseconds(3000); ++i) {
            const auto asked = steady_clock::now();
            (void)host_.GenerateDigits(call, digits_.c_str());
            slowest = std::max<std::int64_t>(slowest, (steady_clock::now() - asked).count());
        }
        left.Set();
    });
    // On another line, so that the first call can still be told to dial digits.
    const std::uint64_t mark = host_.Mark();
    service_.Send(CallEvent(1, "trigger", "Parked") + CallEvent(2, "behind", "Ringing"));
    ASSERT_TRUE(left.Wait(milliseconds(60000)));
    host_.SetEventHook({});
    // The connection waits for the end of its reader, which is the very thread that waits.
    const auto waited = std::chrono::duration_cast<milliseconds>(steady_clock::duration(slowest));
    EXPECT_GE(waited, milliseconds(4900));
    EXPECT_LT(waited, milliseconds(7000));
    const auto stopping = steady_clock::now();
    EXPECT_EQ(host_.Shutdown(), 0);
    EXPECT_LT(steady_clock::now() - stopping, milliseconds(3000));
    for (const host::tapi_event& event : host_.History().Since(mark)) {
        EXPECT_NE(event.line, lines_[2]) << "it belonged to a connection that was gone";
    }
    std::printf("the send that failed inside a message took %lld ms\n",
                static_cast<long long>(waited.count()));
}

}  // namespace
}  // namespace brivelnox::test
