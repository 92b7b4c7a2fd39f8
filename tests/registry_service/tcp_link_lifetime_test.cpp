// What ends first: the link, its connection, its reader or a handler.

#include <chrono>
#include <cstddef>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/registry_service/link_internals_helper.h"
#include "tests/registry_service/loopback_server_helper.h"
#include "tests/registry_service/test_link_helper.h"
#include "tests/support/signal.h"

namespace brivelnox::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

/// The link's wait for its reader, and what a machine that is busy may add.
constexpr milliseconds kReaderWait{5000};
constexpr milliseconds kSlack{3000};

/// A link whose handler stays in its first message until it is told to go on.
class tcp_link_lifetime : public testing::Test {
  protected:
    tcp_link_lifetime() {
        link_->on_message = [this](const std::string&) {
            if (!in_handler_.IsSet()) {
                in_handler_.Set();
                EXPECT_TRUE(go_on_.Wait(std::chrono::minutes(1)));
                handler_done_.Set();
            }
        };
    }
    ~tcp_link_lifetime() override {
        go_on_.Set();
        if (link_ != nullptr) {
            link_->CloseLink(true);
        }
    }

    server_connection Connect() {
        EXPECT_TRUE(link_->OpenLink(server_.Port()));
        return server_.Accept();
    }

    /// Connects and has the reader enter the handler with the first of the messages.
    server_connection ConnectAndEnterHandler(const std::string& messages) {
        server_connection service = Connect();
        service.Send(messages);
        EXPECT_TRUE(in_handler_.Wait());
        return service;
    }

    signal in_handler_;
    signal go_on_;
    signal handler_done_;
    loopback_server server_;
    std::shared_ptr<test_link> link_ = test_link::Make();
};

TEST_F(tcp_link_lifetime, waiting_close_returns_when_the_handler_has_ended) {
    server_connection service = ConnectAndEnterHandler(Message("a") + Message("b"));
    signal closed;
    std::thread closer([&] {
        link_->CloseLink(true);
        EXPECT_TRUE(handler_done_.IsSet());
        closed.Set();
    });
    // The socket is closed before the reader is waited for.
    EXPECT_TRUE(service.WaitForPeerToClose());
    // It is closed a moment before the link counts that. A second close returns when it is counted.
    link_->CloseLink(false);
    go_on_.Set();
    EXPECT_TRUE(closed.Wait());
    closer.join();
    EXPECT_THAT(link_->Messages(), ElementsAre("a"));
}

TEST_F(tcp_link_lifetime, close_that_does_not_wait_returns_while_the_handler_runs) {
    server_connection service = ConnectAndEnterHandler(Message("a") + Message("b"));
    const stopwatch watch;
    link_->CloseLink(false);
    EXPECT_LT(watch.Elapsed(), milliseconds(2500));
    EXPECT_FALSE(handler_done_.IsSet());
    EXPECT_TRUE(service.WaitForPeerToClose());
    go_on_.Set();
    link_->CloseLink(true);
    server_connection next = Connect();
    next.Send(Message("c"));
    EXPECT_THAT(link_->WaitForMessages(2), ElementsAre("a", "c"));
}

TEST_F(tcp_link_lifetime, reader_that_outlives_its_connection_neither_reads_nor_closes_the_next_one) {
    server_connection first = ConnectAndEnterHandler(Message("a") + Message("b") + "<msg><unfinished>");
    first.Send("</unfinished></msg>" + Message("c"));

    // The handler blocks, so the close gives its reader up when its time is over.
    const stopwatch watch;
    link_->CloseLink(true);
    EXPECT_GE(watch.Elapsed(), kReaderWait - milliseconds(500));
    EXPECT_LE(watch.Elapsed(), kReaderWait + kSlack);
    EXPECT_FALSE(handler_done_.IsSet());
    EXPECT_TRUE(first.WaitForPeerToClose());

    // The next connection may be opened while the old reader is still on its way.
    auto opened = std::async(std::launch::async, [&] { return link_->OpenLink(server_.Port()); });
    go_on_.Set();
    EXPECT_TRUE(opened.get());
    server_connection second = server_.Accept();
    second.Send(Message("d") + "<msg><e>");
    EXPECT_THAT(link_->WaitForMessages(2), ElementsAre("a", "d"));
    EXPECT_TRUE(link_->SendText("hello"));
    EXPECT_EQ(second.Receive(5), "hello");
    second.Send("</e></msg>");
    EXPECT_THAT(link_->WaitForMessages(3), ElementsAre("a", "d", "e"));
    EXPECT_TRUE(link_->IsConnected());
    EXPECT_FALSE(link_->HasDisconnected());
}

