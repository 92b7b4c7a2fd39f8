#include "tests/tools/socket_client_helper.h"

#include <algorithm>
#include <array>

#include "tests/support/loopback_address.h"

namespace brivelnox::test {

namespace {

/// Waits until the socket can be read from (or written to).
bool WaitFor(SOCKET socket, bool to_write, std::chrono::steady_clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
        std::max(deadline - std::chrono::steady_clock::now(), std::chrono::steady_clock::duration::zero()));
    timeval time{static_cast<long>(left.count() / 1000000), static_cast<long>(left.count() % 1000000)};
    fd_set set;
    FD_ZERO(&set);
    set.fd_array[set.fd_count++] = socket;
    return select(0, to_write ? nullptr : &set, to_write ? &set : nullptr, nullptr, &time) == 1;
}

}  // namespace

socket_client::socket_client(std::uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)) {
    const sockaddr_in address = LoopbackAddress(port);
    connected_ = connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    const BOOL no_delay = TRUE;
    (void)setsockopt(socket_.get(), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&no_delay),
                     sizeof(no_delay));
}

bool socket_client::Send(std::string_view bytes) {
    return send(socket_.get(), bytes.data(), static_cast<int>(bytes.size()), 0) ==
           static_cast<int>(bytes.size());
}

std::size_t socket_client::SendUntilFull(std::size_t most, std::chrono::milliseconds patience) {
    u_long non_blocking = 1;
    (void)ioctlsocket(socket_.get(), FIONBIO, &non_blocking);
    const std::string chunk(16384, ' ');
    std::size_t taken = 0;
    while (taken < most && WaitFor(socket_.get(), true, std::chrono::steady_clock::now() + patience)) {
        const int length = send(socket_.get(), chunk.data(), static_cast<int>(chunk.size()), 0);
        if (length <= 0) {
            break;
        }
        taken += static_cast<std::size_t>(length);
    }
    return taken;
}

bool socket_client::Receive(std::string& into, std::chrono::steady_clock::time_point deadline) {
    if (end_ != end::kOpen || !WaitFor(socket_.get(), false, deadline)) {
        return false;
    }
    std::array<char, 65536> buffer;
    const int length = recv(socket_.get(), buffer.data(), static_cast<int>(buffer.size()), 0);
    if (length <= 0) {
        end_ = length == 0 ? end::kClosed : end::kReset;
        return false;
    }
    into.append(buffer.data(), static_cast<std::size_t>(length));
    return true;
}

std::string socket_client::ReceiveUntil(std::string_view text, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::string received;
    while (received.find(text) == std::string::npos && Receive(received, deadline)) {
    }
    return received;
}

std::string socket_client::ReceiveBytes(std::size_t size, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::string received;
    while (received.size() < size && Receive(received, deadline)) {
    }
    return received;
}

socket_client::end socket_client::WaitForEnd(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::string dropped;
    while (Receive(dropped, deadline)) {
    }
    return end_;
}

}  // namespace brivelnox::test
