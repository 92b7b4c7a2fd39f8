#pragma once

#include <winsock2.h>
#include <windows.h>

#include <atomic>
#include <cstddef>
#include <optional>

#include "platform/locks.h"
#include "platform/unique_handle.h"

namespace brivelnox {

/// One TCP connection of the link: its socket, the network event bound to it and its reader thread. The link
/// and the reader share it, so that a reader which outlives its connection keeps something valid to look at
/// and can neither read nor close the connection that came after.
///
/// All operations may be called on any thread. A small lock of its own guards the socket: every Winsock call
/// on it is non-blocking and short, and once Close has returned nothing uses the socket's number again. The
/// same lock keeps requests that several threads send at once from being torn or mixed, and from failing only
/// because another thread was sending.
class link_connection {
  public:
    /// Takes over a connected socket and an auto-reset event.
    link_connection(unique_socket socket, unique_event network_event);
    link_connection(const link_connection&) = delete;
    link_connection& operator=(const link_connection&) = delete;

    /// Starts the reader thread. Returns false when the system has none to give.
    [[nodiscard]] bool StartReader(LPTHREAD_START_ROUTINE reader, void* argument);

    /// Binds the network event to arriving data and to the peer's closing, which also makes the socket
    /// non-blocking. Returns false when that fails or the connection is closed.
    [[nodiscard]] bool SelectEvents();

    /// Waits until the network event is signalled. Returns false when the reader is to end: the connection
    /// has been closed, or the wait has failed.
    [[nodiscard]] bool WaitForEvent() const;

    /// The events that have come (FD_READ, FD_CLOSE); nothing when they cannot be read.
    [[nodiscard]] std::optional<long> TakeEvents();

    /// Receives at most `size` bytes. Returns their number, 0 when the peer has shut down, or SOCKET_ERROR;
    /// data that turn out not to be there yet are not an error and give nothing.
    [[nodiscard]] std::optional<int> Receive(char* bytes, int size);

    /// Sends the bytes with one call. A short send counts as success. Returns false when the call fails or
    /// the connection is closed.
    [[nodiscard]] bool Send(const char* bytes, std::size_t length);

    /// Closes the socket and wakes the reader, which then ends. Idempotent.
    void Close();

    /// Whether Close has been called.
    [[nodiscard]] bool IsClosed() const { return closed_.load(); }

    /// Waits for the end of the reader thread, at most 5000 ms.
    void WaitForReader() const;

  private:
    std::atomic<bool> closed_{false};
    const unique_event network_event_;
    // Deliberately no owner: the handle of a reader thread is never closed.
    std::atomic<HANDLE> reader_{nullptr};
    mutex socket_lock_;
    unique_socket socket_ BRIVELNOX_GUARDED_BY(socket_lock_);
};

}  // namespace brivelnox