TEST_F(tcp_link_lifetime, chunk_of_a_connection_that_was_closed_meanwhile_is_dropped) {
    constexpr std::size_t kSent = 1500;
    constexpr u_long kBehindTheFirstChunk = kSent - 1047;
    server_connection service = Connect();
    // The link's lock is held by somebody who feeds it, so the reader has to wait with what it has received.
    std::thread feeder([&] {
        const std::string message = Message("fed");
        link_->Feed(message.data(), message.size());
    });
    EXPECT_TRUE(in_handler_.Wait());
    service.Send(Message("late") + std::string(kSent - Message("late").size(), 'x'));
    const stopwatch watch;
    u_long waiting = 0;
    while (waiting != kBehindTheFirstChunk && watch.Elapsed() < kSoon) {
        EXPECT_EQ(ioctlsocket(SocketOf(*CurrentConnectionOf(*link_)).get(), FIONREAD, &waiting), 0);
        std::this_thread::yield();
    }
    EXPECT_EQ(waiting, kBehindTheFirstChunk);
    auto closed = std::async(std::launch::async, [&] { link_->CloseLink(true); });
    EXPECT_TRUE(service.WaitForPeerToClose());
    go_on_.Set();
    feeder.join();
    closed.get();
    EXPECT_THAT(link_->Messages(), ElementsAre("fed"));
}

TEST_F(tcp_link_lifetime, late_close_of_an_earlier_connection_takes_nothing_from_the_current_one) {
    go_on_.Set();
    server_connection first = Connect();
    const link_connection_ptr earlier = CurrentConnectionOf(*link_);
    server_connection second = Connect();
    second.Send(Message("a") + "<msg><b>");
    (void)link_->WaitForMessages(1);
    // A thread that had been sending on the earlier connection, or its reader, notices only now that it is
    // gone.
    CloseConnectionOf(*link_, earlier);
    second.Send("</b></msg>" + Message("c"));
    EXPECT_THAT(link_->WaitForMessages(3), ElementsAre("a", "b", "c"));
    EXPECT_TRUE(link_->IsConnected());
}

TEST_F(tcp_link_lifetime,
       late_close_of_an_earlier_connection_does_not_interrupt_the_messages_of_the_current_one) {
    server_connection first = Connect();
    const link_connection_ptr earlier = CurrentConnectionOf(*link_);
    server_connection second = ConnectAndEnterHandler(Message("a") + Message("b") + Message("c"));
    CloseConnectionOf(*link_, earlier);
    go_on_.Set();
    EXPECT_THAT(link_->WaitForMessages(3), ElementsAre("a", "b", "c"));
    EXPECT_TRUE(link_->IsConnected());
}

TEST_F(tcp_link_lifetime, handler_may_open_the_link_again_and_waits_out_the_readers_wait_for_its_own_thread) {
    loopback_server other;
    bool opened = false;
    milliseconds took{0};
    signal reopened;
    link_->on_message = [&](const std::string& name) {
        if (name == "again") {
            const stopwatch watch;
            opened = link_->OpenLink(other.Port());
            took = watch.Elapsed();
            reopened.Set();
        }
    };
    server_connection first = Connect();
    first.Send(Message("again") + Message("lost") + "<msg><unfinished>");
    ASSERT_TRUE(reopened.Wait());
    EXPECT_TRUE(opened);
    EXPECT_GE(took, kReaderWait - milliseconds(500));
    EXPECT_LE(took, kReaderWait + kSlack);
    EXPECT_TRUE(first.WaitForPeerToClose());

    // What lay behind the message that was being handled belongs to no connection any more.
    server_connection second = other.Accept();
    second.Send("</unfinished></msg>" + Message("next"));
    EXPECT_THAT(link_->WaitForMessages(2), ElementsAre("again", "next"));
    EXPECT_TRUE(link_->IsConnected());
    EXPECT_FALSE(link_->HasDisconnected());
}

