#include "tools/service_simulator/connection.h"

#include <algorithm>
#include <array>
#include <utility>

namespace brivelnox::simulator {

namespace {

// A socket whose buffer is full says when it takes more. The wait is bounded all the same, so that a lost
// notice costs a moment and not the test.
constexpr DWORD kBlockedWait = 20;

constexpr std::size_t kReceiveSize = 16384;

}  // namespace

connection::connection(std::size_t number, unique_socket socket, bool reading_paused, wire_log& log,
                       callbacks handlers)
    : number_(number),
      log_(log),
      handlers_(std::move(handlers)),
      socket_(std::move(socket)),
      network_event_(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      wake_event_(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      reading_paused_(reading_paused) {
    // Pieces that are sent one by one have to leave one by one.
    const BOOL no_delay = TRUE;
    (void)setsockopt(socket_.get(), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&no_delay),
                     sizeof(no_delay));
    (void)WSAEventSelect(socket_.get(), network_event_.get(), FD_READ | FD_WRITE | FD_CLOSE);
    thread_ = std::thread([this] { Run(); });
}

connection::~connection() {
    DropNow(drop_kind::kGraceful);
    Join();
}

void connection::Join() {
    const std::lock_guard lock(join_mutex_);
    if (thread_.joinable()) {
        thread_.join();
    }
}

void connection::Send(std::string bytes, std::chrono::milliseconds pause) {
    Enqueue({std::move(bytes), pause, std::nullopt});
}

void connection::SendThenDrop(drop_kind kind) {
    Enqueue({{}, {}, kind});
}

void connection::Enqueue(outgoing item) {
    {
        const std::lock_guard lock(mutex_);
        if (closed_) {
            return;
        }
        queue_.push_back(std::move(item));
    }
    (void)SetEvent(wake_event_.get());
}

void connection::DropNow(drop_kind kind) {
    {
        const std::lock_guard lock(mutex_);
        drop_now_ = kind;
    }
    (void)SetEvent(wake_event_.get());
}

void connection::PauseReading() {
    const std::lock_guard lock(mutex_);
    reading_paused_ = true;
}

void connection::ResumeReading() {
    {
        const std::lock_guard lock(mutex_);
        reading_paused_ = false;
    }
    (void)SetEvent(wake_event_.get());
}

bool connection::Drained() const {
    const std::lock_guard lock(mutex_);
    return closed_ || queue_.empty();
}

std::optional<drop_kind> connection::DropRequested() const {
    const std::lock_guard lock(mutex_);
    return drop_now_;
}

void connection::Run() {
    log_.Report(wire_direction::kNote, number_, "connected");
    const std::array<HANDLE, 2> handles{wake_event_.get(), network_event_.get()};
    bool peer_closed = false;
    for (bool busy = true; !closed_;) {
        if (!busy) {
            (void)WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE,
                                         WaitTime());
        }
        if (const std::optional<drop_kind> kind = DropRequested()) {
            Close(*kind, *kind == drop_kind::kReset ? "reset by the service" : "closed by the service");
            break;
        }
        WSANETWORKEVENTS events{};
        (void)WSAEnumNetworkEvents(socket_.get(), network_event_.get(), &events);
        peer_closed = peer_closed || (static_cast<DWORD>(events.lNetworkEvents) & FD_CLOSE) != 0;
        const progress received = Receive();
        const progress sent = received == progress::kClosed ? progress::kClosed : Transmit();
        busy = received == progress::kSome || sent == progress::kSome;
        if (peer_closed && !busy && !closed_) {
            Close(drop_kind::kGraceful, "closed by the provider");
        }
    }
    handlers_.on_closed();
}

connection::progress connection::Receive() {
    std::array<char, kReceiveSize> buffer;
    int length = 0;
    {
        const std::lock_guard lock(mutex_);
        if (reading_paused_) {
            return progress::kNone;
        }
        length = recv(socket_.get(), buffer.data(), static_cast<int>(buffer.size()), 0);
    }
    if (length == SOCKET_ERROR && WSAGetLastError() == WSAEWOULDBLOCK) {
        return progress::kNone;
    }
    if (length <= 0) {
        Close(drop_kind::kGraceful, length == 0 ? "closed by the provider" : "broken off by the provider");
        return progress::kClosed;
    }
    for (const std::string& text : splitter_.Add({buffer.data(), static_cast<std::size_t>(length)})) {
        log_.Report(wire_direction::kReceived, number_, text);
        handlers_.on_message(*this, text);
    }
    return progress::kSome;
}

connection::progress connection::Transmit() {
    std::string to_report;
    std::optional<drop_kind> drop;
    if (!FrontIsDue(&to_report, &drop)) {
        return progress::kNone;
    }
    if (drop) {
        Close(*drop, *drop == drop_kind::kReset ? "reset by the service" : "closed by the service");
        return progress::kClosed;
    }
    // Reported before it leaves, so that what the provider makes of it is always later in the record.
    if (!to_report.empty()) {
        log_.Report(wire_direction::kSent, number_, to_report);
    }
    const progress sent = SendFront();
    if (sent == progress::kSome && Drained()) {
        handlers_.on_drained();
    }
    return sent;
}

bool connection::FrontIsDue(std::string* to_report, std::optional<drop_kind>* drop) {
    const std::lock_guard lock(mutex_);
    if (queue_.empty()) {
        return false;
    }
    const outgoing& front = queue_.front();
    const auto now = std::chrono::steady_clock::now();
    if (!front_due_) {
        front_due_ = now + front.pause;
    }
    if (now < *front_due_) {
        return false;
    }
    *drop = front.drop;
    if (!front_reported_) {
        *to_report = front.bytes;
        front_reported_ = true;
    }
    return true;
}

connection::progress connection::SendFront() {
    const std::lock_guard lock(mutex_);
    const outgoing& front = queue_.front();
    const std::size_t rest = front.bytes.size() - sent_of_front_;
    const int length = rest == 0 ? 0
                                 : send(socket_.get(), front.bytes.data() + sent_of_front_,
                                        static_cast<int>(std::min<std::size_t>(rest, 1U << 20U)), 0);
    send_blocked_ = length == SOCKET_ERROR;
    if (send_blocked_) {
        // Anything worse than a full buffer shows as the end of the connection.
        return progress::kNone;
    }
    sent_of_front_ += static_cast<std::size_t>(length);
    if (sent_of_front_ == front.bytes.size()) {
        queue_.pop_front();
        sent_of_front_ = 0;
        front_reported_ = false;
        front_due_.reset();
    }
    return progress::kSome;
}

DWORD connection::WaitTime() const {
    const std::lock_guard lock(mutex_);
    if (queue_.empty()) {
        return INFINITE;
    }
    if (send_blocked_ || !front_due_) {
        return kBlockedWait;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*front_due_ - std::chrono::steady_clock::now());
    return static_cast<DWORD>(std::clamp<long long>(left.count(), 0, 3600000));
}

void connection::Close(drop_kind kind, std::string_view why) {
    if (kind == drop_kind::kReset) {
        const linger at_once{1, 0};
        (void)setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&at_once),
                         sizeof(at_once));
    } else {
        // Unread bytes would turn the close into a reset, and cost the provider what it has not read yet.
        (void)shutdown(socket_.get(), SD_SEND);
        std::array<char, kReceiveSize> unread;
        while (recv(socket_.get(), unread.data(), static_cast<int>(unread.size()), 0) > 0) {
        }
    }
    {
        const std::lock_guard lock(mutex_);
        socket_.reset();
        queue_.clear();
        closed_ = true;
    }
    log_.Report(wire_direction::kNote, number_, why);
}

}  // namespace brivelnox::simulator
