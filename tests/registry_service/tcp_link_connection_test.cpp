// The link on a real socket: connecting, receiving, sending and the peer's going away.

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/registry_service/link_internals_helper.h"
#include "tests/registry_service/loopback_server_helper.h"
#include "tests/registry_service/test_link_helper.h"
#include "tests/support/process_log.h"
#include "tests/support/signal.h"

namespace brivelnox::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

class tcp_link_connection : public testing::Test {
  protected:
    ~tcp_link_connection() override { link_->CloseLink(true); }

    /// Connects the link and returns the service's end.
    server_connection Connect() {
        EXPECT_TRUE(link_->OpenLink(server_.Port()));
        return server_.Accept();
    }

    log_reader log_ = StartProcessLog();
    loopback_server server_;
    std::shared_ptr<test_link> link_ = test_link::Make();
};

TEST_F(tcp_link_connection, new_link_is_not_connected_and_sends_nothing) {
    EXPECT_FALSE(link_->IsConnected());
    EXPECT_FALSE(link_->SendText("text"));
}

TEST_F(tcp_link_connection, open_connects_to_the_port_on_the_loopback_address) {
    server_connection service = Connect();
    EXPECT_TRUE(link_->IsConnected());
    EXPECT_TRUE(link_->SendText("hello"));
    EXPECT_EQ(service.Receive(5), "hello");
}

TEST_F(tcp_link_connection, refused_connection_leaves_it_disconnected_without_a_log_line) {
    EXPECT_FALSE(link_->OpenLink(UnusedPort()));
    EXPECT_FALSE(link_->IsConnected());
    EXPECT_FALSE(link_->SendText("text"));
    EXPECT_THAT(log_.Texts("TcpLink"), IsEmpty());
}

TEST_F(tcp_link_connection, open_may_succeed_after_a_refusal) {
    EXPECT_FALSE(link_->OpenLink(UnusedPort()));
    server_connection service = Connect();
    EXPECT_TRUE(link_->IsConnected());
}

TEST_F(tcp_link_connection, refused_connection_ends_the_one_before) {
    server_connection service = Connect();
    EXPECT_FALSE(link_->OpenLink(UnusedPort()));
    EXPECT_FALSE(link_->IsConnected());
    EXPECT_TRUE(service.WaitForPeerToClose());
}

TEST_F(tcp_link_connection, open_closes_the_connection_before) {
    server_connection first = Connect();
    server_connection second = Connect();
    EXPECT_TRUE(first.WaitForPeerToClose());
    EXPECT_TRUE(link_->SendText("hello"));
    EXPECT_EQ(second.Receive(5), "hello");
    second.Send(Message("a"));
    EXPECT_THAT(link_->WaitForMessages(1), ElementsAre("a"));
}

TEST_F(tcp_link_connection, unfinished_message_of_the_connection_before_is_forgotten) {
    server_connection first = Connect();
    first.Send(Message("a") + "<msg><b>");
    (void)link_->WaitForMessages(1);
    server_connection second = Connect();
    second.Send("</b></msg>" + Message("c"));
    EXPECT_THAT(link_->WaitForMessages(2), ElementsAre("a", "c"));
}

// Receiving.

TEST_F(tcp_link_connection, messages_in_one_segment_are_delivered_in_order) {
    server_connection service = Connect();
    service.Send(Message("a") + Message("b") + Message("c"));
    EXPECT_THAT(link_->WaitForMessages(3), ElementsAre("a", "b", "c"));
}

TEST_F(tcp_link_connection, message_in_several_segments_is_delivered_when_its_end_has_come) {
    server_connection service = Connect();
    service.Send(Message("a") + "<msg><b");
    EXPECT_THAT(link_->WaitForMessages(1), ElementsAre("a"));
    service.Send("/></m");
    service.Send("sg>");
    EXPECT_THAT(link_->WaitForMessages(2), ElementsAre("a", "b"));
}

TEST_F(tcp_link_connection, message_much_longer_than_a_chunk_is_delivered_whole) {
    server_connection service = Connect();
    service.Send("<msg><a text='" + std::string(300000, 'x') + "'/></msg>" + Message("b"));
    EXPECT_THAT(link_->WaitForMessages(2), ElementsAre("a", "b"));
}

