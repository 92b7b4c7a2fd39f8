// The simulator when it is told to misbehave.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/simulator_fixture_helper.h"

namespace brivelnox::test {
namespace {

using namespace std::chrono_literals;
using simulator::drop_kind;
using simulator::KeepAliveResponse;
using simulator::kPortValue;
using simulator::RegistrationListResponse;
using simulator::registry_publication;
using simulator::request_kind;
using simulator::wire_direction;
using simulator::wire_line;
using testing::ElementsAre;

TEST_F(simulated_service, sends_split_with_pauses_between_the_pieces) {
    std::mutex mutex;
    std::vector<std::string> pieces;
    socket_client client = Connect();
    service_.SetWireObserver([&](const wire_line& line) {
        const std::lock_guard lock(mutex);
        if (line.direction == wire_direction::kSent) {
            pieces.push_back(line.text);
        }
    });
    const auto start = std::chrono::steady_clock::now();
    service_.SendSplit("0123456789", {1, 3}, 60ms);
    EXPECT_EQ(client.ReceiveBytes(10, kPatience), "0123456789");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 3 * 60ms - 1ms);
    service_.SetWireObserver({});
    EXPECT_THAT(pieces, ElementsAre("0", "123", "456", "789"));
}

TEST_F(simulated_service, sends_later_and_holds_back_what_follows) {
    socket_client client = Connect();
    const auto start = std::chrono::steady_clock::now();
    service_.SendLater("first", 150ms);
    service_.Send("second");
    EXPECT_EQ(client.ReceiveBytes(11, kPatience), "firstsecond");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 149ms);
}

TEST_F(simulated_service, sends_endless_messages_and_garbage) {
    socket_client client = Connect();
    service_.SendEndless(5000);
    const std::string endless = client.ReceiveBytes(5005, kPatience);
    EXPECT_EQ(endless.size(), 5005U);
    EXPECT_EQ(endless.substr(0, 6), "<msg>x");
    EXPECT_EQ(endless.find("</msg>"), std::string::npos);
    service_.SendGarbage(3000, 5);
    const std::string garbage = client.ReceiveBytes(3000, kPatience);
    EXPECT_EQ(garbage.size(), 3000U);
    EXPECT_EQ(garbage.find('<'), std::string::npos);
    EXPECT_NE(garbage.find('\0'), std::string::npos);
    service_.SendGarbage(3000, 5);
    EXPECT_EQ(client.ReceiveBytes(3000, kPatience), garbage);
}

TEST_F(simulated_service, tells_when_everything_has_been_sent) {
    EXPECT_TRUE(service_.WaitUntilSent(1ms));
    socket_client client = Connect();
    service_.SendLater("x", 100ms);
    EXPECT_FALSE(service_.WaitUntilSent(1ms));
    EXPECT_TRUE(service_.WaitUntilSent(kPatience));
    EXPECT_EQ(client.ReceiveBytes(1, kPatience), "x");
}

TEST_F(simulated_service, drops_gracefully_behind_what_is_queued) {
    socket_client client = Connect();
    service_.Send("<msg>half of a mess");
    service_.DropConnections(drop_kind::kGraceful);
    EXPECT_EQ(client.ReceiveBytes(19, kPatience), "<msg>half of a mess");
    EXPECT_EQ(client.WaitForEnd(kPatience), socket_client::end::kClosed);
    EXPECT_TRUE(service_.WaitForNoConnection(kPatience));
}

TEST_F(simulated_service, drops_gracefully_although_there_is_unread_input) {
    service_.PauseReading();
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(kKeepAlive));
    service_.Send("last words");
    service_.DropConnections(drop_kind::kGraceful);
    EXPECT_EQ(client.ReceiveBytes(10, kPatience), "last words");
    EXPECT_EQ(client.WaitForEnd(kPatience), socket_client::end::kClosed);
}

