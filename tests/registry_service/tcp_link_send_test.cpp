// Sending: from several threads at once, to a service that does not read, and on a connection that breaks
// while a message of it is being handled.

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/registry_service/loopback_server_helper.h"
#include "tests/registry_service/test_link_helper.h"
#include "tests/support/signal.h"

namespace brivelnox::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

/// The link's wait for its reader.
constexpr milliseconds kReaderWait{5000};
/// What a machine that is busy may add.
constexpr milliseconds kSlack{3000};

class tcp_link_send : public testing::Test {
  protected:
    ~tcp_link_send() override { link_->CloseLink(false); }

    server_connection Connect() {
        EXPECT_TRUE(link_->OpenLink(server_.Port()));
        return server_.Accept();
    }

    /// Sends until it fails, which it does as soon as the broken connection is noticed.
    bool SendUntilItFails() {
        const stopwatch watch;
        while (link_->SendText("<msg/>")) {
            if (watch.Elapsed() > kSoon) {
                return false;
            }
        }
        return true;
    }

    loopback_server server_;
    std::shared_ptr<test_link> link_ = test_link::Make();
};

TEST_F(tcp_link_send, texts_arrive_as_they_are_without_anything_between_them) {
    server_connection service = Connect();
    EXPECT_TRUE(link_->SendText("<msg>1</msg>"));
    EXPECT_TRUE(link_->SendText("<msg>\xFC</msg>"));
    EXPECT_EQ(service.Receive(24), "<msg>1</msg><msg>\xFC</msg>");
    EXPECT_EQ(service.ReceiveAvailable(), "");
}

TEST_F(tcp_link_send, texts_of_several_threads_are_never_torn_nor_mixed_nor_failing) {
    constexpr int kThreads = 8;
    constexpr int kTextsEach = 150;
    server_connection service = Connect();
    std::mutex lock;
    std::vector<std::string> failed;
    signal start;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            (void)start.Wait();
            for (int number = 0; number < kTextsEach; ++number) {
                const std::string text = "<" + std::to_string(thread) + ":" + std::to_string(number) + ":" +
                                         std::string(static_cast<size_t>(20 + thread * 15), 'x') + ">";
                if (!link_->SendText(text.c_str())) {
                    const std::lock_guard guard(lock);
                    failed.push_back(text);
                }
            }
        });
    }
    start.Set();
    // Each text is whole, and those of one thread come in its order.
    std::map<std::string, int> next;
    for (int number = 0; number < kThreads * kTextsEach; ++number) {
        const std::string text = service.ReceiveThrough(">");
        const std::string thread = text.substr(1, 1);
        const size_t padding = static_cast<size_t>(20 + std::stoi(thread) * 15);
        ASSERT_EQ(text, "<" + thread + ":" + std::to_string(next[thread]++) + ":" +
                            std::string(padding, 'x') + ">");
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(failed, testing::IsEmpty());
    EXPECT_EQ(service.ReceiveAvailable(), "");
    EXPECT_TRUE(link_->IsConnected());
}

TEST_F(tcp_link_send, sending_while_messages_arrive_disturbs_neither) {
    constexpr int kRounds = 300;
    server_connection service = Connect();
    std::thread sender([&] {
        for (int round = 0; round < kRounds; ++round) {
            EXPECT_TRUE(link_->SendText("<request/>"));
        }
    });
    for (int round = 0; round < kRounds; ++round) {
        service.Send(Message("a"));
    }
    EXPECT_EQ(link_->WaitForMessages(kRounds).size(), static_cast<size_t>(kRounds));
    sender.join();
    EXPECT_EQ(service.Receive(10 * kRounds).size(), static_cast<size_t>(10 * kRounds));
}

TEST_F(tcp_link_send, handler_may_send) {
    link_->on_message = [&](const std::string& name) { EXPECT_TRUE(link_->SendText(name.c_str())); };
    server_connection service = Connect();
    service.Send(Message("question"));
    EXPECT_EQ(service.Receive(8), "question");
}

TEST_F(tcp_link_send, another_thread_may_send_while_a_handler_runs) {
    signal in_handler;
    signal go_on;
    link_->on_message = [&](const std::string&) {
        in_handler.Set();
        EXPECT_TRUE(go_on.Wait());
    };
    server_connection service = Connect();
    service.Send(Message("a"));
    ASSERT_TRUE(in_handler.Wait());
    EXPECT_TRUE(link_->SendText("meanwhile"));
    EXPECT_EQ(service.Receive(9), "meanwhile");
    go_on.Set();
    // The handler uses what goes away here.
    link_->CloseLink(true);
}

