#pragma once

// Stands in for TspRegistryService: a TCP server on 127.0.0.1 that publishes its port in the registry,
// answers the provider's requests, plays softphones and can be told to misbehave.
//
// Every operation is thread-safe and may be called from any thread, also from several at once, except where
// said. No operation blocks on the network: what is to be sent is queued and sent by the connection's own
// thread. Operations named Wait... return at once when their condition holds, otherwise as soon as it does,
// and false (or nothing) when the given time is over first.

#include <winsock2.h>
#include <windows.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/unique_handle.h"
#include "tools/service_simulator/connection.h"
#include "tools/service_simulator/registry_publication.h"
#include "tools/service_simulator/request_parser.h"
#include "tools/service_simulator/service_messages.h"
#include "tools/service_simulator/softphone.h"
#include "tools/service_simulator/wire_log.h"

namespace brivelnox::simulator {

/// One message that the service received.
struct received_message {
    std::size_t index = 0;       ///< counts from 0 over the simulator's life
    std::size_t connection = 0;  ///< 1 for the first connection accepted, then 2, 3, ...
    std::string text;            ///< exactly as it came
    request parsed;              ///< kMalformed for anything that is not exactly a request
    std::chrono::steady_clock::time_point time;
};

/// When a request that has an answer is answered.
enum class answer_policy {
    kAtOnce,    ///< on receipt, after the delay given with the policy
    kNever,     ///< never
    kOnDemand,  ///< when AnswerPending is called
};

/// How a change of the softphones is told to the provider.
enum class announcement {
    kEvent,   ///< by a RegistrationChanged event
    kSilent,  ///< not at all: it shows in the next registration list
};

class service_simulator {
  public:
    using message_predicate = std::function<bool(const received_message&)>;
    using milliseconds = std::chrono::milliseconds;

    /// Starts Winsock. Nothing listens yet.
    service_simulator();
    /// Stop(), then removes the registry key if this simulator wrote it.
    ~service_simulator();
    service_simulator(const service_simulator&) = delete;
    service_simulator& operator=(const service_simulator&) = delete;

    // --- Listening and the registry.

    /// Listens on 127.0.0.1 at the port, 0 for any free one. Does nothing if it listens already. Raises
    /// std::system_error when the port cannot be had. The registry is not touched.
    void Start(std::uint16_t port = 0);
    /// Stops listening, drops every connection gracefully (what is queued is not sent) and waits for their
    /// threads. The registry, the softphones and the record of messages stay. Must not be called from an
    /// observer.
    void Stop();
    /// Stop(), then Start() on another port than before; publishes it if the registry was published.
    void Restart();
    /// Stops listening only: connections that exist go on, new ones are refused. Start listens again, on any
    /// port.
    void StopListening();
    [[nodiscard]] bool Listening() const;
    /// The port listened on, 0 if none.
    [[nodiscard]] std::uint16_t Port() const;

    /// Writes UpAndRunning 1 and the port to the registry, as the running service does.
    void Publish();
    /// Removes the registry key.
    void Unpublish();
    /// For other contents of the registry. Not to be used by two threads at once.
    registry_publication& Publication() { return publication_; }

    // --- Connections. Events go to every open connection; a response goes to the one that asked.

    /// How many connections have been accepted so far.
    [[nodiscard]] std::size_t AcceptedCount() const;
    [[nodiscard]] std::size_t OpenCount() const;
    /// Until at least `accepted` connections have been accepted in all.
    bool WaitForConnection(milliseconds timeout, std::size_t accepted = 1);
    /// Until no connection is open.
    bool WaitForNoConnection(milliseconds timeout);

    /// Gives up what is still held of connections that have ended, which otherwise happens with the next one:
    /// for whoever counts handles. Must not be called from an observer.
    void ForgetClosedConnections();

    /// Ends every open connection, behind what is queued for it or at once.
    void DropConnections(drop_kind kind);
    void DropConnectionsNow(drop_kind kind);
    /// For all open connections and for those to come; see connection.
    void PauseReading();
    void ResumeReading();
    /// The size of the receive buffer of connections accepted after the next Start (SO_RCVBUF); 0 leaves the
    /// system's own. A small one lets a provider that is not read from run into a full send buffer soon.
    void SetReceiveBufferSize(int bytes);

    // --- What was received.

    /// How many messages have been received so far; the index of the next one.
    [[nodiscard]] std::size_t ReceivedCount() const;
    /// The messages from index `since` on that are still kept.
    [[nodiscard]] std::vector<received_message> Received(std::size_t since = 0) const;
    /// Only the messages of one kind.
    [[nodiscard]] std::vector<received_message> Received(request_kind kind, std::size_t since = 0) const;
    /// The first message from index `since` on that the predicate accepts.
    std::optional<received_message> WaitForMessage(const message_predicate& predicate, milliseconds timeout,
                                                   std::size_t since = 0);
    /// The first message of one kind from index `since` on.
    std::optional<received_message> WaitForRequest(request_kind kind, milliseconds timeout,
                                                   std::size_t since = 0);
    /// Keeps only the newest `count` messages from now on (their indexes go on counting); 0 keeps all.
    void LimitReceived(std::size_t count);

    /// Watches the wire; see wire_log.
    void SetWireObserver(wire_observer observer);

    // --- Answers.

