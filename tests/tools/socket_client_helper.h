#pragma once

// The provider's end of the wire, as plainly as possible.

#include <windows.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/unique_handle.h"

namespace brivelnox::test {

/// A blocking TCP client of 127.0.0.1. For one thread.
class socket_client {
  public:
    enum class end { kOpen, kClosed, kReset };

    /// Connects; Connected() tells whether that went well.
    explicit socket_client(std::uint16_t port);

    [[nodiscard]] bool Connected() const { return connected_; }
    /// Sends everything. Returns false when the connection is broken.
    bool Send(std::string_view bytes);
    /// Sends until nothing more is taken within the time. Returns how many bytes were taken.
    std::size_t SendUntilFull(std::size_t most, std::chrono::milliseconds patience);
    /// Whatever has arrived until `text` has, `size` bytes have, the connection ends, or the time is over.
    std::string ReceiveUntil(std::string_view text, std::chrono::milliseconds timeout);
    std::string ReceiveBytes(std::size_t size, std::chrono::milliseconds timeout);
    /// Waits for the end of the connection, dropping what arrives before it.
    end WaitForEnd(std::chrono::milliseconds timeout);
    void Close() { socket_.reset(); }

  private:
    /// One recv. Returns false at the end or when the time is over.
    bool Receive(std::string& into, std::chrono::steady_clock::time_point deadline);

    unique_socket socket_;
    bool connected_ = false;
    end end_ = end::kOpen;
};

}  // namespace brivelnox::test
