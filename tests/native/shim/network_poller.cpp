// The thread behind network events: it waits for all sockets that events have been asked for on.

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <vector>

#include "shim/socket_object.h"
#include "shim/threads.h"

namespace brivelnox::native {

namespace {

class network_poller {
  public:
    network_poller() : wake_(posix::OpenWake()) {
        StartDetached([this] { Run(); });
    }

    void Add(socket_object& socket) {
        const std::lock_guard guard(mutex_);
        const auto same = [&](const auto& known) { return known.get() == &socket; };
        if (std::none_of(sockets_.begin(), sockets_.end(), same)) {
            sockets_.emplace_back(&socket);
        }
    }

    void Remove(socket_object& socket) {
        {
            const std::lock_guard guard(mutex_);
            std::erase_if(sockets_, [&](const auto& known) { return known.get() == &socket; });
        }
        Wake();
    }

    void Wake() const { posix::Wake(wake_); }

  private:
    [[noreturn]] void Run() {
        // It meets every socket in turn and would hand on what it has met of each. What it records is an
        // event that it signals.
        const hidden_from_order hidden;
        for (;;) {
            Turn();
        }
    }

    void Turn() {
        std::vector<object_ref<socket_object>> sockets;
        {
            const std::lock_guard guard(mutex_);
            sockets = sockets_;
        }
        std::vector<posix::polled> polled = {{wake_, true, false, false, false, false, false}};
        std::erase_if(sockets, [&](const auto& socket) {
            posix::polled wanted = {};
            if (!socket->Interest(wanted)) {
                return true;
            }
            polled.push_back(wanted);
            return false;
        });
        (void)posix::Poll(polled, -1);
        if (polled[0].readable) {
            posix::Drain(wake_);
        }
        for (std::size_t i = 0; i < sockets.size(); ++i) {
            const posix::polled& found = polled[i + 1];
            if (found.readable || found.writable || found.hung_up || found.broken) {
                sockets[i]->Examine(found);
            }
        }
    }

    const int wake_;
    std::mutex mutex_;
    std::vector<object_ref<socket_object>> sockets_;
};

/// Lives as long as the process, as its thread does.
network_poller& Poller() {
    static network_poller& poller = *new network_poller;
    return poller;
}

}  // namespace

void StartPolling(socket_object& socket) {
    Poller().Add(socket);
}

void StopPolling(socket_object& socket) {
    Poller().Remove(socket);
}

void WakePolling() {
    Poller().Wake();
}

}  // namespace brivelnox::native
