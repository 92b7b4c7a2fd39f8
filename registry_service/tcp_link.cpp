#include "registry_service/tcp_link.h"

#include <winsock2.h>
#include <windows.h>
#include <ws2tcpip.h>

#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include <tinyxml2.h>

#include "logging/category_log.h"
#include "platform/module_pin.h"
#include "platform/unique_handle.h"
#include "registry_service/parse_cost.h"

namespace {

using brivelnox::link_connection;
using brivelnox::lock_guard;
using brivelnox::unique_event;
using brivelnox::unique_socket;

constexpr brivelnox::category_log Log{L"TcpLink"};

constexpr char kServiceAddress[] = "127.0.0.1";
constexpr int kChunkSize =
    1047;  // the chunk's buffer has one byte more, so that it always ends with a zero byte

/// Starts Winsock 2.2 once per process. A failed start is not reported: it is tried again with the next
/// connection, and without it the socket calls fail.
void StartWinsock() {
    static brivelnox::mutex start_lock;
    static bool started = false;
    const WORD version = MAKEWORD(2, 2);

    const lock_guard guard(start_lock);
    WSADATA data = {};
    if (started || WSAStartup(version, &data) != 0) {
        return;
    }
    started = data.wVersion == version;
    if (!started) {
        (void)WSACleanup();
    }
}

}  // namespace

/// What a new reader thread is given.
struct tcp_link::reader_start {
    tcp_link* link;
    std::weak_ptr<void> owner;
    connection_ptr connection;
    // The reader may still be on its way out when the telephony service unloads this module.
    brivelnox::unique_module pin;
};

tcp_link::~tcp_link() {
    CloseForGood();
}

bool tcp_link::OpenLink(std::uint16_t port) {
    StartWinsock();
    // Before the lock is taken: a reader that has just received something needs the lock in order to end.
    CloseLink(true);
    const lock_guard guard(lock_);
    // Another thread may have opened a connection meanwhile. Its reader may want the lock that is held here,
    // so it is not waited for; it finds its connection closed.
    CloseLink(false);
    buffer_->Discard();
    if (IsClosedForGood()) {
        return false;
    }
    const connection_ptr connection = Connect(port);
    return connection != nullptr && Publish(connection);
}