TEST_F(tcp_link_lifetime, second_of_two_opens_at_the_same_time_closes_the_connection_of_the_first) {
    // Somebody feeds the link and holds its lock, so both opens wait, and come one behind the other.
    std::thread feeder([&] {
        const std::string message = Message("fed");
        link_->Feed(message.data(), message.size());
    });
    EXPECT_TRUE(in_handler_.Wait());
    auto one = std::async(std::launch::async, [&] { return link_->OpenLink(server_.Port()); });
    auto two = std::async(std::launch::async, [&] { return link_->OpenLink(server_.Port()); });
    EXPECT_EQ(one.wait_for(milliseconds(200)), std::future_status::timeout);
    EXPECT_EQ(two.wait_for(milliseconds(0)), std::future_status::timeout);
    go_on_.Set();
    feeder.join();
    EXPECT_TRUE(one.get());
    EXPECT_TRUE(two.get());
    server_connection first = server_.Accept();
    server_connection second = server_.Accept();
    EXPECT_TRUE(first.WaitForPeerToClose(milliseconds(5000)));
    EXPECT_TRUE(link_->SendText("hello"));
    EXPECT_EQ(second.Receive(5), "hello");
    second.Send(Message("a"));
    EXPECT_THAT(link_->WaitForMessages(2), ElementsAre("fed", "a"));
}

TEST_F(tcp_link_lifetime, handler_may_close_the_link_and_waits_out_the_readers_wait_for_its_own_thread) {
    milliseconds took{0};
    signal closed;
    link_->on_message = [&](const std::string&) {
        const stopwatch watch;
        link_->CloseLink(true);
        took = watch.Elapsed();
        closed.Set();
    };
    server_connection service = Connect();
    service.Send(Message("a") + Message("b"));
    EXPECT_TRUE(service.WaitForPeerToClose());
    ASSERT_TRUE(closed.Wait());
    EXPECT_GE(took, kReaderWait - milliseconds(500));
    EXPECT_LE(took, kReaderWait + kSlack);
    EXPECT_FALSE(link_->IsConnected());
    EXPECT_THAT(link_->Messages(), ElementsAre("a"));
}

TEST_F(tcp_link_lifetime, link_that_is_given_up_while_a_handler_runs_is_freed_when_the_handler_returns) {
    signal destroyed;
    std::thread::id destroyer;
    bool handler_was_done = false;
    link_->on_destroyed = [&] {
        destroyer = std::this_thread::get_id();
        handler_was_done = handler_done_.IsSet();
        destroyed.Set();
    };
    server_connection service = ConnectAndEnterHandler(Message("a") + Message("b"));
    const std::thread::id reader = link_->Threads().at(0);
    link_->CloseLink(false);
    const stopwatch watch;
    link_ = nullptr;
    EXPECT_LT(watch.Elapsed(), milliseconds(2500)) << "giving the link up waits for nobody";
    EXPECT_FALSE(destroyed.IsSet());
    go_on_.Set();
    ASSERT_TRUE(destroyed.Wait());
    EXPECT_TRUE(handler_was_done);
    EXPECT_EQ(destroyer, reader);
}

TEST_F(tcp_link_lifetime,
       connected_link_that_is_given_up_while_a_handler_runs_is_freed_too_and_its_connection_ends) {
    signal destroyed;
    link_->on_destroyed = [&] { destroyed.Set(); };
    server_connection service = ConnectAndEnterHandler(Message("a"));
    link_ = nullptr;
    EXPECT_FALSE(destroyed.IsSet());
    go_on_.Set();
    EXPECT_TRUE(service.WaitForPeerToClose());
    // Its last close is on the reader itself, which cannot end before it has waited for itself.
    EXPECT_TRUE(destroyed.Wait(kReaderWait + kSlack));
}

TEST_F(tcp_link_lifetime, reader_does_not_touch_a_link_that_is_gone) {
    server_connection service = Connect();
    link_ = nullptr;
    EXPECT_TRUE(service.WaitForPeerToClose());
    EXPECT_FALSE(in_handler_.IsSet());
}

TEST_F(tcp_link_lifetime, close_for_good_during_a_handler_is_obeyed_by_an_open_that_waits) {
    server_connection service = ConnectAndEnterHandler(Message("a"));
    link_->CloseLink(false);
    auto opened = std::async(std::launch::async, [&] { return link_->OpenLink(server_.Port()); });
    link_->CloseForGood();
    go_on_.Set();
    EXPECT_FALSE(opened.get());
    EXPECT_FALSE(link_->IsConnected());
    EXPECT_FALSE(server_.HasWaitingConnection());
}

}  // namespace
}  // namespace brivelnox::test
