#include "tools/service_simulator/service_simulator.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <system_error>
#include <utility>

namespace brivelnox::simulator {

namespace {

[[noreturn]] void FailSocket(const char* what) {
    throw std::system_error(WSAGetLastError(), std::system_category(), what);
}

sockaddr_in LoopbackAddress(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

unique_socket ListeningSocket(std::uint16_t port, int receive_buffer_size) {
    unique_socket listener(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    if (!listener) {
        FailSocket("no socket for the service");
    }
    const BOOL on = TRUE;
    const auto set = [&](int option) {
        (void)setsockopt(listener.get(), SOL_SOCKET, option, reinterpret_cast<const char*>(&on), sizeof(on));
    };
    // Nobody else may listen on the service's port, as with the service itself.
    set(SO_EXCLUSIVEADDRUSE);
    if (port != 0) {
        // A service that comes back on its port must not wait for the traces of its old connections. Windows,
        // where this option would let others in, refuses it after the first; elsewhere it lets nobody in.
        set(SO_REUSEADDR);
    }
    if (receive_buffer_size > 0) {
        (void)setsockopt(listener.get(), SOL_SOCKET, SO_RCVBUF,
                         reinterpret_cast<const char*>(&receive_buffer_size), sizeof(receive_buffer_size));
    }
    const sockaddr_in address = LoopbackAddress(port);
    if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        FailSocket("the service's port cannot be had");
    }
    if (listen(listener.get(), SOMAXCONN) != 0) {
        FailSocket("the service cannot listen");
    }
    return listener;
}

std::uint16_t PortOf(SOCKET listener) {
    sockaddr_in address{};
    int length = sizeof(address);
    if (getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        FailSocket("the service's port cannot be read");
    }
    return ntohs(address.sin_port);
}

void StartWinsock() {
    WSADATA data{};
    const int error = WSAStartup(MAKEWORD(2, 2), &data);
    if (error != 0) {
        throw std::system_error(error, std::system_category(), "Winsock does not start");
    }
}

}  // namespace

service_simulator::service_simulator() {
    StartWinsock();
    stop_event_.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    gate_->target = this;
}

service_simulator::~service_simulator() {
    Stop();
    {
        const std::lock_guard lock(gate_->mutex);
        gate_->target = nullptr;
    }
    listener_event_.reset();
    (void)WSACleanup();
}

void service_simulator::Start(std::uint16_t port) {
    const std::lock_guard lifecycle(lifecycle_mutex_);
    if (listener_) {
        return;
    }
    int receive_buffer_size = 0;
    {
        const std::lock_guard lock(mutex_);
        receive_buffer_size = receive_buffer_size_;
    }
    unique_socket listener = ListeningSocket(port, receive_buffer_size);
    const std::uint16_t bound = PortOf(listener.get());
    listener_event_.reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (WSAEventSelect(listener.get(), listener_event_.get(), FD_ACCEPT) != 0) {
        FailSocket("the service cannot wait for connections");
    }
    (void)ResetEvent(stop_event_.get());
    listener_ = std::move(listener);
    {
        const std::lock_guard lock(mutex_);
        port_ = bound;
    }
    acceptor_ = std::thread([this] { AcceptLoop(listener_.get(), listener_event_.get()); });
}

void service_simulator::StopListening() {
    const std::lock_guard lifecycle(lifecycle_mutex_);
    StopListeningLocked();
}

void service_simulator::StopListeningLocked() {
    if (!listener_) {
        return;
    }
    (void)SetEvent(stop_event_.get());
    acceptor_.join();
    listener_.reset();
    const std::lock_guard lock(mutex_);
    port_ = 0;
}

void service_simulator::Stop() {
    const std::lock_guard lifecycle(lifecycle_mutex_);
    StopListeningLocked();
    CloseConnections();
}

void service_simulator::CloseConnections() {
    connection_list closing;
    {
        const std::lock_guard lock(mutex_);
        closing = connections_;
    }
    for (const auto& each : closing) {
        each->DropNow(drop_kind::kGraceful);
    }
    // Their threads are waited for before anything is released: the last reference to a connection must not
    // be dropped by its own thread.
    for (const auto& each : closing) {
        each->Join();
    }
    const std::lock_guard lock(mutex_);
    connections_.clear();
    pending_.clear();
}

void service_simulator::Restart() {
    const std::uint16_t old = Port();
    Stop();
    Start();
    while (Port() == old) {
        StopListening();
        Start();
    }
    bool published = false;
    {
        const std::lock_guard lifecycle(lifecycle_mutex_);
        published = published_;
    }
    if (published) {
        Publish();
    }
}

bool service_simulator::Listening() const {
    return Port() != 0;
}

std::uint16_t service_simulator::Port() const {
    const std::lock_guard lock(mutex_);
    return port_;
}

void service_simulator::Publish() {
    const std::lock_guard lifecycle(lifecycle_mutex_);
    publication_.Publish(Port());
    published_ = true;
}

void service_simulator::Unpublish() {
    const std::lock_guard lifecycle(lifecycle_mutex_);
    publication_.Remove();
    published_ = false;
}

void service_simulator::AcceptLoop(SOCKET listener, HANDLE accepted) {
    const std::array<HANDLE, 2> handles{stop_event_.get(), accepted};
    while (WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, INFINITE) !=
           WAIT_OBJECT_0) {
        WSANETWORKEVENTS events{};
        (void)WSAEnumNetworkEvents(listener, accepted, &events);
        for (;;) {
            unique_socket client(accept(listener, nullptr, nullptr));
            if (!client) {
                break;
            }
            Adopt(std::move(client));
        }
    }
}

void service_simulator::Adopt(unique_socket socket) {
    connection_list closed;  // released after the lock
    const std::lock_guard lock(mutex_);
    closed = TakeClosedLocked();
    connection::callbacks handlers;
    handlers.on_message = [this](connection& from, const std::string& text) { OnMessage(from, text); };
    handlers.on_drained = [this] { Notify(); };
    handlers.on_closed = [this] { Notify(); };
    // Its thread may receive at once; it waits for the lock before it looks for the connection in the list.
    ++accepted_;
    connections_.push_back(std::make_shared<connection>(accepted_, std::move(socket), reading_paused_, log_,
                                                        std::move(handlers)));
    changed_.notify_all();
}

service_simulator::connection_list service_simulator::TakeClosedLocked() {
    const auto open_end = std::stable_partition(connections_.begin(), connections_.end(),
                                                [](const auto& each) { return !each->Closed(); });
    connection_list closed(std::make_move_iterator(open_end), std::make_move_iterator(connections_.end()));
    connections_.erase(open_end, connections_.end());
    return closed;
}

void service_simulator::ForgetClosedConnections() {
    connection_list closed;  // released after the lock, which their threads may be waiting for
    const std::lock_guard lock(mutex_);
    closed = TakeClosedLocked();
}

void service_simulator::Notify() {
    const std::lock_guard lock(mutex_);
    changed_.notify_all();
}

std::size_t service_simulator::AcceptedCount() const {
    const std::lock_guard lock(mutex_);
    return accepted_;
}

std::size_t service_simulator::OpenCount() const {
    const std::lock_guard lock(mutex_);
    return OpenLocked().size();
}

service_simulator::connection_list service_simulator::OpenLocked() const {
    connection_list open;
    std::copy_if(connections_.begin(), connections_.end(), std::back_inserter(open),
                 [](const auto& each) { return !each->Closed(); });
    return open;
}

bool service_simulator::WaitForConnection(milliseconds timeout, std::size_t accepted) {
    return WaitUntil(timeout, [&] { return accepted_ >= accepted; });
}

bool service_simulator::WaitForNoConnection(milliseconds timeout) {
    return WaitUntil(timeout, [&] { return OpenLocked().empty(); });
}

void service_simulator::DropConnections(drop_kind kind) {
    const std::lock_guard lock(mutex_);
    for (const auto& each : connections_) {
        each->SendThenDrop(kind);
    }
}

void service_simulator::DropConnectionsNow(drop_kind kind) {
    const std::lock_guard lock(mutex_);
    for (const auto& each : connections_) {
        each->DropNow(kind);
    }
}

void service_simulator::PauseReading() {
    const std::lock_guard lock(mutex_);
    reading_paused_ = true;
    for (const auto& each : connections_) {
        each->PauseReading();
    }
}

void service_simulator::ResumeReading() {
    const std::lock_guard lock(mutex_);
    reading_paused_ = false;
    for (const auto& each : connections_) {
        each->ResumeReading();
    }
}

void service_simulator::SetReceiveBufferSize(int bytes) {
    const std::lock_guard lock(mutex_);
    receive_buffer_size_ = bytes;
}

void service_simulator::SetWireObserver(wire_observer observer) {
    log_.SetObserver(std::move(observer));
}

}  // namespace brivelnox::simulator
