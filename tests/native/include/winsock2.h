#pragma once

#include <sys/select.h>

#include "api/types.h"

// TCP over IPv4. The functions have the names of POSIX functions and other types: no source that is compiled
// with this header includes the system's own socket headers.

using SOCKET = UINT_PTR;
using u_short = unsigned short;
using u_long = unsigned long;

#define INVALID_SOCKET (static_cast<SOCKET>(~SOCKET{0}))
#define SOCKET_ERROR (-1)

inline constexpr int AF_INET = 2;
inline constexpr int SOCK_STREAM = 1;
inline constexpr int IPPROTO_TCP = 6;
inline constexpr int TCP_NODELAY = 1;
inline constexpr int SOL_SOCKET = 0xFFFF;
inline constexpr int SO_REUSEADDR = 0x4;
inline constexpr int SO_LINGER = 0x80;
inline constexpr int SO_EXCLUSIVEADDRUSE = ~SO_REUSEADDR;
inline constexpr int SO_SNDBUF = 0x1001;
inline constexpr int SO_RCVBUF = 0x1002;
inline constexpr int SO_SNDTIMEO = 0x1005;
inline constexpr int SO_RCVTIMEO = 0x1006;
inline constexpr int SOMAXCONN = 0x7FFFFFFF;
inline constexpr int SD_RECEIVE = 0;
inline constexpr int SD_SEND = 1;
inline constexpr int SD_BOTH = 2;
inline constexpr int MSG_PEEK = 2;
inline constexpr long FIONREAD = 0x4004667F;
inline constexpr ULONG FIONBIO = 0x8004667E;
inline constexpr ULONG INADDR_ANY = 0;
inline constexpr ULONG INADDR_LOOPBACK = 0x7F000001;

inline constexpr int WSAEINTR = 10004;
inline constexpr int WSAEINVAL = 10022;
inline constexpr int WSAEWOULDBLOCK = 10035;
inline constexpr int WSAENOTSOCK = 10038;
inline constexpr int WSAEOPNOTSUPP = 10045;
inline constexpr int WSAEADDRINUSE = 10048;
inline constexpr int WSAECONNABORTED = 10053;
inline constexpr int WSAECONNRESET = 10054;
inline constexpr int WSAENOBUFS = 10055;
inline constexpr int WSAENOTCONN = 10057;
inline constexpr int WSAESHUTDOWN = 10058;
inline constexpr int WSAETIMEDOUT = 10060;
inline constexpr int WSAECONNREFUSED = 10061;
inline constexpr int WSANOTINITIALISED = 10093;

struct in_addr {
    ULONG s_addr;
};

struct sockaddr {
    u_short sa_family;
    char sa_data[14];
};

struct sockaddr_in {
    short sin_family;
    u_short sin_port;
    in_addr sin_addr;
    char sin_zero[8];
};

struct linger {
    u_short l_onoff;
    u_short l_linger;
};

struct WSADATA {
    WORD wVersion;
    WORD wHighVersion;
};

constexpr u_short htons(u_short value) {
    return static_cast<u_short>((value >> 8) | (value << 8));
}
constexpr u_short ntohs(u_short value) {
    return htons(value);
}
constexpr ULONG htonl(ULONG value) {
    return (value >> 24) | ((value >> 8) & 0xFF00) | ((value << 8) & 0xFF0000) | (value << 24);
}
constexpr ULONG ntohl(ULONG value) {
    return htonl(value);
}

/// Sockets can only be made between a successful start and its cleanup.
int WSAStartup(WORD version, WSADATA* data);
int WSACleanup();
/// The last error of the calling thread; the same as GetLastError.
int WSAGetLastError();
void WSASetLastError(int error);

SOCKET socket(int family, int type, int protocol);
int closesocket(SOCKET socket);
int connect(SOCKET socket, const sockaddr* address, int length);
int bind(SOCKET socket, const sockaddr* address, int length);
int listen(SOCKET socket, int backlog);
SOCKET accept(SOCKET socket, sockaddr* address, int* length);
int send(SOCKET socket, const char* bytes, int size, int flags);
int recv(SOCKET socket, char* bytes, int size, int flags);
int shutdown(SOCKET socket, int how);
int getsockname(SOCKET socket, sockaddr* address, int* length);
/// Knows FIONREAD, which tells how many bytes there are to receive, and FIONBIO, which makes calls not wait.
int ioctlsocket(SOCKET socket, long command, u_long* argument);
int setsockopt(SOCKET socket, int level, int name, const char* value, int length);

// The set of sockets is another than the system's, whose name it has to take.
#undef FD_ZERO
#undef FD_SET
#undef FD_ISSET
#define FD_SETSIZE_NATIVE 64
struct native_fd_set {
    UINT fd_count;
    SOCKET fd_array[FD_SETSIZE_NATIVE];
};
#define fd_set native_fd_set

inline void FD_ZERO(fd_set* set) {
    set->fd_count = 0;
}
inline void FD_SET(SOCKET socket, fd_set* set) {
    set->fd_array[set->fd_count++] = socket;
}
bool FD_ISSET(SOCKET socket, const fd_set* set);
/// Waits for sockets to become readable only.
int select(int ignored, fd_set* readable, fd_set* writable, fd_set* failed, const timeval* timeout);

inline constexpr long FD_READ = 0x1;
inline constexpr long FD_WRITE = 0x2;
inline constexpr long FD_ACCEPT = 0x8;
inline constexpr long FD_CLOSE = 0x20;
inline constexpr int FD_READ_BIT = 0;
inline constexpr int FD_WRITE_BIT = 1;
inline constexpr int FD_ACCEPT_BIT = 3;
inline constexpr int FD_CLOSE_BIT = 5;
inline constexpr int FD_MAX_EVENTS = 10;

struct WSANETWORKEVENTS {
    long lNetworkEvents;
    int iErrorCode[FD_MAX_EVENTS];
};

/// Makes the socket non-blocking. An event is recorded, and the event object signalled, once; FD_READ again
/// only after recv, FD_WRITE after a send that would have blocked, FD_ACCEPT after accept, FD_CLOSE never.
/// FD_CLOSE comes when everything that arrived before an orderly end has been received.
int WSAEventSelect(SOCKET socket, HANDLE event, long events);
int WSAEnumNetworkEvents(SOCKET socket, HANDLE event, WSANETWORKEVENTS* events);
