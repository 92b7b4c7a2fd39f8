#pragma once

// A service for the link to connect to: plain sockets on 127.0.0.1 that do exactly what a test tells them.

#include <windows.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/unique_handle.h"
#include "tests/support/signal.h"

namespace brivelnox::test {

/// The service's end of one connection. One thread at a time.
class server_connection {
  public:
    explicit server_connection(unique_socket socket);

    /// Sends all of it.
    void Send(std::string_view bytes);
    /// Waits until as many bytes have come and returns them; what has come, when the time is over or the peer
    /// has closed.
    std::string Receive(std::size_t length, std::chrono::milliseconds timeout = kSoon);
    /// Waits for bytes up to and including the text.
    std::string ReceiveThrough(std::string_view text, std::chrono::milliseconds timeout = kSoon);
    /// Whether the peer has closed: waits for that, and drops what it has sent before.
    bool WaitForPeerToClose(std::chrono::milliseconds timeout = kSoon);
    /// What has arrived and was not taken yet, without waiting.
    std::string ReceiveAvailable();

    /// Closes as usual: the peer reads what was sent and then the end.
    void Close() { socket_.reset(); }
    /// Breaks the connection: the peer's next send and receive fail.
    void Reset();

  private:
    /// Takes in what arrives until `done` or the deadline. Returns false when the peer has closed.
    template <class Done>
    bool ReceiveUntil(std::chrono::milliseconds timeout, Done done);
    std::string Take(std::size_t length);

    unique_socket socket_;
    std::string received_;
    bool peer_closed_ = false;
};

/// Listens on a port of 127.0.0.1.
class loopback_server {
  public:
    /// Port 0: one that is free. Another one may be held by a test that runs beside this one; it is waited
    /// for.
    explicit loopback_server(std::uint16_t port = 0);

    [[nodiscard]] std::uint16_t Port() const { return port_; }

    /// Waits for the next connection; nothing when none comes in time.
    std::optional<server_connection> TryAccept(std::chrono::milliseconds timeout);
    /// As TryAccept, but a connection that does not come fails the test.
    server_connection Accept();
    /// Whether somebody has connected and was not accepted yet.
    bool HasWaitingConnection();

    /// Listens no more: connections to the port are refused.
    void Stop() { socket_.reset(); }

  private:
    unique_socket socket_;
    std::uint16_t port_ = 0;
};

/// A port on which nobody listens.
std::uint16_t UnusedPort();

}  // namespace brivelnox::test
