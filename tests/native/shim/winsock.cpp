#include "shim/winsock.h"

#include <winsock2.h>
#include <windows.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "shim/leak_check.h"
#include "shim/socket_object.h"

namespace brivelnox::native {

namespace {

namespace posix = brivelnox::native::posix;

std::atomic<int> winsock_starts{0};

object_ref<socket_object> FromSocket(SOCKET socket) {
    auto object = socket == INVALID_SOCKET ? object_ref<socket_object>()
                                           : FromHandle<socket_object>(reinterpret_cast<HANDLE>(socket));
    if (!object) {
        SetLastError(static_cast<DWORD>(WSAENOTSOCK));
    }
    return object;
}

/// What a Winsock function returns for a system's result: the count, or -1 with the last error set.
int Result(long result) {
    if (result >= 0) {
        return static_cast<int>(result);
    }
    SetLastError(static_cast<DWORD>(posix::WinsockError(-result)));
    return SOCKET_ERROR;
}

posix::endpoint FromAddress(const sockaddr* address) {
    const auto& ipv4 = *reinterpret_cast<const sockaddr_in*>(address);
    return {ntohl(ipv4.sin_addr.s_addr), ntohs(ipv4.sin_port)};
}

void ToAddress(const posix::endpoint& point, sockaddr* address, int* length) {
    if (address == nullptr || length == nullptr) {
        return;
    }
    auto& ipv4 = *reinterpret_cast<sockaddr_in*>(address);
    ipv4 = {};
    ipv4.sin_family = AF_INET;
    ipv4.sin_port = htons(point.port);
    ipv4.sin_addr.s_addr = htonl(point.address);
    *length = sizeof(ipv4);
}

SOCKET ToSocket(socket_object* object) {
    return reinterpret_cast<SOCKET>(ToHandle(object));
}

int SetSocketOption(int descriptor, int name, const char* value) {
    const int number = *reinterpret_cast<const int*>(value);
    switch (name) {
        case SO_REUSEADDR:
            return posix::SetReuseAddress(descriptor, number != 0);
        case SO_EXCLUSIVEADDRUSE:
            return 0;  // what the system does anyway
        case SO_RCVBUF:
        case SO_SNDBUF:
            return posix::SetBufferSize(descriptor, name == SO_RCVBUF, number);
        case SO_RCVTIMEO:
        case SO_SNDTIMEO:
            return posix::SetTimeOut(descriptor, name == SO_RCVTIMEO, static_cast<std::uint32_t>(number));
        case SO_LINGER: {
            const auto& lingering = *reinterpret_cast<const linger*>(value);
            return posix::SetLinger(descriptor, lingering.l_onoff != 0, lingering.l_linger);
        }
        default:
            Misuse("a socket option that is not known here");
    }
}

}  // namespace

int WinsockStarts() {
    return winsock_starts.load(std::memory_order_relaxed);
}

}  // namespace brivelnox::native

using brivelnox::native::FromSocket;
using brivelnox::native::hidden_from_order;
using brivelnox::native::NoteRead;
using brivelnox::native::NoteWritten;
using brivelnox::native::Result;
using brivelnox::native::socket_object;
using brivelnox::native::ToSocket;
using brivelnox::native::winsock_starts;
namespace posix = brivelnox::native::posix;

int WSAStartup(WORD version, WSADATA* data) {
    winsock_starts.fetch_add(1, std::memory_order_relaxed);
    *data = {};
    data->wVersion = version;
    data->wHighVersion = MAKEWORD(2, 2);
    return 0;
}

int WSACleanup() {
    if (winsock_starts.fetch_sub(1, std::memory_order_relaxed) <= 0) {
        brivelnox::native::Misuse("a Winsock cleanup without a start");
    }
    return 0;
}

int WSAGetLastError() {
    return static_cast<int>(GetLastError());
}

void WSASetLastError(int error) {
    SetLastError(static_cast<DWORD>(error));
}

SOCKET socket(int family, int type, int protocol) {
    const hidden_from_order hidden;
    if (brivelnox::native::WinsockStarts() <= 0) {
        WSASetLastError(WSANOTINITIALISED);
        return INVALID_SOCKET;
    }
    if (family != AF_INET || type != SOCK_STREAM || (protocol != IPPROTO_TCP && protocol != 0)) {
        brivelnox::native::Misuse("a kind of socket that is not known here");
    }
    const int descriptor = Result(posix::OpenTcp());
    return descriptor == SOCKET_ERROR ? INVALID_SOCKET : ToSocket(new socket_object(descriptor, false));
}

int closesocket(SOCKET socket) {
    const hidden_from_order hidden;
    const auto object = FromSocket(socket);
    if (!object) {
        return SOCKET_ERROR;
    }
    object->CloseByHandle();
    return 0;
}

int connect(SOCKET socket, const sockaddr* address, int) {
    const hidden_from_order hidden;
    const auto object = FromSocket(socket);
    if (!object) {
        return SOCKET_ERROR;
    }
    const int result = object->Connect(brivelnox::native::FromAddress(address));
    if (result != 0) {
        // The provider deliberately does not close a socket whose connect has failed.
        brivelnox::native::LeaveOutOfLeakCheck(object.get());
    }
    return Result(result);
}

int bind(SOCKET socket, const sockaddr* address, int) {
    const hidden_from_order hidden;
    const auto object = FromSocket(socket);
    return object ? Result(posix::Bind(object->Descriptor(), brivelnox::native::FromAddress(address)))
                  : SOCKET_ERROR;
}

