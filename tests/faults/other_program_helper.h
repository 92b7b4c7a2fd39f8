#pragma once

// Programs on this machine that have nothing to do with the service, and have the port that the provider
// connects to.

#include <winsock2.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "platform/unique_handle.h"

namespace brivelnox::test {

/// Listens on a free port of 127.0.0.1 while it lives, and treats one connection after another. Winsock has
/// to be started already.
class other_program {
  public:
    /// What becomes of a connection before it is closed. Called on the program's own thread.
    using treatment = std::function<void(SOCKET connection)>;

    explicit other_program(treatment treat);
    ~other_program();
    other_program(const other_program&) = delete;
    other_program& operator=(const other_program&) = delete;

    [[nodiscard]] std::uint16_t Port() const { return port_; }
    /// How many connections it has taken.
    [[nodiscard]] int Accepted() const { return accepted_.load(); }

  private:
    void Run();

    const treatment treat_;
    std::uint16_t port_ = 0;
    unique_socket listener_;
    std::atomic<bool> stopping_{false};
    std::atomic<int> accepted_{0};
    std::thread thread_;
};

/// What arrives first on the connection; empty when it ends before.
std::string ReceiveSome(SOCKET connection);
void SendAll(SOCKET connection, const std::string& bytes);

/// A port on which nobody listens.
std::uint16_t PortOfNobody();

}  // namespace brivelnox::test