TEST_F(tcp_link_connection, many_messages_of_all_sizes_all_arrive_in_order) {
    constexpr int kMessages = 500;
    server_connection service = Connect();
    std::vector<std::string> names;
    std::string stream;
    for (int number = 0; number < kMessages; ++number) {
        names.push_back("m" + std::to_string(number));
        stream += "<msg><" + names.back() + ">" + std::string(static_cast<size_t>(number * 7 % 2100), 'x') +
                  "</" + names.back() + "></msg>";
    }
    service.Send(stream);
    EXPECT_EQ(link_->WaitForMessages(kMessages), names);
}

TEST_F(tcp_link_connection, messages_are_delivered_on_one_thread_that_is_not_the_opening_one) {
    server_connection service = Connect();
    service.Send(Message("a"));
    (void)link_->WaitForMessages(1);
    service.Send(Message("b"));
    (void)link_->WaitForMessages(2);
    ASSERT_EQ(link_->Threads().size(), 1u);
    EXPECT_NE(link_->Threads().at(0), std::this_thread::get_id());
}

TEST_F(tcp_link_connection, each_connection_has_a_reader_of_its_own) {
    server_connection first = Connect();
    first.Send(Message("a"));
    (void)link_->WaitForMessages(1);
    // The first reader has ended before the second connection stands, so a number may be used again: what
    // counts is that the second one reads.
    server_connection second = Connect();
    second.Send(Message("b"));
    EXPECT_THAT(link_->WaitForMessages(2), ElementsAre("a", "b"));
}

TEST_F(tcp_link_connection, garbage_leaves_the_link_connected) {
    server_connection service = Connect();
    service.Send("garbage</msg>");
    ASSERT_TRUE(log_.WaitFor("TcpLink", "No start tag", kSoon));
    service.Send("<msg><broken</msg>");
    ASSERT_TRUE(log_.WaitForStarting("TcpLink", "Could not parse xml, ", kSoon));
    service.Send(Message("a"));
    EXPECT_THAT(link_->WaitForMessages(1), ElementsAre("a"));
    EXPECT_TRUE(link_->IsConnected());
}

TEST_F(tcp_link_connection, service_that_sends_nothing_is_no_failure) {
    server_connection service = Connect();
    for (int round = 0; round < 10; ++round) {
        EXPECT_TRUE(link_->SendText("ping"));
        EXPECT_EQ(service.Receive(4), "ping");
    }
    EXPECT_TRUE(link_->IsConnected());
}

// The peer goes away.

TEST_F(tcp_link_connection, peer_that_closes_leaves_it_disconnected_and_sending_fails_at_once) {
    server_connection service = Connect();
    service.Close();
    ASSERT_TRUE(link_->WaitForDisconnected());
    EXPECT_FALSE(link_->IsConnected());
    const stopwatch watch;
    EXPECT_FALSE(link_->SendText("text"));
    EXPECT_LT(watch.Elapsed(), milliseconds(1000));
    EXPECT_FALSE(link_->HasReceiveError());
}

TEST_F(tcp_link_connection, what_the_peer_sent_before_its_close_is_delivered) {
    server_connection service = Connect();
    service.Send(Message("a") + Message("b"));
    service.Close();
    ASSERT_TRUE(link_->WaitForDisconnected());
    EXPECT_THAT(link_->Messages(), ElementsAre("a", "b"));
}

TEST_F(tcp_link_connection, peer_that_breaks_the_connection_leaves_it_disconnected) {
    server_connection service = Connect();
    service.Reset();
    ASSERT_TRUE(link_->WaitForEnd());
    EXPECT_FALSE(link_->IsConnected());
    EXPECT_FALSE(link_->SendText("text"));
}

TEST_F(tcp_link_connection, receive_error_leaves_it_disconnected) {
    signal in_handler;
    signal go_on;
    link_->on_message = [&](const std::string&) {
        in_handler.Set();
        EXPECT_TRUE(go_on.Wait());
    };
    server_connection service = Connect();
    service.Send(Message("a"));
    ASSERT_TRUE(in_handler.Wait());
    // The reader will find that data came, but that it cannot receive any more.
    service.Send(Message("b"));
    ASSERT_EQ(shutdown(SocketOf(*CurrentConnectionOf(*link_)).get(), SD_RECEIVE), 0);
    go_on.Set();
    ASSERT_TRUE(link_->WaitForEnd());
    EXPECT_TRUE(link_->HasReceiveError());
    EXPECT_FALSE(link_->HasDisconnected());
    EXPECT_FALSE(link_->IsConnected());
    EXPECT_FALSE(link_->SendText("text"));
    EXPECT_TRUE(service.WaitForPeerToClose());
    EXPECT_THAT(link_->Messages(), ElementsAre("a"));
}

