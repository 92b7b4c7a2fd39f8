#include "tests/support/loopback_service.h"

#include <ws2tcpip.h>

#include <stdexcept>
#include <utility>

namespace brivelnox::test {

namespace {

constexpr wchar_t kKey[] = L"SOFTWARE\\Brivelnox\\TspRegistryService";
constexpr char kEndTag[] = "</msg>";

void WriteNumber(HKEY key, const wchar_t* name, DWORD value) {
    (void)RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
}

void Publish(std::uint16_t port) {
    unique_registry_key key;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_WRITE, nullptr, key.put(), nullptr) !=
        ERROR_SUCCESS) {
        throw std::runtime_error("the registry key cannot be written");
    }
    WriteNumber(key.get(), L"UpAndRunning", 1);
    WriteNumber(key.get(), L"RegistryServiceTcpPort", port);
}

/// Listens on a free port of 127.0.0.1 and returns it.
std::uint16_t Listen(SOCKET listener, HANDLE event) {
    sockaddr_in address = {};
    int size = sizeof(address);
    address.sin_family = AF_INET;
    (void)inet_pton(AF_INET, "127.0.0.1", &address.sin_addr);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, generic, size) != 0 || listen(listener, SOMAXCONN) != 0 ||
        getsockname(listener, generic, &size) != 0 || WSAEventSelect(listener, event, FD_ACCEPT) != 0) {
        throw std::runtime_error("no port to listen on");
    }
    return ntohs(address.sin_port);
}

/// Sends everything, waiting while the socket takes no more.
void SendAll(SOCKET socket, const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const int taken = send(socket, bytes.data() + sent, static_cast<int>(bytes.size() - sent), 0);
        if (taken != SOCKET_ERROR) {
            sent += static_cast<std::size_t>(taken);
        } else if (WSAGetLastError() != WSAEWOULDBLOCK) {
            return;
        } else {
            fd_set writable = {1, {socket}};
            (void)select(0, nullptr, &writable, nullptr, nullptr);
        }
    }
}

const char* Text(bool value) {
    return value ? "true" : "false";
}

}  // namespace

std::string RegistrationElement(std::int32_t permanent_line_id, const std::string& name, std::uint32_t port,
                                bool client_connected, bool sip_connected) {
    return "<Registration tapiLineName='" + name + "' permanentLineId='" + std::to_string(permanent_line_id) +
           "' tcpPort='" + std::to_string(port) + "' clientConnected='" + Text(client_connected) +
           "' sipConnected='" + Text(sip_connected) + "'/>";
}

std::string ListAnswer(std::int32_t request_id, const std::string& registrations) {
    return "<msg><response id='" + std::to_string(request_id) + "'><RegistrationList>" + registrations +
           "</RegistrationList></response></msg>";
}

std::string RegistrationChanged(const std::string& reason, const std::string& registration) {
    return "<msg><event><RegistrationChanged reason='" + reason + "'>" + registration +
           "</RegistrationChanged></event></msg>";
}

std::string CallStateEvent(std::int32_t permanent_line_id, const std::string& id, const std::string& state) {
    return "<msg><event><CallState isCaller='false' callReason='0' clientCallId='" + id + "' callState='" +
           state + "' permanentLineId='" + std::to_string(permanent_line_id) + "'/></event></msg>";
}

std::string CallRemovedEvent(std::int32_t permanent_line_id, const std::string& id) {
    return "<msg><event><CallRemoved clientCallId='" + id + "' permanentLineId='" +
           std::to_string(permanent_line_id) + "'/></event></msg>";
}

std::string ListRequest(std::int32_t request_id) {
    return "<msg><request id='" + std::to_string(request_id) + "'><GetClientRegistrations/></request></msg>";
}

loopback_service::loopback_service() {
    WSADATA data = {};
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) {
        throw std::runtime_error("no Winsock");
    }
    listener_.reset(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    port_ = Listen(listener_.get(), listener_event_.get());
    Publish(port_);
    thread_ = std::thread([this] { Run(); });
}

