#pragma once

// One accepted connection of the service: a thread that receives and sends, with a queue of what is to be
// sent.

#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "platform/unique_handle.h"
#include "tools/service_simulator/request_parser.h"
#include "tools/service_simulator/wire_log.h"

namespace brivelnox::simulator {

/// How a connection is ended by the service.
enum class drop_kind {
    kGraceful,  ///< an orderly close: the provider receives everything sent before it
    /// A reset (RST): what the provider has not read yet may be lost, and its next send fails. Wine puts an
    /// orderly end before it, so that a provider that reads at the right moment sees that first.
    kReset,
};

class connection {
  public:
    /// All of them are called on the connection's thread, without any lock of the connection's. None may
    /// destroy the connection or wait for it.
    struct callbacks {
        /// A message, or a run of stray bytes, has been received.
        std::function<void(connection&, const std::string&)> on_message;
        /// The queue has become empty.
        std::function<void()> on_drained;
        /// The connection is closed; this is the thread's last act.
        std::function<void()> on_closed;
    };

    /// Takes over a connected socket and starts the thread, which reads only once reading is not paused.
    connection(std::size_t number, unique_socket socket, bool reading_paused, wire_log& log,
               callbacks handlers);
    /// As DropNow(kGraceful) and Join().
    ~connection();
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;

    /// 1 for the first connection that the simulator accepted, then 2, 3, ...
    [[nodiscard]] std::size_t Number() const { return number_; }

    /// Queues bytes for sending, after a pause counted from when everything before them has been sent. They
    /// are handed to the socket as one send, or as several when the socket takes only a part. Lost if the
    /// connection is closed.
    void Send(std::string bytes, std::chrono::milliseconds pause = {});

    /// Queues the end of the connection behind everything queued so far.
    void SendThenDrop(drop_kind kind);
    /// Ends the connection now; what is queued is not sent.
    void DropNow(drop_kind kind);
    /// Waits for the connection's thread, which ends when the connection does. Not for the connection's own
    /// thread.
    void Join();

    /// While paused nothing is read from the socket, so that the provider's send buffer fills up. From the
    /// moment the call returns no byte is read until reading is resumed.
    void PauseReading();
    void ResumeReading();

    [[nodiscard]] bool Closed() const { return closed_; }
    /// Whether everything queued has been handed to the socket.
    [[nodiscard]] bool Drained() const;

  private:
    struct outgoing {
        std::string bytes;
        std::chrono::milliseconds pause{};
        std::optional<drop_kind> drop;
    };
    enum class progress { kNone, kSome, kClosed };

    void Run();
    progress Receive();
    progress Transmit();
    bool FrontIsDue(std::string* to_report, std::optional<drop_kind>* drop);
    progress SendFront();
    [[nodiscard]] DWORD WaitTime() const;
    [[nodiscard]] std::optional<drop_kind> DropRequested() const;
    void Enqueue(outgoing item);
    void Close(drop_kind kind, std::string_view why);

    const std::size_t number_;
    wire_log& log_;
    const callbacks handlers_;
    unique_socket socket_;
    unique_event network_event_;
    unique_event wake_event_;
    std::atomic<bool> closed_{false};
    message_splitter splitter_;

    mutable std::mutex mutex_;  // guards what follows, and the reading from the socket
    std::deque<outgoing> queue_;
    std::size_t sent_of_front_ = 0;
    bool front_reported_ = false;
    std::optional<std::chrono::steady_clock::time_point> front_due_;
    bool send_blocked_ = false;
    std::optional<drop_kind> drop_now_;
    bool reading_paused_ = false;

    std::mutex join_mutex_;
    std::thread thread_;  // last: it uses everything above
};

}  // namespace brivelnox::simulator