TEST_F(tcp_link_connection, link_that_lost_its_peer_can_be_opened_again) {
    server_connection first = Connect();
    first.Close();
    ASSERT_TRUE(link_->WaitForDisconnected());
    server_connection second = Connect();
    second.Send(Message("a"));
    EXPECT_THAT(link_->WaitForMessages(1), ElementsAre("a"));
}

TEST_F(tcp_link_connection, link_does_not_reconnect_by_itself) {
    server_connection service = Connect();
    service.Close();
    ASSERT_TRUE(link_->WaitForDisconnected());
    (void)link_->SendText("text");
    EXPECT_FALSE(server_.HasWaitingConnection());
}

TEST_F(tcp_link_connection, link_that_nothing_is_derived_from_receives_and_loses_its_peer_without_a_word) {
    const auto plain = std::make_shared<tcp_link>();
    plain->SetOwner(plain);
    ASSERT_TRUE(plain->OpenLink(server_.Port()));
    server_connection service = server_.Accept();
    service.Send("garbage");
    EXPECT_TRUE(log_.WaitFor("TcpLink", "No start tag", kSoon)) << "the reader is at work";
    service.Send(Message("a") + Message("b"));
    service.Close();
    const stopwatch watch;
    while (plain->IsConnected() && watch.Elapsed() < kSoon) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(plain->IsConnected());
    EXPECT_THAT(log_.Texts(), ElementsAre("No start tag"));
}

// Closing.

TEST_F(tcp_link_connection, close_ends_the_connection_and_the_reader) {
    server_connection service = Connect();
    const stopwatch watch;
    link_->CloseLink(true);
    EXPECT_LT(watch.Elapsed(), milliseconds(2500)) << "the reader ends at once";
    EXPECT_FALSE(link_->IsConnected());
    EXPECT_FALSE(link_->SendText("text"));
    EXPECT_TRUE(service.WaitForPeerToClose());
    EXPECT_FALSE(link_->HasDisconnected()) << "the link's own close is not reported";
}

TEST_F(tcp_link_connection, close_is_idempotent) {
    server_connection service = Connect();
    for (const bool wait : {true, false, true}) {
        link_->CloseLink(wait);
        EXPECT_FALSE(link_->IsConnected());
    }
}

TEST_F(tcp_link_connection, nothing_is_delivered_after_a_close) {
    server_connection service = Connect();
    link_->CloseLink(true);
    service.Send(Message("a"));
    EXPECT_TRUE(service.WaitForPeerToClose());
    EXPECT_THAT(link_->Messages(), IsEmpty());
}

TEST_F(tcp_link_connection, link_that_is_closed_for_good_opens_no_more) {
    server_connection service = Connect();
    link_->CloseForGood();
    EXPECT_TRUE(service.WaitForPeerToClose());
    EXPECT_FALSE(link_->OpenLink(server_.Port()));
    EXPECT_FALSE(link_->IsConnected());
    EXPECT_FALSE(server_.HasWaitingConnection());
}

TEST_F(tcp_link_connection, destruction_ends_the_connection) {
    server_connection service = Connect();
    const stopwatch watch;
    link_ = test_link::Make();
    EXPECT_LT(watch.Elapsed(), milliseconds(2500));
    EXPECT_TRUE(service.WaitForPeerToClose());
}

TEST_F(tcp_link_connection, links_are_independent_of_each_other) {
    server_connection service = Connect();
    const std::shared_ptr<test_link> other = test_link::Make();
    ASSERT_TRUE(other->OpenLink(server_.Port()));
    server_connection other_service = server_.Accept();
    other->CloseLink(true);
    service.Send(Message("a"));
    EXPECT_THAT(link_->WaitForMessages(1), ElementsAre("a"));
    EXPECT_THAT(other->Messages(), IsEmpty());
}

}  // namespace
}  // namespace brivelnox::test
