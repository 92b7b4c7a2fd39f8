#pragma once

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/locks.h"
#include "registry_service/link_connection.h"
#include "registry_service/receive_buffer.h"

namespace tinyxml2 {
class XMLElement;
}

/// The transport under the registry-service client: one TCP connection to 127.0.0.1, a reader thread that
/// finds and parses messages, and a send operation. It never reconnects by itself: it only closes, and its
/// owner notices.
///
/// Threads: the reader thread delivers messages; any thread may open, close and send. The link's lock is held
/// while a message is handled (OnMessage), so it serialises handlers, opening, and the buffer. Closing and
/// sending never wait for that lock: a thread that holds a lock which a handler is waiting for must be able
/// to send, and a failed send must be able to close, without either waiting for the other.
///
/// Life: the link is part of something that is held by std::shared_ptr (the owner, see SetOwner). While it
/// handles what has arrived, the reader holds the owner too. An owner that is given up while a handler is
/// still busy is therefore freed when that handler returns, on the reader thread.
class tcp_link {
  public:
    tcp_link() = default;
    tcp_link(const tcp_link&) = delete;
    tcp_link& operator=(const tcp_link&) = delete;
    /// Closes, waiting for the reader.
    virtual ~tcp_link();

    /// Names the object that keeps this link alive. Needed once, before the first OpenLink.
    void SetOwner(std::weak_ptr<void> owner) { owner_ = std::move(owner); }

    /// Closes the previous connection, waiting for its reader, and connects to the port on 127.0.0.1; blocks
    /// as long as the system's connect does. Returns true when connected and the reader runs; false after any
    /// failure and once the link is closed for good. Takes the link's lock.
    bool OpenLink(std::uint16_t port);

    /// Closes the connection and forgets what was received. With `wait_for_reader` it returns when the reader
    /// has ended, after 5000 ms at the latest. Idempotent.
    void CloseLink(bool wait_for_reader);

    /// Sends a null-terminated text with one call, as a whole. A failed send closes the link. Returns whether
    /// the call succeeded; false at once when there is no connection. Takes no lock of the link's and may be
    /// called with any lock held that a handler uses: it does not wait for a handler that is running on the
    /// reader thread. On the reader thread itself a failed send takes the whole 5000 ms of the wait for the
    /// reader.
    bool SendText(const char* text);

    /// Takes in a received chunk and delivers every message that is complete with it. What
    /// the reader thread does with each. Takes the link's lock.
    void Feed(const char* data, std::size_t length);

    /// Whether there is a connection, as far as is known: only a failed send, a receive error and the peer's
    /// closing end it.
    [[nodiscard]] bool IsConnected() const;

  protected:
    /// Called for each message with its first child element; on the reader thread, with the link's lock held.
    virtual void OnMessage(const tinyxml2::XMLElement& message);
    /// Called by the reader thread after a receive error has closed the link.
    virtual void OnReceiveError();
    /// Called by the reader thread after the peer's closing has closed the link.
    virtual void OnDisconnected();

    /// As CloseLink, waiting; no connection is opened afterwards.
    void CloseForGood();

  private:
    using connection_ptr = std::shared_ptr<brivelnox::link_connection>;
    struct reader_start;
    enum class reader_wait { none, while_no_handler_runs, always };
    enum class framing_result { succeeded, failed, no_start_tag };

    static DWORD WINAPI ReaderThread(void* argument);
    static void RunReader(const reader_start& start);
    [[nodiscard]] bool ServeReader(const connection_ptr& connection);
    [[nodiscard]] bool ReadChunk(const connection_ptr& connection, bool& peer_closed);

    [[nodiscard]] connection_ptr Connect(std::uint16_t port);
    [[nodiscard]] bool Publish(const connection_ptr& connection);
    [[nodiscard]] connection_ptr CurrentConnection() const;
    [[nodiscard]] bool IsClosedForGood() const;
    void CloseConnection(const connection_ptr& connection, reader_wait wait);

    void FeedLocked(const char* data, std::size_t length, std::uint32_t closes) BRIVELNOX_REQUIRES(lock_);
    framing_result RunFraming(const char* data, std::size_t length, std::uint32_t closes)
        BRIVELNOX_REQUIRES(lock_);
    [[nodiscard]] bool Deliver(std::string_view message);

    static constexpr DWORD kLockSpinCount = 1024;

    std::weak_ptr<void> owner_;
    // Counts the closes of the current connection, so that a framing loop sees that the link was closed under
    // it. A connection that is no longer the current one is closed without being counted: the messages of its
    // successor are not its business.
    std::atomic<std::uint32_t> closes_{0};
    brivelnox::critical_section lock_{kLockSpinCount, brivelnox::lock_rank::link};
    // Deliberately never freed.
    brivelnox::receive_buffer* const buffer_ BRIVELNOX_GUARDED_BY(lock_) = new brivelnox::receive_buffer;
    // Guards only the pointer and the flag; never held while waiting or calling out.
    mutable brivelnox::mutex connection_lock_;
    connection_ptr connection_ BRIVELNOX_GUARDED_BY(connection_lock_);
    bool closed_for_good_ BRIVELNOX_GUARDED_BY(connection_lock_) = false;
};
