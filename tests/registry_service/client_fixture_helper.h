#pragma once

// A client with an owner that writes down what it is told, a service that does what a test tells it, and the
// registry key and the log between them.

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "registry_service/rs_tsp_client.h"
#include "tests/registry_service/loopback_server_helper.h"
#include "tests/registry_service/service_key_helper.h"
#include "tests/support/process_log.h"
#include "tests/support/settable_function.h"
#include "tests/support/signal.h"

namespace brivelnox::test {

/// Writes down every event as a line of text: the operation, then what it was given.
class recording_handler : public registry_service_event_handler {
  public:
    /// Called for each event after it was noted, on the thread that brings it.
    settable_function<const std::string&> on_event;

    [[nodiscard]] std::vector<std::string> Events() const;
    /// Until there are as many events; returns them. What comes in time, when that is less.
    [[nodiscard]] std::vector<std::string> WaitForEvents(std::size_t count) const;
    [[nodiscard]] std::vector<client_call_state> CallStates() const;
    /// The threads that have brought events, without repetition.
    [[nodiscard]] std::vector<std::thread::id> Threads() const;

    void OnRegistrationList(const client_registration_list& registrations, bool initial) override;
    void OnClientRegistered(const client_registration& registration) override;
    void OnClientRefreshed(const client_registration& registration) override;
    void OnClientUnregistered(const client_registration& registration) override;
    void OnCallState(std::int32_t permanent_line_id, const client_call_state& state) override;
    void OnCallRemoved(std::int32_t permanent_line_id, const char* client_call_id) override;

  private:
    void Note(const std::string& event);

    mutable std::mutex lock_;
    mutable std::condition_variable more_;
    std::vector<std::string> events_;
    std::vector<client_call_state> call_states_;
    std::vector<std::thread::id> threads_;
};

/// "17 Alice 5060 1 0": line, name, port, connected to the service, registered.
std::string ToText(const client_registration& registration);
/// The entries, each in brackets.
std::string ToText(const client_registration_list& registrations);

/// What the line manager is in the product: the handler that owns its client.
struct client_owner {
    explicit client_owner(const rs_tsp_client_timing& timing) : client(handler, timing) {}
    ~client_owner() {
        client.Stop();
        if (on_destroyed) {
            on_destroyed();
        }
    }

    std::function<void()> on_destroyed;
    recording_handler handler;
    rs_tsp_client client;
};

/// The client's own waits, but for the timer, which ticks only when a test calls it.
inline constexpr rs_tsp_client_timing kNoTicks = {.keep_alive_period = 3600 * 1000};

class rs_tsp_client_fixture : public testing::Test {
  protected:
    ~rs_tsp_client_fixture() override;

    /// Makes the client, idle.
    void Make(const rs_tsp_client_timing& timing = kNoTicks);
    /// Makes the client and starts it.
    void Start(const rs_tsp_client_timing& timing = kNoTicks);
    /// Publishes the service, makes and starts the client, and returns the service's end of its connection.
    server_connection StartConnected(const rs_tsp_client_timing& timing = kNoTicks);
    /// Ends the connection on the service's side and waits until the client has noticed.
    void Disconnect(server_connection& service);

    /// Hands the client a received message, as the link's reader would, on this thread.
    void Receive(const std::string& message);

    [[nodiscard]] rs_tsp_client& Client() { return owner_->client; }
    /// Has the client send a request about a call. Returns whether it was sent.
    bool Send(const call_request& request, std::int32_t permanent_line_id, const std::string& argument,
              const std::string& second_argument = {}) {
        return Client().SendCallRequest(request, permanent_line_id, argument, second_argument);
    }
    [[nodiscard]] recording_handler& Handler() { return owner_->handler; }
    /// What the client has logged.
    [[nodiscard]] std::vector<std::string> Logged() const { return log_.Texts("RsTspClient"); }

    log_reader log_ = StartProcessLog();
    service_key key_;
    loopback_server server_;
    std::shared_ptr<client_owner> owner_;
};

}  // namespace brivelnox::test
