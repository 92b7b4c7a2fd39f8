#include "tests/dll/plain_service_helper.h"

#include <windows.h>

#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "tests/support/loopback_address.h"

namespace brivelnox::test {

namespace {

constexpr wchar_t kServiceKey[] = L"SOFTWARE\\Brivelnox\\TspRegistryService";
constexpr char kEndTag[] = "</msg>";

void PublishNumber(const wchar_t* name, DWORD value) {
    (void)RegSetKeyValueW(HKEY_LOCAL_MACHINE, kServiceKey, name, REG_DWORD, &value, sizeof value);
}

}  // namespace

plain_service::plain_service(answer answer_to) : answer_to_(std::move(answer_to)) {
    WSADATA data = {};
    (void)WSAStartup(MAKEWORD(2, 2), &data);
    listener_ = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address = LoopbackAddress(0);
    int size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener_, generic, size) != 0 || listen(listener_, SOMAXCONN) != 0 ||
        getsockname(listener_, generic, &size) != 0) {
        throw std::runtime_error("no port to listen on");
    }
    port_ = ntohs(address.sin_port);
    PublishNumber(L"UpAndRunning", 1);
    PublishNumber(L"RegistryServiceTcpPort", port_);
    thread_ = std::thread([this] { Run(); });
}

plain_service::~plain_service() {
    (void)RegDeleteTreeW(HKEY_LOCAL_MACHINE, kServiceKey);
    stopping_ = true;
    (void)shutdown(connection_.load(), SD_BOTH);
    // A connection of its own wakes the thread that accepts.
    const SOCKET waker = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    const sockaddr_in address = LoopbackAddress(port_);
    (void)connect(waker, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    thread_.join();
    (void)closesocket(waker);
    (void)closesocket(listener_);
    (void)WSACleanup();
}

void plain_service::Run() {
    while (!stopping_) {
        const SOCKET connection = accept(listener_, nullptr, nullptr);
        if (connection == INVALID_SOCKET) {
            return;
        }
        ++accepted_;
        connection_ = connection;
        if (!stopping_) {
            Serve(connection);
        }
        connection_ = INVALID_SOCKET;
        (void)closesocket(connection);
    }
}

void plain_service::Serve(SOCKET connection) {
    std::string held;
    char chunk[4096] = {};
    for (;;) {
        const int received = recv(connection, chunk, sizeof chunk, 0);
        if (received <= 0) {
            return;
        }
        held.append(chunk, static_cast<std::size_t>(received));
        for (std::size_t end = held.find(kEndTag); end != std::string::npos; end = held.find(kEndTag)) {
            end += sizeof kEndTag - 1;
            const std::string reply = answer_to_(held.substr(0, end));
            held.erase(0, end);
            (void)send(connection, reply.data(), static_cast<int>(reply.size()), 0);
        }
    }
}

void plain_service::Send(const std::string& bytes) {
    (void)send(connection_.load(), bytes.data(), static_cast<int>(bytes.size()), 0);
}

std::string plain_service::Attribute(const std::string& message, const std::string& name) {
    const std::string opening = " " + name + "='";
    const std::size_t at = message.find(opening);
    if (at == std::string::npos) {
        return {};
    }
    const std::size_t begin = at + opening.size();
    return message.substr(begin, message.find('\'', begin) - begin);
}

int plain_service::RequestId(const std::string& message) {
    const std::string id = Attribute(message, "id");
    return id.empty() ? -1 : std::atoi(id.c_str());
}

}  // namespace brivelnox::test