int listen(SOCKET socket, int backlog) {
    const hidden_from_order hidden;
    const auto object = FromSocket(socket);
    return object ? Result(object->Listen(backlog)) : SOCKET_ERROR;
}

SOCKET accept(SOCKET socket, sockaddr* address, int* length) {
    const hidden_from_order hidden;
    const auto object = FromSocket(socket);
    if (!object) {
        return INVALID_SOCKET;
    }
    posix::endpoint peer;
    socket_object* accepted = nullptr;
    if (Result(object->Accept(peer, accepted)) == SOCKET_ERROR) {
        return INVALID_SOCKET;
    }
    brivelnox::native::ToAddress(peer, address, length);
    return ToSocket(accepted);
}

int send(SOCKET socket, const char* bytes, int size, int) {
    const hidden_from_order hidden;
    const auto object = FromSocket(socket);
    if (!object) {
        return SOCKET_ERROR;
    }
    NoteRead(bytes, static_cast<std::size_t>(size));
    return Result(object->Send(bytes, size));
}

int recv(SOCKET socket, char* bytes, int size, int flags) {
    const hidden_from_order hidden;
    const auto object = FromSocket(socket);
    if (!object) {
        return SOCKET_ERROR;
    }
    const long received = object->Receive(bytes, size, (flags & MSG_PEEK) != 0);
    if (received > 0) {
        NoteWritten(bytes, static_cast<std::size_t>(received));
    }
    return Result(received);
}

int shutdown(SOCKET socket, int how) {
    const hidden_from_order hidden;
    const auto object = FromSocket(socket);
    return object ? Result(object->ShutDown(how != SD_SEND, how != SD_RECEIVE)) : SOCKET_ERROR;
}

int getsockname(SOCKET socket, sockaddr* address, int* length) {
    const hidden_from_order hidden;
    const auto object = FromSocket(socket);
    if (!object) {
        return SOCKET_ERROR;
    }
    posix::endpoint local;
    const int result = Result(posix::Local(object->Descriptor(), local));
    brivelnox::native::ToAddress(local, address, length);
    return result;
}

int ioctlsocket(SOCKET socket, long command, u_long* argument) {
    const hidden_from_order hidden;
    const auto object = FromSocket(socket);
    if (object && command == static_cast<long>(FIONBIO) && *argument != 0) {
        return Result(posix::SetNonBlocking(object->Descriptor()));
    }
    if (command != FIONREAD) {
        brivelnox::native::Misuse("a socket command that is not known here");
    }
    const int count = object ? Result(posix::Available(object->Descriptor())) : SOCKET_ERROR;
    if (count == SOCKET_ERROR) {
        return SOCKET_ERROR;
    }
    *argument = static_cast<u_long>(count);
    return 0;
}

int setsockopt(SOCKET socket, int level, int name, const char* value, int) {
    const hidden_from_order hidden;
    const auto object = FromSocket(socket);
    if (!object) {
        return SOCKET_ERROR;
    }
    if (level == IPPROTO_TCP && name == TCP_NODELAY) {
        return Result(posix::SetNoDelay(object->Descriptor(), *reinterpret_cast<const BOOL*>(value) != 0));
    }
    if (level != SOL_SOCKET) {
        brivelnox::native::Misuse("a socket option that is not known here");
    }
    return Result(brivelnox::native::SetSocketOption(object->Descriptor(), name, value));
}

int WSAEventSelect(SOCKET socket, HANDLE event, long events) {
    const hidden_from_order hidden;
    if ((events & ~(FD_READ | FD_WRITE | FD_ACCEPT | FD_CLOSE)) != 0) {
        brivelnox::native::Misuse("a network event that is not known here");
    }
    const auto object = FromSocket(socket);
    return object ? Result(object->Select(event, events)) : SOCKET_ERROR;
}

int WSAEnumNetworkEvents(SOCKET socket, HANDLE event, WSANETWORKEVENTS* events) {
    const hidden_from_order hidden;
    const auto object = FromSocket(socket);
    if (!object) {
        return SOCKET_ERROR;
    }
    object->TakeEvents(event, *events);
    return 0;
}

int inet_pton(int family, const char* text, void* address) {
    std::uint32_t parsed = 0;
    if (family != AF_INET || !posix::IsIpv4(text, parsed)) {
        return 0;
    }
    static_cast<in_addr*>(address)->s_addr = htonl(parsed);
    return 1;
}

bool FD_ISSET(SOCKET socket, const fd_set* set) {
    const SOCKET* const end = set->fd_array + set->fd_count;
    return std::find(set->fd_array, end, socket) != end;
}

int select(int, fd_set* readable, fd_set* writable, fd_set* failed, const timeval* timeout) {
    const hidden_from_order hidden;
    if (writable != nullptr || failed != nullptr || readable == nullptr) {
        brivelnox::native::Misuse("select is known here for reading only");
    }
    std::vector<posix::polled> polled;
    for (UINT i = 0; i < readable->fd_count; ++i) {
        const auto object = FromSocket(readable->fd_array[i]);
        if (!object) {
            return SOCKET_ERROR;
        }
        polled.push_back({object->Descriptor(), true, false, false, false, false, false});
    }
    const long bound = timeout != nullptr ? timeout->tv_sec * 1000 + timeout->tv_usec / 1000 : -1;
    const int result = Result(posix::Poll(polled, static_cast<int>(bound)));
    UINT count = 0;
    for (std::size_t i = 0; i < polled.size(); ++i) {
        if (polled[i].readable) {
            readable->fd_array[count++] = readable->fd_array[i];
        }
    }
    readable->fd_count = count;
    return result;
}
