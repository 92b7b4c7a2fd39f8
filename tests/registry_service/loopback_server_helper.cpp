#include "tests/registry_service/loopback_server_helper.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <gtest/gtest.h>

#include "tests/support/loopback_address.h"

namespace brivelnox::test {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kPortWait{60000};
constexpr DWORD kLookAgainMilliseconds = 50;

/// For the whole process: it is never cleaned up.
void StartWinsock() {
    WSADATA data = {};
    EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
}

/// Waits until the socket can be read, or a connection accepted.
bool WaitUntilReadable(SOCKET socket, milliseconds timeout) {
    fd_set sockets;
    FD_ZERO(&sockets);
    sockets.fd_array[0] = socket;
    sockets.fd_count = 1;
    const long long time = std::max<long long>(0, timeout.count());
    timeval wait = {static_cast<long>(time / 1000), static_cast<long>(time % 1000) * 1000};
    return select(0, &sockets, nullptr, nullptr, &wait) == 1;
}

bool Bind(SOCKET socket, std::uint16_t port) {
    const sockaddr_in address = LoopbackAddress(port);
    return bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

std::uint16_t PortOf(SOCKET socket) {
    sockaddr_in address = {};
    int size = sizeof(address);
    EXPECT_EQ(getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
    return ntohs(address.sin_port);
}

}  // namespace

server_connection::server_connection(unique_socket socket) : socket_(std::move(socket)) {}

void server_connection::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const int sent = send(socket_.get(), bytes.data(), static_cast<int>(bytes.size()), 0);
        ASSERT_GT(sent, 0) << "error " << WSAGetLastError();
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

template <class Done>
bool server_connection::ReceiveUntil(milliseconds timeout, Done done) {
    const auto deadline = steady_clock::now() + timeout;
    char bytes[4096];
    while (!done()) {
        const auto left = std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now());
        if (peer_closed_ || !WaitUntilReadable(socket_.get(), left)) {
            break;
        }
        const int length = recv(socket_.get(), bytes, sizeof(bytes), 0);
        if (length <= 0) {
            peer_closed_ = true;
            break;
        }
        received_.append(bytes, static_cast<std::size_t>(length));
    }
    return !peer_closed_;
}

std::string server_connection::Take(std::size_t length) {
    const std::string taken = received_.substr(0, length);
    received_.erase(0, taken.size());
    return taken;
}

std::string server_connection::Receive(std::size_t length, milliseconds timeout) {
    (void)ReceiveUntil(timeout, [&] { return received_.size() >= length; });
    return Take(length);
}

std::string server_connection::ReceiveThrough(std::string_view text, milliseconds timeout) {
    std::size_t at = std::string::npos;
    (void)ReceiveUntil(timeout, [&] {
        at = received_.find(text);
        return at != std::string::npos;
    });
    return Take(at == std::string::npos ? received_.size() : at + text.size());
}

bool server_connection::WaitForPeerToClose(milliseconds timeout) {
    return !ReceiveUntil(timeout, [] { return false; });
}

std::string server_connection::ReceiveAvailable() {
    (void)ReceiveUntil(milliseconds(0), [] { return false; });
    return Take(received_.size());
}

void server_connection::Reset() {
    const linger at_once = {1, 0};
    EXPECT_EQ(setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&at_once),
                         sizeof(at_once)),
              0);
    socket_.reset();
}

loopback_server::loopback_server(std::uint16_t port) {
    StartWinsock();
    socket_.reset(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    // A fixed port may still be taken by connections that have just ended.
    const BOOL reuse = port != 0;
    EXPECT_EQ(setsockopt(socket_.get(), SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&reuse),
                         sizeof(reuse)),
              0);
    const stopwatch watch;
    while (!Bind(socket_.get(), port) || listen(socket_.get(), SOMAXCONN) != 0) {
        if (watch.Elapsed() > kPortWait) {
            throw std::runtime_error("the port stays taken");
        }
        Sleep(kLookAgainMilliseconds);
    }
    port_ = PortOf(socket_.get());
}

std::optional<server_connection> loopback_server::TryAccept(milliseconds timeout) {
    if (!WaitUntilReadable(socket_.get(), timeout)) {
        return std::nullopt;
    }
    unique_socket accepted(accept(socket_.get(), nullptr, nullptr));
    if (!accepted) {
        return std::nullopt;
    }
    return server_connection(std::move(accepted));
}

server_connection loopback_server::Accept() {
    std::optional<server_connection> connection = TryAccept(kSoon);
    if (!connection) {
        throw std::runtime_error("nobody has connected");
    }
    return std::move(*connection);
}

bool loopback_server::HasWaitingConnection() {
    return WaitUntilReadable(socket_.get(), milliseconds(0));
}

std::uint16_t UnusedPort() {
    // Bound, but never listened on: connections are refused, and nobody else gets the port meanwhile.
    static const unique_socket bound = [] {
        StartWinsock();
        unique_socket result(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
        EXPECT_TRUE(Bind(result.get(), 0));
        return result;
    }();
    return PortOf(bound.get());
}

}  // namespace brivelnox::test
