#pragma once

// The system's sockets under names and types of their own: their headers and the Windows ones cannot be in
// one source. All functions return what the system returns, or the negative errno.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace brivelnox::native::posix {

/// IPv4, host byte order.
struct endpoint {
    std::uint32_t address = 0;
    std::uint16_t port = 0;
};

int OpenTcp();
int Close(int socket);
int Connect(int socket, const endpoint& peer);
int Bind(int socket, const endpoint& local);
int Listen(int socket, int backlog);
int Accept(int socket, endpoint& peer);
int Local(int socket, endpoint& local);
long Send(int socket, const void* bytes, std::size_t size);
long Receive(int socket, void* bytes, std::size_t size, bool peek);
/// What is there, without taking it and without waiting: more than 0 for data, 0 for the peer's orderly end.
long PeekNow(int socket);
int Available(int socket);
int ShutDown(int socket, bool receiving, bool sending);
int SetNonBlocking(int socket);
int SetNoDelay(int socket, bool on);
int SetReuseAddress(int socket, bool on);
int SetLinger(int socket, bool on, int seconds);
int SetBufferSize(int socket, bool receive, int size);
int SetTimeOut(int socket, bool receive, std::uint32_t milliseconds);
bool IsIpv4(const char* text, std::uint32_t& address);

struct polled {
    int descriptor;
    bool want_read;
    bool want_write;
    bool readable;
    bool writable;
    bool hung_up;  // both directions are at their end, orderly or not
    bool broken;   // the connection is, and what is there to read is lost
};
/// Waits until one of them is ready, hung up or broken, which are not asked for, without a bound if the time
/// is negative. Returns how many are.
int Poll(std::vector<polled>& descriptors, int milliseconds);

/// A descriptor that becomes readable with Wake and stops being so with Drain.
int OpenWake();
void Wake(int descriptor);
void Drain(int descriptor);

/// The Winsock error of an errno.
int WinsockError(long error);

}  // namespace brivelnox::native::posix
