#include "tests/faults/other_program_helper.h"

#include <array>
#include <cstddef>
#include <stdexcept>
#include <utility>

#include "tests/support/loopback_address.h"

namespace brivelnox::test {

namespace {

/// A socket with a port of its own.
unique_socket BoundSocket(std::uint16_t& port) {
    unique_socket bound(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    sockaddr_in address = LoopbackAddress(0);
    int size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(bound.get(), generic, size) != 0 || getsockname(bound.get(), generic, &size) != 0) {
        throw std::runtime_error("no port for another program");
    }
    port = ntohs(address.sin_port);
    return bound;
}

}  // namespace

other_program::other_program(treatment treat) : treat_(std::move(treat)), listener_(BoundSocket(port_)) {
    if (listen(listener_.get(), SOMAXCONN) != 0) {
        throw std::runtime_error("another program cannot listen");
    }
    thread_ = std::thread([this] { Run(); });
}

other_program::~other_program() {
    stopping_ = true;
    // A connection of its own wakes the thread that accepts.
    const unique_socket waker(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    const sockaddr_in address = LoopbackAddress(port_);
    (void)connect(waker.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    thread_.join();
}

void other_program::Run() {
    for (;;) {
        const unique_socket connection(accept(listener_.get(), nullptr, nullptr));
        if (!connection || stopping_) {
            return;
        }
        ++accepted_;
        treat_(connection.get());
    }
}

std::string ReceiveSome(SOCKET connection) {
    std::array<char, 4096> bytes;
    const int length = recv(connection, bytes.data(), static_cast<int>(bytes.size()), 0);
    return length > 0 ? std::string(bytes.data(), static_cast<std::size_t>(length)) : std::string();
}

void SendAll(SOCKET connection, const std::string& bytes) {
    (void)send(connection, bytes.data(), static_cast<int>(bytes.size()), 0);
}

std::uint16_t PortOfNobody() {
    std::uint16_t port = 0;
    const unique_socket given_up = BoundSocket(port);
    return port;
}

}  // namespace brivelnox::test
