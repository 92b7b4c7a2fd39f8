#include "registry_service/link_connection.h"

#include <utility>

namespace brivelnox {

namespace {

constexpr DWORD kReaderWaitMilliseconds = 5000;

}  // namespace

link_connection::link_connection(unique_socket socket, unique_event network_event)
    : network_event_(std::move(network_event)), socket_(std::move(socket)) {}

bool link_connection::StartReader(LPTHREAD_START_ROUTINE reader, void* argument) {
    HANDLE const thread = CreateThread(nullptr, 0, reader, argument, 0, nullptr);
    reader_.store(thread);
    return thread != nullptr;
}

bool link_connection::SelectEvents() {
    const lock_guard guard(socket_lock_);
    return socket_ && WSAEventSelect(socket_.get(), network_event_.get(), FD_READ | FD_CLOSE) == 0;
}

bool link_connection::WaitForEvent() const {
    // Without a time-out: Close signals the event, and only a closed connection is ever given up.
    return WaitForSingleObject(network_event_.get(), INFINITE) == WAIT_OBJECT_0 && !IsClosed();
}

std::optional<long> link_connection::TakeEvents() {
    const lock_guard guard(socket_lock_);
    WSANETWORKEVENTS events = {};
    if (!socket_ || WSAEnumNetworkEvents(socket_.get(), network_event_.get(), &events) != 0) {
        return std::nullopt;
    }
    return events.lNetworkEvents;
}

std::optional<int> link_connection::Receive(char* bytes, int size) {
    const lock_guard guard(socket_lock_);
    if (!socket_) {
        return SOCKET_ERROR;
    }
    const int received = recv(socket_.get(), bytes, size, 0);
    if (received == SOCKET_ERROR && WSAGetLastError() == WSAEWOULDBLOCK) {
        return std::nullopt;
    }
    return received;
}

bool link_connection::Send(const char* bytes, std::size_t length) {
    const lock_guard guard(socket_lock_);
    return socket_ && send(socket_.get(), bytes, static_cast<int>(length), 0) != SOCKET_ERROR;
}

void link_connection::Close() {
    closed_.store(true);
    {
        const lock_guard guard(socket_lock_);
        socket_.reset();
    }
    (void)SetEvent(network_event_.get());
}

void link_connection::WaitForReader() const {
    if (HANDLE const reader = reader_.load(); reader != nullptr) {
        (void)WaitForSingleObject(reader, kReaderWaitMilliseconds);
    }
}

}  // namespace brivelnox
