#pragma once

// The registry service's side of the connection, as little of it as the line manager needs.

#include <windows.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/unique_handle.h"

namespace brivelnox::test {

// Messages of the service. Values are inserted as they are.

/// One `Registration` element.
std::string RegistrationElement(std::int32_t permanent_line_id, const std::string& name,
                                std::uint32_t port = 5060, bool client_connected = true,
                                bool sip_connected = true);
/// The answer to a list request, with the `Registration` elements.
std::string ListAnswer(std::int32_t request_id, const std::string& registrations);
std::string RegistrationChanged(const std::string& reason, const std::string& registration);
std::string CallStateEvent(std::int32_t permanent_line_id, const std::string& id, const std::string& state);
std::string CallRemovedEvent(std::int32_t permanent_line_id, const std::string& id);
/// The text of a list request.
std::string ListRequest(std::int32_t request_id);

/// Listens on 127.0.0.1, one connection at a time, and keeps what arrives. Answers list requests by itself.
/// All operations may be called on any thread.
class loopback_service {
  public:
    using milliseconds = std::chrono::milliseconds;

    /// Listens on a free port and publishes it in the registry.
    loopback_service();
    /// Closes everything and removes the registry key.
    ~loopback_service();
    loopback_service(const loopback_service&) = delete;
    loopback_service& operator=(const loopback_service&) = delete;

    /// Where it listens.
    [[nodiscard]] std::uint16_t Port() const { return port_; }

    /// What list requests are answered with, in turn; the last one is kept for all that follow.
    void SetLists(std::deque<std::string> registrations);
    /// Whether list requests are answered; they are to begin with.
    void SetAnswersLists(bool answers) { answers_lists_ = answers; }
    /// What is sent to a connection as soon as it is there.
    void SetGreeting(const std::string& messages);
    /// What is sent before the answer to the first list request, in one piece with it.
    void SetBeforeFirstList(const std::string& messages);

    /// Sends to the connection; lost without one.
    void Send(const std::string& messages);
    /// Ends the connection.
    void Drop();

    /// Everything received so far, keep-alives left out.
    [[nodiscard]] std::vector<std::string> Requests() const;
    /// Until at least so many have been received. Returns false when the time is over first.
    bool WaitForRequests(std::size_t count, milliseconds timeout) const;

  private:
    void Run();
    void Accept();
    void Receive();
    void SplitMessages();
    void OnRequest(const std::string& request);
    [[nodiscard]] std::string NextList();

    unique_event stop_{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    unique_event listener_event_{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    unique_event connection_event_{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    unique_socket listener_;
    std::uint16_t port_ = 0;
    std::string received_;  // only the service's own thread
    std::atomic<bool> answers_lists_{true};

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    unique_socket connection_;
    std::deque<std::string> lists_{std::string()};
    std::string greeting_;
    std::string before_first_list_;
    std::vector<std::string> requests_;

    std::thread thread_;
};

}  // namespace brivelnox::test
