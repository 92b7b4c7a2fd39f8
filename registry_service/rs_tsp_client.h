#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/locks.h"
#include "platform/unique_handle.h"
#include "registry_service/call_requests.h"
#include "registry_service/client_records.h"
#include "registry_service/keep_alive_timer.h"
#include "registry_service/registry_service_event_handler.h"
#include "registry_service/tcp_link.h"

namespace brivelnox {

/// The waits of the client, in milliseconds. The product uses the values given here.
struct rs_tsp_client_timing {
    DWORD list_wait = 20000;          // a waiting list request
    DWORD keep_alive_period = 30000;  // keep-alive and reconnection
};

/// The provider's client of the local registry service: finds the service's port in the registry, connects,
/// keeps the connection alive, reconnects with a timer, keeps the last registration list, sends requests and
/// passes every event and response to one handler.
///
/// Threads: the owner's (construction, start, list requests, stop), TAPI's (call requests), a timer-queue
/// thread (keep-alive, reconnection), and the link's reader thread, on which the handler is called with the
/// link's lock held.
///
/// The client is part of an object that is held by std::shared_ptr. It is constructed idle and connects with
/// Start, so that no other thread ever meets a half-built owner.
class rs_tsp_client final : public tcp_link, public call_requests {
  public:
    /// The handler must live as long as the client. Connects to nothing yet.
    explicit rs_tsp_client(registry_service_event_handler& handler, const rs_tsp_client_timing& timing = {});
    /// Stops.
    ~rs_tsp_client() override;

    /// Connects, without asking for the list, and starts the keep-alive timer. `owner` is what keeps the
    /// handler and this client alive: the reader and the timer hold it while they work. Call once.
    void Start(const std::weak_ptr<void>& owner);

    /// Stops the timer, then closes the link for good. Waits at most 10000 ms for a running tick, as long
    /// again for the timer queue, and 5000 ms for the reader. Idempotent. Must not be called with a lock held
    /// that a handler takes, nor from a handler.
    void Stop();

    /// Asks for the registration list. When waiting, waits at most 20000 ms for an answer and returns the
    /// list stored then, arrived or not; otherwise returns an empty list at once, and the answer reaches
    /// OnRegistrationList. Not to be called waiting on the reader thread, whose list would never arrive.
    client_registration_list RequestClientRegistrations(bool wait);

    /// Reads the service's state and port from the registry and connects, if the service is running. With
    /// `send_list` a new connection asks for the list, without waiting.
    void ConnectToService(bool send_list);

    /// What the timer does: a keep-alive when connected, otherwise a new connection. Any thread but the
    /// reader.
    void KeepAliveTick();

    bool SendCallRequest(const call_request& request, std::int32_t permanent_line_id,
                         const std::string& argument, const std::string& second_argument) override;

  private:
    using payload_handler = void (rs_tsp_client::*)(const tinyxml2::XMLElement& payload, std::int32_t id);
    struct payload_row;

    void OnMessage(const tinyxml2::XMLElement& message) override;
    void OnRegistrationChanged(const tinyxml2::XMLElement& payload, std::int32_t id);
    void OnCallState(const tinyxml2::XMLElement& payload, std::int32_t id);
    void OnCallRemoved(const tinyxml2::XMLElement& payload, std::int32_t id);
    void OnRegistrationList(const tinyxml2::XMLElement& payload, std::int32_t id);
    void OnKeepAlive(const tinyxml2::XMLElement& payload, std::int32_t id);

    /// Formats a request and sends it; one of more than 1023 bytes is not sent. Returns whether it was.
    [[gnu::format(printf, 2, 3)]] bool SendRequest(const char* format, ...);
    [[nodiscard]] std::int32_t NextRequestId();

    registry_service_event_handler& handler_;
    const rs_tsp_client_timing timing_;
    const unique_event list_arrived_;
    mutex list_lock_;
    client_registration_list registrations_ BRIVELNOX_GUARDED_BY(list_lock_);
    std::atomic<std::uint32_t> keep_alive_counter_{1};
    std::atomic<std::int32_t> request_counter_{1};
    // Recorded only, never compared: a link counts as dead only when its socket is gone.
    std::atomic<std::uint32_t> last_keep_alive_sent_{0};
    std::atomic<std::uint32_t> last_keep_alive_answered_{0};
    keep_alive_timer timer_;
};

}  // namespace brivelnox