TEST_F(tcp_link_send, texts_sent_while_the_link_is_closed_and_opened_again_arrive_whole_or_not_at_all) {
    constexpr int kConnections = 25;
    const std::string text = "<" + std::string(300, 'x') + ">";
    std::atomic<bool> done = false;
    std::vector<std::thread> senders;
    for (int sender = 0; sender < 2; ++sender) {
        senders.emplace_back([&] {
            while (!done) {
                if (!link_->SendText(text.c_str())) {
                    std::this_thread::yield();
                }
            }
        });
    }
    for (int number = 0; number < kConnections; ++number) {
        server_connection service = Connect();
        // Bytes of the connection before, or of a torn text, would stand in front.
        EXPECT_EQ(service.ReceiveThrough(">"), text) << number;
        link_->CloseLink(true);
        EXPECT_FALSE(link_->IsConnected()) << number;
        EXPECT_TRUE(service.WaitForPeerToClose()) << number;
    }
    done = true;
    for (std::thread& sender : senders) {
        sender.join();
    }
    EXPECT_FALSE(link_->SendText(text.c_str()));
}

TEST_F(tcp_link_send, failed_send_closes_the_link) {
    server_connection service = Connect();
    service.Reset();
    EXPECT_TRUE(SendUntilItFails());
    EXPECT_FALSE(link_->IsConnected());
    EXPECT_FALSE(link_->SendText("text"));
}

TEST_F(tcp_link_send, service_that_does_not_read_makes_a_send_fail_instead_of_waiting) {
    server_connection service = Connect();
    const std::string text(100000, 'x');
    const stopwatch watch;
    while (link_->SendText(text.c_str())) {
        ASSERT_LT(watch.Elapsed(), kSoon) << "everything was sent to somebody who does not read";
    }
    EXPECT_FALSE(link_->IsConnected());
}

// The link is closed by a failed send while the reader is inside a handler.

TEST_F(tcp_link_send,
       failed_send_inside_a_handler_waits_out_the_readers_wait_for_its_own_thread_and_drops_the_rest) {
    std::shared_ptr<server_connection> service;
    milliseconds took{0};
    signal handled;
    signal sent;
    link_->on_message = [&](const std::string&) {
        EXPECT_TRUE(sent.Wait());
        service->Reset();
        const stopwatch watch;
        EXPECT_TRUE(SendUntilItFails());
        took = watch.Elapsed();
        handled.Set();
    };
    service = std::make_shared<server_connection>(Connect());
    service->Send(Message("a") + Message("b") + "<msg><c/>");
    sent.Set();
    ASSERT_TRUE(handled.Wait());
    EXPECT_GE(took, kReaderWait - milliseconds(500));
    EXPECT_LE(took, kReaderWait + kSlack);
    EXPECT_FALSE(link_->IsConnected());

    // The framing loop that was interrupted has ended cleanly: nothing of the rest is delivered, now or with
    // the next connection.
    link_->on_message = nullptr;
    server_connection next = Connect();
    next.Send("</msg>" + Message("d"));
    EXPECT_THAT(link_->WaitForMessages(2), ElementsAre("a", "d"));
}

TEST_F(tcp_link_send,
       failed_send_of_a_thread_that_holds_a_lock_the_handler_needs_neither_deadlocks_nor_waits) {
    std::mutex line_lock;
    signal in_handler;
    signal handled;
    server_connection service = Connect();
    link_->on_message = [&](const std::string&) {
        in_handler.Set();
        const std::lock_guard guard(line_lock);
        handled.Set();
    };
    {
        const std::lock_guard guard(line_lock);
        service.Send(Message("a") + Message("b"));
        ASSERT_TRUE(in_handler.Wait());
        service.Reset();
        const stopwatch watch;
        EXPECT_TRUE(SendUntilItFails());
        EXPECT_LT(watch.Elapsed(), milliseconds(2500)) << "the sender has waited for the handler";
        EXPECT_FALSE(handled.IsSet());
    }
    EXPECT_TRUE(handled.Wait());
    // A message behind it is of a connection that is gone.
    link_->on_message = nullptr;
    server_connection next = Connect();
    next.Send(Message("c"));
    EXPECT_THAT(link_->WaitForMessages(2), ElementsAre("a", "c"));
}

}  // namespace
}  // namespace brivelnox::test