    /// For GetClientRegistrations and KeepAlive; both are answered at once to begin with. A delay counts from
    /// the receipt and holds back what is sent after it on that connection.
    void SetListAnswer(answer_policy policy, milliseconds delay = {});
    void SetKeepAliveAnswer(answer_policy policy, milliseconds delay = {});
    /// Answers the requests held back by kOnDemand, oldest first, with the registrations as they are now.
    /// Returns how many were answered.
    std::size_t AnswerPending();
    [[nodiscard]] std::size_t PendingCount() const;

    // --- Softphones.

    /// Registers a softphone, or replaces the registration of the one that has its permanentLineId (it then
    /// keeps its calls, and the event's reason is "refreshed"). Returns it.
    std::shared_ptr<softphone> AddSoftphone(const registration& subject,
                                            announcement how = announcement::kEvent);
    /// Changes a registration that exists; the event's reason is the one given. Returns false if there is
    /// none.
    bool ChangeSoftphone(const registration& subject, registration_change reason,
                         announcement how = announcement::kEvent);
    /// Takes a softphone off the list. Its calls are forgotten without a word, as when its process is gone.
    /// The event carries the registration with port 0 and both connections down. Returns false if there is
    /// none.
    bool RemoveSoftphone(std::int32_t permanent_line_id, announcement how = announcement::kEvent);
    /// The softphone, or null.
    [[nodiscard]] std::shared_ptr<softphone> FindSoftphone(std::int32_t permanent_line_id) const;
    /// Every registration in the order of registering.
    [[nodiscard]] std::vector<registration> Registrations() const;

    // --- Sending by hand, well or badly. All of it goes to every open connection; without one it is lost.

    /// One message, or several put together: sent in one piece.
    void Send(std::string bytes);
    /// The bytes cut into pieces of the given sizes, the last size repeating; each piece is its own send,
    /// with a pause before each piece but the first. Size 0 counts as 1.
    void SendSplit(const std::string& bytes, const std::vector<std::size_t>& sizes, milliseconds pause = {});
    /// Sends after a pause, and holds back what is sent after it.
    void SendLater(std::string bytes, milliseconds pause);
    /// A message that never ends: "<msg>" and then `size` bytes of text without an end tag, in pieces of 1024
    /// bytes.
    void SendEndless(std::size_t size);
    /// `size` bytes without any tag in them, zero bytes among them; the same bytes for the same seed.
    void SendGarbage(std::size_t size, std::uint32_t seed = 1);
    /// Until everything queued has been handed to the sockets (not: until it has been read).
    bool WaitUntilSent(milliseconds timeout);

  private:
    struct answer_rule {
        answer_policy policy = answer_policy::kAtOnce;
        milliseconds delay{};
    };
    struct softphone_entry {
        registration
            subject;  // kept here too, because a softphone's lock must not be taken inside the simulator's
        std::shared_ptr<softphone> phone;
    };
    struct pending_answer {
        std::size_t connection = 0;
        request asked;
    };
    using connection_list = std::vector<std::shared_ptr<connection>>;
    /// What a softphone sends through. Softphones may outlive the simulator; then there is nobody behind the
    /// gate.
    struct send_gate {
        std::mutex mutex;
        service_simulator* target = nullptr;
    };

    void AcceptLoop(SOCKET listener, HANDLE accepted);
    void Adopt(unique_socket socket);
    void StopListeningLocked();
    void CloseConnections();
    connection_list TakeClosedLocked();
    void OnMessage(connection& from, const std::string& text);
    void Notify();
    void Record(std::size_t connection_number, const std::string& text, request parsed,
                std::chrono::steady_clock::time_point time);
    void HandleAnswered(connection& from, const request& asked);
    void HandleCallRequest(const request& asked);
    void AnnounceLocked(registration_change reason, const registration& subject, announcement how);
    std::shared_ptr<softphone> MakeSoftphone(const registration& subject);
    [[nodiscard]] std::string AnswerTextLocked(const request& asked) const;
    [[nodiscard]] std::vector<registration> RegistrationsLocked() const;
    [[nodiscard]] connection_list OpenLocked() const;
    template <class Condition>
    bool WaitUntil(milliseconds timeout, Condition condition) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, timeout, condition);
    }

    wire_log log_;
    const std::shared_ptr<send_gate> gate_ = std::make_shared<send_gate>();
    registry_publication publication_;
    bool published_ = false;

    // Taken around starting and stopping, which have to wait for threads; never by those threads.
    std::mutex lifecycle_mutex_;
    unique_socket listener_;
    unique_event listener_event_;
    unique_event stop_event_;
    std::thread acceptor_;

    // Guards everything below. A connection's own lock may be taken inside it, a softphone's may not.
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::uint16_t port_ = 0;
    int receive_buffer_size_ = 0;
    bool reading_paused_ = false;
    std::size_t accepted_ = 0;
    connection_list connections_;
    std::deque<received_message> received_;
    std::size_t received_count_ = 0;
    std::size_t received_limit_ = 0;
    answer_rule list_answer_;
    answer_rule keep_alive_answer_;
    std::deque<pending_answer> pending_;
    std::map<std::int32_t, softphone_entry> softphones_;
    std::vector<std::int32_t> registration_order_;
};

}  // namespace brivelnox::simulator
