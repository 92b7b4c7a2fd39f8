#include "shim/posix_socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>

namespace brivelnox::native::posix {

namespace {

template <class Result>
Result OrError(Result result) {
    return result < 0 ? -errno : result;
}

sockaddr_in ToSystem(const endpoint& point) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(point.port);
    address.sin_addr.s_addr = htonl(point.address);
    return address;
}

endpoint FromSystem(const sockaddr_in& address) {
    return {ntohl(address.sin_addr.s_addr), ntohs(address.sin_port)};
}

int SetInt(int socket, int level, int name, int value) {
    return OrError(setsockopt(socket, level, name, &value, sizeof(value)));
}

}  // namespace

int OpenTcp() {
    return OrError(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP));
}

int Close(int socket) {
    return OrError(::close(socket));
}

int Connect(int socket, const endpoint& peer) {
    const sockaddr_in address = ToSystem(peer);
    return OrError(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)));
}

int Bind(int socket, const endpoint& local) {
    const sockaddr_in address = ToSystem(local);
    return OrError(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)));
}

int Listen(int socket, int backlog) {
    return OrError(::listen(socket, backlog));
}

int Accept(int socket, endpoint& peer) {
    sockaddr_in address = {};
    socklen_t length = sizeof(address);
    const int accepted = ::accept4(socket, reinterpret_cast<sockaddr*>(&address), &length, SOCK_CLOEXEC);
    peer = FromSystem(address);
    return OrError(accepted);
}

int Local(int socket, endpoint& local) {
    sockaddr_in address = {};
    socklen_t length = sizeof(address);
    const int result = ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    local = FromSystem(address);
    return OrError(result);
}

long Send(int socket, const void* bytes, std::size_t size) {
    return OrError(::send(socket, bytes, size, MSG_NOSIGNAL));
}

long Receive(int socket, void* bytes, std::size_t size, bool peek) {
    return OrError(::recv(socket, bytes, size, peek ? MSG_PEEK : 0));
}

long PeekNow(int socket) {
    char byte = 0;
    return OrError(::recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT));
}

int Available(int socket) {
    int count = 0;
    const int result = ::ioctl(socket, FIONREAD, &count);
    return result < 0 ? -errno : count;
}

int ShutDown(int socket, bool receiving, bool sending) {
    const int how = receiving && sending ? SHUT_RDWR : receiving ? SHUT_RD : SHUT_WR;
    return OrError(::shutdown(socket, how));
}

int SetNonBlocking(int socket) {
    const int flags = ::fcntl(socket, F_GETFL);
    return OrError(flags < 0 ? flags : ::fcntl(socket, F_SETFL, flags | O_NONBLOCK));
}

int SetNoDelay(int socket, bool on) {
    return SetInt(socket, IPPROTO_TCP, TCP_NODELAY, on ? 1 : 0);
}

int SetReuseAddress(int socket, bool on) {
    return SetInt(socket, SOL_SOCKET, SO_REUSEADDR, on ? 1 : 0);
}

int SetLinger(int socket, bool on, int seconds) {
    const linger value = {on ? 1 : 0, seconds};
    return OrError(setsockopt(socket, SOL_SOCKET, SO_LINGER, &value, sizeof(value)));
}

int SetBufferSize(int socket, bool receive, int size) {
    return SetInt(socket, SOL_SOCKET, receive ? SO_RCVBUF : SO_SNDBUF, size);
}

int SetTimeOut(int socket, bool receive, std::uint32_t milliseconds) {
    const timeval value = {milliseconds / 1000, static_cast<suseconds_t>(milliseconds % 1000) * 1000};
    return OrError(
        setsockopt(socket, SOL_SOCKET, receive ? SO_RCVTIMEO : SO_SNDTIMEO, &value, sizeof(value)));
}

bool IsIpv4(const char* text, std::uint32_t& address) {
    in_addr parsed = {};
    if (::inet_pton(AF_INET, text, &parsed) != 1) {
        return false;
    }
    address = ntohl(parsed.s_addr);
    return true;
}

int Poll(std::vector<polled>& descriptors, int milliseconds) {
    std::vector<pollfd> system;
    for (const polled& each : descriptors) {
        const int events = (each.want_read ? POLLIN : 0) | (each.want_write ? POLLOUT : 0);
        system.push_back({each.descriptor, static_cast<short>(events), 0});
    }
    const int ready_count = OrError(::poll(system.data(), system.size(), milliseconds));
    for (std::size_t i = 0; i < system.size(); ++i) {
        const int ready = system[i].revents;
        descriptors[i].readable = (ready & (POLLIN | POLLHUP | POLLERR)) != 0;
        descriptors[i].writable = (ready & POLLOUT) != 0;
        descriptors[i].hung_up = (ready & POLLHUP) != 0;
        descriptors[i].broken = (ready & POLLERR) != 0;
    }
    return ready_count;
}

int OpenWake() {
    return OrError(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
}

void Wake(int descriptor) {
    const std::uint64_t one = 1;
    (void)!::write(descriptor, &one, sizeof(one));
}

void Drain(int descriptor) {
    std::uint64_t count = 0;
    (void)!::read(descriptor, &count, sizeof(count));
}

int WinsockError(long error) {
    constexpr struct {
        int error;
        int winsock_error;
    } kErrors[] = {
        {EINTR, 10004},        {EACCES, 10013},       {EFAULT, 10014},      {EINVAL, 10022},
        {EMFILE, 10024},       {EAGAIN, 10035},       {EINPROGRESS, 10035}, {EBADF, 10038},
        {ENOTSOCK, 10038},     {EOPNOTSUPP, 10045},   {EADDRINUSE, 10048},  {EADDRNOTAVAIL, 10049},
        {ENETUNREACH, 10051},  {ECONNABORTED, 10053}, {EPIPE, 10054},       {ECONNRESET, 10054},
        {ENOBUFS, 10055},      {EISCONN, 10056},      {ENOTCONN, 10057},    {ETIMEDOUT, 10060},
        {ECONNREFUSED, 10061}, {EHOSTUNREACH, 10065}, {ESHUTDOWN, 10058},
    };
    for (const auto& row : kErrors) {
        if (row.error == error) {
            return row.winsock_error;
        }
    }
    return 10107;  // "a system call that should never fail has failed"
}

}  // namespace brivelnox::native::posix
