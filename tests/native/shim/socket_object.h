#pragma once

#include <winsock2.h>
#include <windows.h>

#include <condition_variable>
#include <mutex>

#include "shim/kernel_object.h"
#include "shim/posix_socket.h"
#include "shim/waitable.h"

namespace brivelnox::native {

/// One socket, and the network events that have been asked for on it. All operations return the system's
/// result or a negative errno, except where said, and may be called on any thread.
class socket_object final : public kernel_object {
  public:
    /// Takes over the descriptor.
    socket_object(int descriptor, bool connected)
        : kernel_object(connected ? object_kind::socket : object_kind::unconnected_socket),
          descriptor_(descriptor) {}

    int Connect(const posix::endpoint& peer);
    /// An accepted socket, as a new object in `accepted`. It is non-blocking if this one is.
    int Accept(posix::endpoint& peer, socket_object*& accepted);
    long Send(const char* bytes, int size);
    long Receive(char* bytes, int size, bool peek);
    int Listen(int backlog);
    int ShutDown(bool receiving, bool sending);
    /// For calls that neither wait nor have to do with network events.
    [[nodiscard]] int Descriptor() const { return descriptor_; }

    /// Replaces what was asked for before; forgets what has been recorded.
    int Select(HANDLE event, long events);
    /// Hands out what has been recorded and resets the event object with it, as one step.
    void TakeEvents(HANDLE event, WSANETWORKEVENTS& taken);

    /// For the thread that polls: what it is to look for. False if nothing.
    bool Interest(posix::polled& polled);
    /// Records what has come.
    void Examine(const posix::polled& polled);

    void OnClose() override;

  private:
    ~socket_object() override = default;

    class in_use;

    void ExamineIncoming();
    void RecordEnd(long error);
    void Record(long event, int bit, int error);
    void Rearm(bool& awaited);

    const int descriptor_;
    std::mutex mutex_;
    std::condition_variable unused_;
    int users_ = 0;  // blocking calls that are inside the system
    bool closed_ = false;
    bool listening_ = false;
    bool receiving_shut_ = false;
    bool sending_shut_ = false;
    bool hung_up_ = false;
    bool selected_ = false;
    // Held, as the system holds it: its handle may be closed first.
    object_ref<event_object> event_;
    long wanted_ = 0;
    long recorded_ = 0;
    int errors_[FD_MAX_EVENTS] = {};
    // What has been recorded and not been asked for again yet is not looked for.
    bool await_read_ = false;
    bool await_write_ = false;
    bool await_close_ = false;
    long error_ = 0;  // of a connection that is broken: looking at it has taken it from the system
};

/// Has the polling thread look after the socket until it is closed.
void StartPolling(socket_object& socket);
void StopPolling(socket_object& socket);
/// Makes the polling thread ask every socket for its interest again.
void WakePolling();

}  // namespace brivelnox::native
