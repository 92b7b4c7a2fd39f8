#pragma once

// The least that can be called a registry service: one thread that answers one connection at a time. It holds
// nothing of the system but its sockets, so that tests can count what the provider holds.

#include <winsock2.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

namespace brivelnox::test {

/// Listens on 127.0.0.1 and publishes its port in the registry, as the running service does, until it is
/// destroyed.
class plain_service {
  public:
    /// Returns what is sent in answer to one message, nothing if it is empty. Called on the service's thread.
    using answer = std::function<std::string(const std::string& message)>;

    explicit plain_service(answer answer_to);
    ~plain_service();
    plain_service(const plain_service&) = delete;
    plain_service& operator=(const plain_service&) = delete;

    /// Sends bytes to the connection of the moment; without one they are lost.
    void Send(const std::string& bytes);

    /// How many connections have been accepted so far.
    [[nodiscard]] int Accepted() const { return accepted_.load(); }

    /// The request's `id` attribute; -1 where it has none.
    static int RequestId(const std::string& message);
    /// The text of an attribute in single quotes; empty where there is none.
    static std::string Attribute(const std::string& message, const std::string& name);

  private:
    void Run();
    void Serve(SOCKET connection);

    const answer answer_to_;
    SOCKET listener_ = INVALID_SOCKET;
    std::atomic<SOCKET> connection_{INVALID_SOCKET};
    std::atomic<bool> stopping_{false};
    std::atomic<int> accepted_{0};
    std::uint16_t port_ = 0;
    std::thread thread_;
};

}  // namespace brivelnox::test
