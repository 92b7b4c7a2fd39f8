#include "shim/socket_object.h"

#include <cerrno>
#include <cstddef>

namespace brivelnox::native {

/// A call that may wait inside the system, without the object's lock. A socket that is closed meanwhile makes
/// the call end, and stays open underneath until it has.
class socket_object::in_use {
  public:
    explicit in_use(socket_object& socket) : socket_(socket) {
        const std::lock_guard guard(socket_.mutex_);
        ++socket_.users_;
    }
    ~in_use() {
        const std::lock_guard guard(socket_.mutex_);
        --socket_.users_;
        socket_.unused_.notify_all();
    }
    in_use(const in_use&) = delete;
    in_use& operator=(const in_use&) = delete;

    /// The result of the call, which is another when the socket has been closed under it.
    template <class Result>
    Result Finish(Result result) {
        const std::lock_guard guard(socket_.mutex_);
        return socket_.closed_ ? Result{-EINTR} : result;
    }

  private:
    socket_object& socket_;
};

int socket_object::Connect(const posix::endpoint& peer) {
    in_use use(*this);
    const int result = use.Finish(posix::Connect(descriptor_, peer));
    if (result == 0) {
        CountAs(object_kind::socket);
    }
    return result;
}

int socket_object::Listen(int backlog) {
    const std::lock_guard guard(mutex_);
    listening_ = true;
    CountAs(object_kind::socket);
    return posix::Listen(descriptor_, backlog);
}

/// Receiving is shut here only, not in the system, which would report the peer's end: on Windows data still
/// arrive and are announced, but receiving them fails.
int socket_object::ShutDown(bool receiving, bool sending) {
    const std::lock_guard guard(mutex_);
    receiving_shut_ = receiving_shut_ || receiving;
    sending_shut_ = sending_shut_ || sending;
    return sending ? posix::ShutDown(descriptor_, false, true) : 0;
}

int socket_object::Accept(posix::endpoint& peer, socket_object*& accepted) {
    in_use use(*this);
    const int result = use.Finish(posix::Accept(descriptor_, peer));
    const std::lock_guard guard(mutex_);
    if (result >= 0) {
        accepted = new socket_object(result, true);
        if (selected_) {
            (void)posix::SetNonBlocking(result);
        }
    }
    Rearm(await_read_);
    return result;
}

long socket_object::Send(const char* bytes, int size) {
    in_use use(*this);
    const long result = use.Finish(posix::Send(descriptor_, bytes, static_cast<std::size_t>(size)));
    const std::lock_guard guard(mutex_);
    if (result == -EAGAIN) {
        Rearm(await_write_);
    } else if (result == -ECONNRESET || (result == -EPIPE && !sending_shut_)) {
        RecordEnd(-ECONNRESET);
    }
    return result;
}

long socket_object::Receive(char* bytes, int size, bool peek) {
    {
        const std::lock_guard guard(mutex_);
        if (error_ != 0 || receiving_shut_) {
            return error_ != 0 ? error_ : -ESHUTDOWN;
        }
    }
    in_use use(*this);
    const long result = use.Finish(posix::Receive(descriptor_, bytes, static_cast<std::size_t>(size), peek));
    const std::lock_guard guard(mutex_);
    if (result < 0 && result != -EAGAIN && result != -EINTR) {
        error_ = result;
    }
    Rearm(await_read_);
    return result;
}

/// The event may be recorded again; what is there already is recorded at once.
void socket_object::Rearm(bool& awaited) {
    if (!selected_ || closed_) {
        return;
    }
    awaited = true;
    ExamineIncoming();
    WakePolling();
}

int socket_object::Select(HANDLE event, long events) {
    int result = 0;
    {
        const std::lock_guard guard(mutex_);
        result = posix::SetNonBlocking(descriptor_);
        selected_ = true;
        event_ = events != 0 ? FromHandle<event_object>(event) : object_ref<event_object>();
        wanted_ = events;
        recorded_ = 0;
        await_read_ = await_write_ = await_close_ = true;
    }
    StartPolling(*this);
    const std::lock_guard guard(mutex_);
    ExamineIncoming();
    WakePolling();
    return result;
}

void socket_object::TakeEvents(HANDLE event, WSANETWORKEVENTS& taken) {
    const std::lock_guard guard(mutex_);
    taken.lNetworkEvents = recorded_;
    for (int bit = 0; bit < FD_MAX_EVENTS; ++bit) {
        taken.iErrorCode[bit] = errors_[bit];
        errors_[bit] = 0;
    }
    recorded_ = 0;
    if (event != nullptr) {
        (void)ResetEvent(event);
    }
}

bool socket_object::Interest(posix::polled& polled) {
    const std::lock_guard guard(mutex_);
    const bool reads = listening_ ? (wanted_ & FD_ACCEPT) != 0 : (wanted_ & (FD_READ | FD_CLOSE)) != 0;
    polled.descriptor = descriptor_;
    // After FD_CLOSE a socket would be readable for ever.
    polled.want_read = reads && await_read_ && (listening_ || await_close_);
    polled.want_write = !listening_ && await_write_ && await_close_ && (wanted_ & FD_WRITE) != 0;
    // A connection that breaks is reported also while what came before is still there to be received.
    const bool may_break = !listening_ && await_close_ && !hung_up_ && (wanted_ & FD_CLOSE) != 0;
    return !closed_ && (polled.want_read || polled.want_write || may_break);
}

void socket_object::Examine(const posix::polled& polled) {
    const std::lock_guard guard(mutex_);
    if (closed_) {
        return;
    }
    if (polled.writable && await_write_) {
        await_write_ = false;
        Record(FD_WRITE, FD_WRITE_BIT, 0);
    }
    if (listening_ && polled.readable && await_read_) {
        await_read_ = false;
        Record(FD_ACCEPT, FD_ACCEPT_BIT, 0);
    }
    if (!listening_ && polled.broken) {
        RecordEnd(-ECONNRESET);
    }
    // For the poll this lasts; it is not to be reported for ever.
    hung_up_ = hung_up_ || polled.hung_up;
    ExamineIncoming();
}

/// Looks for received bytes and for the end of the connection, which comes after them.
void socket_object::ExamineIncoming() {
    if (listening_ || !await_read_ || !await_close_) {
        return;
    }
    const long there = posix::PeekNow(descriptor_);
    if (there > 0) {
        await_read_ = false;
        Record(FD_READ, FD_READ_BIT, 0);
    } else if (there != -EAGAIN) {
        RecordEnd(there);
    }
}

/// The connection has ended: orderly, with 0, or by an error, of which it is told again and again.
void socket_object::RecordEnd(long error) {
    if (!await_close_) {
        return;
    }
    await_close_ = false;
    error_ = error;
    Record(FD_CLOSE, FD_CLOSE_BIT, error == 0 ? 0 : posix::WinsockError(-error));
}

void socket_object::Record(long event, int bit, int error) {
    if ((wanted_ & event) == 0) {
        return;
    }
    recorded_ |= event;
    errors_[bit] = error;
    if (event_) {
        event_->Set();
    }
}

void socket_object::OnClose() {
    std::unique_lock lock(mutex_);
    closed_ = true;
    if (selected_) {
        StopPolling(*this);
    }
    if (users_ != 0) {
        (void)posix::ShutDown(descriptor_, true, true);
        unused_.wait(lock, [&] { return users_ == 0; });
    }
    (void)posix::Close(descriptor_);
}

}  // namespace brivelnox::native