TEST_F(simulated_service, resets_a_connection) {
    socket_client client = Connect();
    service_.DropConnections(drop_kind::kReset);
    ASSERT_TRUE(service_.WaitForNoConnection(kPatience));
    EXPECT_NE(client.WaitForEnd(kPatience), socket_client::end::kOpen);
    // Only a reset makes the very first send fail.
    EXPECT_FALSE(client.Send("x"));
}

TEST_F(simulated_service, takes_a_first_send_after_a_graceful_drop) {
    socket_client client = Connect();
    service_.DropConnections(drop_kind::kGraceful);
    ASSERT_TRUE(service_.WaitForNoConnection(kPatience));
    EXPECT_EQ(client.WaitForEnd(kPatience), socket_client::end::kClosed);
    EXPECT_TRUE(client.Send("x"));
}

TEST_F(simulated_service, drops_at_once_without_sending_what_is_queued) {
    socket_client client = Connect();
    service_.SendLater("never", 60000ms);
    service_.DropConnectionsNow(drop_kind::kGraceful);
    EXPECT_EQ(client.ReceiveBytes(5, kPatience), "");
    EXPECT_EQ(client.WaitForEnd(kPatience), socket_client::end::kClosed);
}

TEST_F(simulated_service, reads_nothing_while_reading_is_paused) {
    socket_client client = Connect();
    service_.PauseReading();
    ASSERT_TRUE(client.Send(kKeepAlive));
    EXPECT_FALSE(service_.WaitForRequest(request_kind::kKeepAlive, kMoment));
    service_.ResumeReading();
    EXPECT_TRUE(service_.WaitForRequest(request_kind::kKeepAlive, kPatience));
}

TEST_F(simulated_service, lets_the_senders_buffer_run_full) {
    service_.Stop();
    service_.SetReceiveBufferSize(4096);
    service_.Start();
    service_.PauseReading();
    socket_client client = Connect();
    constexpr std::size_t kMost = std::size_t{64} << 20U;
    EXPECT_LT(client.SendUntilFull(kMost, 300ms), kMost);
}

TEST_F(simulated_service, notices_that_the_provider_closed_also_while_paused) {
    socket_client client = Connect();
    service_.PauseReading();
    client.Close();
    EXPECT_TRUE(service_.WaitForNoConnection(kPatience));
}

TEST_F(simulated_service, stops_listening_but_keeps_its_connections) {
    socket_client client = Connect();
    const std::uint16_t port = service_.Port();
    service_.StopListening();
    EXPECT_FALSE(service_.Listening());
    EXPECT_FALSE(socket_client(port).Connected());
    ASSERT_TRUE(client.Send(kKeepAlive));
    EXPECT_EQ(client.ReceiveUntil("</msg>", kPatience), KeepAliveResponse(1));
}

TEST_F(simulated_service, stops_with_everything) {
    socket_client client = Connect();
    const std::uint16_t port = service_.Port();
    service_.Stop();
    EXPECT_EQ(client.WaitForEnd(kPatience), socket_client::end::kClosed);
    EXPECT_FALSE(socket_client(port).Connected());
    EXPECT_EQ(service_.OpenCount(), 0U);
    service_.Stop();
    service_.Start(port);
    EXPECT_EQ(service_.Port(), port);
}

TEST_F(simulated_service, comes_back_on_another_port) {
    service_.Publish();
    (void)service_.AddSoftphone({7, "Seven", 5070, true, true});
    socket_client client = Connect();
    const std::uint16_t before = service_.Port();
    service_.Restart();
    EXPECT_NE(service_.Port(), before);
    EXPECT_EQ(registry_publication::Read(kPortValue, 0), service_.Port());
    EXPECT_EQ(client.WaitForEnd(kPatience), socket_client::end::kClosed);
    socket_client again = Connect();
    ASSERT_TRUE(again.Send(kListRequest));
    EXPECT_EQ(again.ReceiveUntil("</msg>", kPatience), RegistrationListResponse(0, service_.Registrations()));
}

}  // namespace
}  // namespace brivelnox::test
