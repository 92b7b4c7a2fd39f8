// One connection of the link, without the link.

#include "registry_service/link_connection.h"

#include <winsock2.h>
#include <windows.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "tests/registry_service/link_internals_helper.h"
#include "tests/registry_service/loopback_server_helper.h"
#include "tests/support/loopback_address.h"
#include "tests/support/signal.h"

namespace brivelnox::test {
namespace {

using std::chrono::milliseconds;

class connection_of_a_link : public testing::Test {
  protected:
    connection_of_a_link() {
        unique_socket socket(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
        const sockaddr_in address = LoopbackAddress(server_.Port());
        EXPECT_EQ(connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
        connection_ = std::make_unique<link_connection>(
            std::move(socket), unique_event(CreateEventW(nullptr, FALSE, FALSE, nullptr)));
        service_.emplace(server_.Accept());
    }

    /// Waits for the event as the reader does. Closes the connection when it does not come, which wakes it.
    bool WaitForEvent() {
        signal woken;
        bool result = false;
        std::thread waiter([&] {
            result = connection_->WaitForEvent();
            woken.Set();
        });
        if (!woken.Wait()) {
            connection_->Close();
        }
        waiter.join();
        return result;
    }

    /// Receives what is there into a text.
    std::optional<std::string> Receive() {
        char bytes[64] = {};
        const std::optional<int> received = connection_->Receive(bytes, sizeof(bytes));
        if (!received || *received < 0) {
            return std::nullopt;
        }
        return std::string(bytes, static_cast<std::size_t>(*received));
    }

    loopback_server server_;
    std::unique_ptr<link_connection> connection_;
    std::optional<server_connection> service_;
};

TEST_F(connection_of_a_link, arriving_data_signal_the_reader_and_are_received) {
    ASSERT_TRUE(connection_->SelectEvents());
    service_->Send("hello");
    ASSERT_TRUE(WaitForEvent());
    EXPECT_EQ(connection_->TakeEvents(), FD_READ);
    EXPECT_EQ(Receive(), "hello");
}

TEST_F(connection_of_a_link, data_that_are_not_there_yet_are_no_error) {
    ASSERT_TRUE(connection_->SelectEvents());
    char byte = 0;
    EXPECT_EQ(connection_->Receive(&byte, 1), std::nullopt);
}

TEST_F(connection_of_a_link, peers_close_signals_the_reader_and_receives_as_nothing) {
    ASSERT_TRUE(connection_->SelectEvents());
    service_->Close();
    ASSERT_TRUE(WaitForEvent());
    const std::optional<long> events = connection_->TakeEvents();
    ASSERT_TRUE(events);
    EXPECT_NE(*events & FD_CLOSE, 0);
    char byte = 0;
    EXPECT_EQ(connection_->Receive(&byte, 1), 0);
}

TEST_F(connection_of_a_link, receiving_that_fails_is_an_error) {
    ASSERT_TRUE(connection_->SelectEvents());
    ASSERT_EQ(shutdown(SocketOf(*connection_).get(), SD_RECEIVE), 0);
    char byte = 0;
    EXPECT_EQ(connection_->Receive(&byte, 1), SOCKET_ERROR);
}

TEST_F(connection_of_a_link, sending_that_fails_is_reported) {
    ASSERT_TRUE(connection_->SelectEvents());
    ASSERT_EQ(shutdown(SocketOf(*connection_).get(), SD_SEND), 0);
    EXPECT_FALSE(connection_->Send("x", 1));
}

TEST_F(connection_of_a_link, send_hands_the_bytes_over_as_a_whole) {
    ASSERT_TRUE(connection_->SelectEvents());
    EXPECT_TRUE(connection_->Send("ab\0cd", 5));
    EXPECT_EQ(service_->Receive(5), std::string("ab\0cd", 5));
}

TEST_F(connection_of_a_link, nothing_works_after_the_close) {
    ASSERT_TRUE(connection_->SelectEvents());
    EXPECT_FALSE(connection_->IsClosed());
    connection_->Close();
    EXPECT_TRUE(connection_->IsClosed());
    char byte = 0;
    EXPECT_EQ(connection_->Receive(&byte, 1), SOCKET_ERROR);
    EXPECT_FALSE(connection_->Send("x", 1));
    EXPECT_FALSE(connection_->SelectEvents());
    EXPECT_EQ(connection_->TakeEvents(), std::nullopt);
    EXPECT_TRUE(service_->WaitForPeerToClose());
    EXPECT_EQ(service_->ReceiveAvailable(), "");
}

TEST_F(connection_of_a_link, close_wakes_the_reader_and_tells_it_to_end) {
    ASSERT_TRUE(connection_->SelectEvents());
    std::thread closer([&] { connection_->Close(); });
    EXPECT_FALSE(connection_->WaitForEvent());
    closer.join();
}

TEST_F(connection_of_a_link, close_is_idempotent) {
    connection_->Close();
    connection_->Close();
    EXPECT_TRUE(connection_->IsClosed());
}

TEST_F(connection_of_a_link, without_a_reader_nobody_is_waited_for) {
    const stopwatch watch;
    connection_->WaitForReader();
    EXPECT_LT(watch.Elapsed(), milliseconds(2500));
}

TEST_F(connection_of_a_link, reader_is_waited_for_until_it_ends) {
    const auto reader = [](void* argument) -> DWORD {
        (void)static_cast<link_connection*>(argument)->WaitForEvent();
        return 0;
    };
    ASSERT_TRUE(connection_->SelectEvents());
    ASSERT_TRUE(connection_->StartReader(reader, connection_.get()));
    connection_->Close();
    const stopwatch watch;
    connection_->WaitForReader();
    EXPECT_LT(watch.Elapsed(), milliseconds(2500));
    // Ended already: there is nothing to wait for.
    connection_->WaitForReader();
    EXPECT_LT(watch.Elapsed(), milliseconds(2500));
}

}  // namespace
}  // namespace brivelnox::test