tcp_link::connection_ptr tcp_link::Connect(std::uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    (void)inet_pton(AF_INET, kServiceAddress, &address.sin_addr);

    unique_socket socket(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    if (!socket) {
        return nullptr;
    }
    if (connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        // Deliberately not closed: the socket of a failed connect is given up as it is.
        (void)socket.release();
        return nullptr;
    }
    unique_event network_event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (!network_event) {
        return nullptr;
    }
    auto connection = std::make_shared<link_connection>(std::move(socket), std::move(network_event));

    auto start =
        std::make_unique<reader_start>(reader_start{this, owner_, connection, brivelnox::PinThisModule()});
    if (!connection->StartReader(&tcp_link::ReaderThread, start.get())) {
        return nullptr;
    }
    (void)start.release();  // the reader's now
    if (!connection->SelectEvents()) {
        CloseConnection(connection, reader_wait::always);
        return nullptr;
    }
    return connection;
}

bool tcp_link::Publish(const connection_ptr& connection) {
    {
        const lock_guard guard(connection_lock_);
        if (!closed_for_good_) {
            connection_ = connection;
            return true;
        }
    }
    // Its reader may already want the link's lock, which is held here: it finds its connection closed.
    CloseConnection(connection, reader_wait::none);
    return false;
}

tcp_link::connection_ptr tcp_link::CurrentConnection() const {
    const lock_guard guard(connection_lock_);
    return connection_;
}

bool tcp_link::IsClosedForGood() const {
    const lock_guard guard(connection_lock_);
    return closed_for_good_;
}

bool tcp_link::IsConnected() const {
    const connection_ptr connection = CurrentConnection();
    return connection != nullptr && !connection->IsClosed();
}

DWORD WINAPI tcp_link::ReaderThread(void* argument) {
    brivelnox::unique_module pin;
    {
        const std::unique_ptr<reader_start> start(static_cast<reader_start*>(argument));
        pin = std::move(start->pin);
        RunReader(*start);
    }
    if (pin) {
        FreeLibraryAndExitThread(pin.release(), 0);
    }
    return 0;
}

void tcp_link::RunReader(const reader_start& start) {
    while (start.connection->WaitForEvent()) {
        // The link is touched only while its owner is held.
        const std::shared_ptr<void> owner = start.owner.lock();
        if (owner == nullptr || !start.link->ServeReader(start.connection)) {
            return;
        }
    }
}

/// Handles one signal of the network event. Returns whether the reader goes on.
bool tcp_link::ServeReader(const connection_ptr& connection) {
    const std::optional<long> events = connection->TakeEvents();
    if (!events) {
        CloseConnection(connection, reader_wait::none);
        return false;
    }
    bool peer_closed = (*events & FD_CLOSE) != 0;
    if ((*events & FD_READ) != 0 && !ReadChunk(connection, peer_closed)) {
        CloseConnection(connection, reader_wait::none);
        OnReceiveError();
        return false;
    }
    if (peer_closed) {
        CloseConnection(connection, reader_wait::none);
        OnDisconnected();
        return false;
    }
    return true;
}

/// Receives one chunk and feeds it. Returns false when receiving has failed.
bool tcp_link::ReadChunk(const connection_ptr& connection, bool& peer_closed) {
    char chunk[kChunkSize + 1] = {};
    const std::optional<int> received = connection->Receive(chunk, kChunkSize);
    if (!received) {
        return true;
    }
    if (*received < 0) {
        return false;
    }
    if (*received == 0) {
        peer_closed = true;
        return true;
    }
    const lock_guard guard(lock_);
    // Another thread may have closed this connection, and opened the next one, while this one waited for the
    // lock. The count comes first: a close that the test does not see yet changes it.
    const std::uint32_t closes = closes_.load();
    if (!connection->IsClosed()) {
        FeedLocked(chunk, static_cast<std::size_t>(*received), closes);
    }
    return true;
}

bool tcp_link::SendText(const char* text) {
    const connection_ptr connection = CurrentConnection();
    if (connection == nullptr || connection->IsClosed()) {
        return false;
    }
    if (connection->Send(text, std::strlen(text))) {
        return true;
    }
    CloseConnection(connection, reader_wait::while_no_handler_runs);
    return false;
}

void tcp_link::CloseLink(bool wait_for_reader) {
    CloseConnection(CurrentConnection(), wait_for_reader ? reader_wait::always : reader_wait::none);
}

void tcp_link::CloseForGood() {
    {
        const lock_guard guard(connection_lock_);
        closed_for_good_ = true;
    }
    CloseLink(true);
}

/// Closes this connection and no other: the link may already have the next one.
void tcp_link::CloseConnection(const connection_ptr& connection, reader_wait wait) {
    if (connection != nullptr) {
        // Before anybody can see that the link has none, and open the next one: what its reader still
        // receives must not get into the next one's buffer.
        connection->Close();
    }
    {
        const lock_guard guard(connection_lock_);
        if (connection_ == connection) {
            connection_ = nullptr;
            ++closes_;
        }
    }
    bool handler_runs = true;
    if (lock_.try_lock()) {
        const lock_guard guard(lock_, std::adopt_lock);
        // Where the next connection stands already, what is held belongs to it.
        if (CurrentConnection() == nullptr) {
            buffer_->Discard();
        }
        handler_runs = false;
    }
    // Where the lock is taken a handler is running; its framing loop sees the count of closes and clears the
    // buffer. It may be waiting for a lock that the thread whose send has failed is holding: that thread must
    // not wait for it.
    if (connection == nullptr || wait == reader_wait::none ||
        (wait == reader_wait::while_no_handler_runs && handler_runs)) {
        return;
    }
    // On the reader thread itself, when a send fails inside a handler, this waits the whole 5000 ms for its
    // own thread. That bound is kept deliberately.
    connection->WaitForReader();
}

void tcp_link::Feed(const char* data, std::size_t length) {
    const lock_guard guard(lock_);
    FeedLocked(data, length, closes_.load());
}

void tcp_link::FeedLocked(const char* data, std::size_t length, std::uint32_t closes) {
    framing_result result = framing_result::failed;
    try {
        result = RunFraming(data, length, closes);
    } catch (...) {
        // Out of memory while parsing. The reader thread must not end with it.
    }
    if (closes_.load() != closes || result == framing_result::failed) {
        // A failure loses everything received so far, complete messages behind the failing one included.
        buffer_->Discard();
    } else if (result == framing_result::no_start_tag) {
        buffer_->DiscardAllButPartialStartTag();
    } else {
        buffer_->Compact();
    }
}

tcp_link::framing_result tcp_link::RunFraming(const char* data, std::size_t length, std::uint32_t closes) {
    if (!buffer_->Append(data, length)) {
        return framing_result::failed;
    }
    if (!buffer_->HasStartTag()) {
        Log(L"No start tag");
        return framing_result::no_start_tag;
    }
    std::optional<std::string_view> message = buffer_->NextMessage();
    if (!message) {
        Log(L"No end tag");
        return framing_result::succeeded;
    }
    while (message) {
        if (!Deliver(*message)) {
            return framing_result::failed;
        }
        if (closes_.load() != closes) {
            // The handler, or a failed send elsewhere, has closed the link: the rest belongs to no
            // connection.
            return framing_result::failed;
        }
        buffer_->Consume(*message);
        message = buffer_->NextMessage();
    }
    return framing_result::succeeded;
}

/// Parses one message and hands it over. Returns false when it is none, or one that would keep the reader and
/// the lock for too long.
bool tcp_link::Deliver(std::string_view message) {
    tinyxml2::XMLDocument document(true, tinyxml2::PRESERVE_WHITESPACE);
    const tinyxml2::XMLError error = brivelnox::IsParsedInLinearTime(message)
                                         ? document.Parse(message.data(), message.size())
                                         : tinyxml2::XML_ERROR_PARSING;
    if (error != tinyxml2::XML_SUCCESS) {
        Log(L"Could not parse xml, %d", static_cast<int>(error));
        return false;
    }
    const tinyxml2::XMLNode* const first = document.FirstChild();
    if (first == nullptr) {
        Log(L"First node is null");
        return false;
    }
    const tinyxml2::XMLElement* const envelope = first->ToElement();
    const tinyxml2::XMLElement* const child = envelope != nullptr ? envelope->FirstChildElement() : nullptr;
    if (child == nullptr) {
        return false;
    }
    try {
        OnMessage(*child);
    } catch (...) {
        // What a handler could not do is its own loss; the messages behind this one are delivered.
    }
    return true;
}

void tcp_link::OnMessage(const tinyxml2::XMLElement&) {}

// Nothing overrides the two operations below. That is intended: a dropped connection is noticed by the
// owner's timer.
void tcp_link::OnReceiveError() {}

void tcp_link::OnDisconnected() {}
