// The stand-in's network events behave as Winsock documents them.

#include <winsock2.h>
#include <windows.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "platform/unique_handle.h"
#include "shim/socket_object.h"

namespace brivelnox::native {
namespace {

constexpr DWORD kSoon = 20000;

sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    EXPECT_EQ(inet_pton(AF_INET, "127.0.0.1", &address.sin_addr), 1);
    return address;
}

/// Two connected sockets, and an event for the first.
class network_events : public testing::Test {
  protected:
    network_events() {
        WSADATA data = {};
        EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
        listener_.reset(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
        sockaddr_in address = Loopback(0);
        int length = sizeof(address);
        EXPECT_EQ(bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), length), 0);
        EXPECT_EQ(listen(listener_.get(), SOMAXCONN), 0);
        EXPECT_EQ(getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
        socket_.reset(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
        EXPECT_EQ(connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), length), 0);
        peer_.reset(accept(listener_.get(), nullptr, nullptr));
    }
    ~network_events() override { EXPECT_EQ(WSACleanup(), 0); }

    void Select(long events) { ASSERT_EQ(WSAEventSelect(socket_.get(), event_.get(), events), 0); }
    [[nodiscard]] bool IsSignalled(DWORD wait = 0) const {
        return WaitForSingleObject(event_.get(), wait) == WAIT_OBJECT_0;
    }
    WSANETWORKEVENTS Take() {
        WSANETWORKEVENTS events = {};
        EXPECT_EQ(WSAEnumNetworkEvents(socket_.get(), event_.get(), &events), 0);
        return events;
    }
    void PeerSends(const char* text, int length) { ASSERT_EQ(send(peer_.get(), text, length, 0), length); }
    int Receive(int size) { return recv(socket_.get(), buffer_.data(), size, 0); }
    void PeerResets() {
        const linger at_once = {1, 0};
        ASSERT_EQ(setsockopt(peer_.get(), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&at_once),
                             sizeof(at_once)),
                  0);
        peer_.reset();
    }

    unique_socket listener_;
    unique_socket socket_;
    unique_socket peer_;
    unique_event event_{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    std::array<char, 64> buffer_ = {};
};

TEST_F(network_events, selecting_makes_the_socket_non_blocking) {
    Select(FD_READ | FD_CLOSE);
    EXPECT_EQ(Receive(1), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAEWOULDBLOCK);
    EXPECT_FALSE(IsSignalled());
}

TEST_F(network_events, data_that_is_there_already_signals_at_once) {
    PeerSends("a", 1);
    ASSERT_EQ(recv(socket_.get(), buffer_.data(), 1, MSG_PEEK), 1);
    Select(FD_READ | FD_CLOSE);
    EXPECT_TRUE(IsSignalled());
    EXPECT_EQ(Take().lNetworkEvents, FD_READ);
}

TEST_F(network_events, data_signals_once_until_something_is_received) {
    Select(FD_READ | FD_CLOSE);
    PeerSends("ab", 2);
    ASSERT_TRUE(IsSignalled(kSoon));
    EXPECT_EQ(Take().lNetworkEvents, FD_READ);
    PeerSends("c", 1);
    EXPECT_FALSE(IsSignalled(50));
    EXPECT_EQ(Take().lNetworkEvents, 0);
    ASSERT_EQ(Receive(1), 1);
    EXPECT_TRUE(IsSignalled());
    EXPECT_EQ(Take().lNetworkEvents, FD_READ);
}

TEST_F(network_events, receiving_everything_leaves_no_event) {
    Select(FD_READ | FD_CLOSE);
    PeerSends("ab", 2);
    ASSERT_TRUE(IsSignalled(kSoon));
    (void)Take();
    ASSERT_EQ(Receive(64), 2);
    EXPECT_FALSE(IsSignalled());
    EXPECT_EQ(Take().lNetworkEvents, 0);
}

TEST_F(network_events, orderly_end_is_reported_once_and_after_the_data) {
    Select(FD_READ | FD_CLOSE);
    PeerSends("ab", 2);
    ASSERT_TRUE(IsSignalled(kSoon));
    peer_.reset();
    EXPECT_EQ(Take().lNetworkEvents, FD_READ);
    ASSERT_EQ(Receive(64), 2);
    ASSERT_TRUE(IsSignalled(kSoon));
    const WSANETWORKEVENTS events = Take();
    EXPECT_EQ(events.lNetworkEvents, FD_CLOSE);
    EXPECT_EQ(events.iErrorCode[FD_CLOSE_BIT], 0);
    EXPECT_EQ(Receive(64), 0);
    EXPECT_FALSE(IsSignalled(50));
    EXPECT_EQ(Take().lNetworkEvents, 0);
}