loopback_service::~loopback_service() {
    (void)SetEvent(stop_.get());
    thread_.join();
    connection_.reset();
    listener_.reset();
    (void)RegDeleteTreeW(HKEY_LOCAL_MACHINE, kKey);
    (void)WSACleanup();
}

void loopback_service::SetLists(std::deque<std::string> registrations) {
    const std::lock_guard guard(mutex_);
    lists_ = std::move(registrations);
}

void loopback_service::SetGreeting(const std::string& messages) {
    const std::lock_guard guard(mutex_);
    greeting_ = messages;
}

void loopback_service::SetBeforeFirstList(const std::string& messages) {
    const std::lock_guard guard(mutex_);
    before_first_list_ = messages;
}

void loopback_service::Send(const std::string& messages) {
    const std::lock_guard guard(mutex_);
    if (connection_) {
        SendAll(connection_.get(), messages);
    }
}

void loopback_service::Drop() {
    const std::lock_guard guard(mutex_);
    connection_.reset();
}

std::vector<std::string> loopback_service::Requests() const {
    const std::lock_guard guard(mutex_);
    return requests_;
}

bool loopback_service::WaitForRequests(std::size_t count, milliseconds timeout) const {
    std::unique_lock guard(mutex_);
    return changed_.wait_for(guard, timeout, [&] { return requests_.size() >= count; });
}

void loopback_service::Run() {
    const HANDLE events[] = {stop_.get(), listener_event_.get(), connection_event_.get()};
    for (;;) {
        switch (WaitForMultipleObjects(3, events, FALSE, INFINITE)) {
            case WAIT_OBJECT_0 + 1:
                Accept();
                break;
            case WAIT_OBJECT_0 + 2:
                Receive();
                break;
            default:
                return;
        }
    }
}

void loopback_service::Accept() {
    const std::lock_guard guard(mutex_);
    connection_.reset(accept(listener_.get(), nullptr, nullptr));
    received_.clear();
    if (connection_) {
        (void)WSAEventSelect(connection_.get(), connection_event_.get(), FD_READ | FD_CLOSE);
        SendAll(connection_.get(), greeting_);
    }
}

void loopback_service::Receive() {
    {
        const std::lock_guard guard(mutex_);
        WSANETWORKEVENTS events = {};
        if (!connection_ || WSAEnumNetworkEvents(connection_.get(), connection_event_.get(), &events) != 0) {
            return;
        }
        char bytes[4096];
        for (int size = 1; size > 0;) {
            size = recv(connection_.get(), bytes, sizeof(bytes), 0);
            received_.append(bytes, size > 0 ? static_cast<std::size_t>(size) : 0);
            if (size == 0) {
                connection_.reset();
            }
        }
    }
    SplitMessages();
}

void loopback_service::SplitMessages() {
    for (std::size_t end = received_.find(kEndTag); end != std::string::npos; end = received_.find(kEndTag)) {
        const std::string request = received_.substr(0, end + sizeof(kEndTag) - 1);
        received_.erase(0, request.size());
        OnRequest(request);
    }
}

void loopback_service::OnRequest(const std::string& request) {
    constexpr char kId[] = "<msg><request id='";
    if (request.find("<KeepAlive/>") != std::string::npos) {
        return;
    }
    const std::lock_guard guard(mutex_);
    requests_.push_back(request);
    if (answers_lists_ && connection_ && request.find("<GetClientRegistrations/>") != std::string::npos) {
        const int id = std::stoi(request.substr(sizeof(kId) - 1));
        SendAll(connection_.get(), std::exchange(before_first_list_, {}) + ListAnswer(id, NextList()));
    }
    changed_.notify_all();
}

std::string loopback_service::NextList() {
    const std::string list = lists_.front();
    if (lists_.size() > 1) {
        lists_.pop_front();
    }
    return list;
}

}  // namespace brivelnox::test