TEST_F(network_events, reset_is_reported_with_its_error) {
    Select(FD_READ | FD_CLOSE);
    PeerResets();
    ASSERT_TRUE(IsSignalled(kSoon));
    const WSANETWORKEVENTS events = Take();
    EXPECT_EQ(events.lNetworkEvents, FD_CLOSE);
    EXPECT_EQ(events.iErrorCode[FD_CLOSE_BIT], WSAECONNRESET);
    EXPECT_EQ(Receive(1), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAECONNRESET);
}

TEST_F(network_events, taking_the_events_resets_the_event_object) {
    Select(FD_READ | FD_CLOSE);
    PeerSends("a", 1);
    while (Take().lNetworkEvents == 0) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(IsSignalled());
}

TEST_F(network_events, room_to_send_is_reported_first_and_after_a_send_that_found_none) {
    Select(FD_WRITE);
    ASSERT_TRUE(IsSignalled(kSoon));
    EXPECT_EQ(Take().lNetworkEvents, FD_WRITE);
    const std::string block(65536, 'x');
    long sent = 0;
    for (int count = 0; count >= 0; sent += count) {
        count = send(socket_.get(), block.data(), static_cast<int>(block.size()), 0);
    }
    EXPECT_EQ(WSAGetLastError(), WSAEWOULDBLOCK);
    EXPECT_FALSE(IsSignalled(50));
    for (std::string taken(block.size(), '\0'); sent > 0;) {
        sent -= std::max(1, recv(peer_.get(), taken.data(), static_cast<int>(taken.size()), 0));
    }
    EXPECT_TRUE(IsSignalled(kSoon));
}

TEST_F(network_events, connection_that_waits_is_reported_again_after_each_accept) {
    const unique_event waiting(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    ASSERT_EQ(WSAEventSelect(listener_.get(), waiting.get(), FD_ACCEPT), 0);
    sockaddr_in address = {};
    int length = sizeof(address);
    ASSERT_EQ(getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    for (int i = 0; i < 2; ++i) {
        const unique_socket caller(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
        ASSERT_EQ(connect(caller.get(), reinterpret_cast<const sockaddr*>(&address), length), 0);
        ASSERT_EQ(WaitForSingleObject(waiting.get(), kSoon), WAIT_OBJECT_0);
        EXPECT_EQ(WaitForSingleObject(waiting.get(), 50), WAIT_TIMEOUT);
        const unique_socket accepted(accept(listener_.get(), nullptr, nullptr));
        EXPECT_TRUE(accepted);
    }
}

TEST_F(network_events, closing_a_socket_ends_a_call_that_waits_in_it) {
    // Held beyond its handle, so that it makes no difference which of the two comes first.
    const auto held = FromHandle<socket_object>(reinterpret_cast<HANDLE>(socket_.get()));
    long result = 0;
    std::thread receiving([&] { result = held->Receive(buffer_.data(), 1, false); });
    socket_.reset();
    receiving.join();
    EXPECT_EQ(result, -EINTR);
}

TEST_F(network_events, receiving_fails_after_it_has_been_shut_here) {
    Select(FD_READ | FD_CLOSE);
    ASSERT_EQ(shutdown(socket_.get(), SD_RECEIVE), 0);
    PeerSends("a", 1);
    EXPECT_TRUE(IsSignalled(kSoon));
    EXPECT_EQ(Receive(1), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAESHUTDOWN);
}

TEST(network_errors, port_without_a_listener_refuses_the_connection) {
    WSADATA data = {};
    ASSERT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    const unique_socket socket(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    const sockaddr_in address = Loopback(1);
    EXPECT_EQ(connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)),
              SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAECONNREFUSED);
    EXPECT_EQ(WSACleanup(), 0);
}

TEST_F(network_events, broken_connection_is_reported_while_bytes_are_still_unread) {
    Select(FD_READ | FD_CLOSE);
    PeerSends("abc", 3);
    ASSERT_TRUE(IsSignalled(kSoon));
    ASSERT_EQ(Take().lNetworkEvents, FD_READ);
    PeerResets();
    ASSERT_TRUE(IsSignalled(kSoon));
    const WSANETWORKEVENTS events = Take();
    EXPECT_EQ(events.lNetworkEvents, FD_CLOSE);
    EXPECT_EQ(events.iErrorCode[FD_CLOSE_BIT], WSAECONNRESET);
    EXPECT_EQ(Receive(3), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAECONNRESET);
}

TEST_F(network_events, orderly_end_is_not_reported_before_the_bytes_are_received) {
    Select(FD_READ | FD_CLOSE);
    PeerSends("abc", 3);
    ASSERT_TRUE(IsSignalled(kSoon));
    ASSERT_EQ(Take().lNetworkEvents, FD_READ);
    ASSERT_EQ(shutdown(socket_.get(), SD_SEND), 0);
    peer_.reset();
    EXPECT_FALSE(IsSignalled(50));
    EXPECT_EQ(Receive(3), 3);
    ASSERT_TRUE(IsSignalled(kSoon));
    EXPECT_EQ(Take().lNetworkEvents, FD_CLOSE);
}

}  // namespace
}  // namespace brivelnox::native
