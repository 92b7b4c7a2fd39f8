#include "tests/benchmark/send_watch.h"

#include <atomic>
#include <stdexcept>

namespace brivelnox::benchmark {

namespace {

std::atomic<send_watch*> current{nullptr};

}  // namespace

send_watch::send_watch(HMODULE provider)
    : send_(provider, "send", reinterpret_cast<void*>(&send_watch::Send)) {
    if (!send_.IsInPlace()) {
        throw std::runtime_error("the provider sends by another call than expected");
    }
}

void send_watch::Expect() {
    thread_ = GetCurrentThreadId();
    sent_.ExpectAny();
    current = this;
}

int WSAAPI send_watch::Send(SOCKET socket, const char* bytes, int size, int flags) {
    // The timer's thread sends, too.
    if (send_watch* const watch = current; watch != nullptr && watch->thread_ == GetCurrentThreadId()) {
        watch->sent_.Note();
        watch->text_.assign(bytes, static_cast<std::size_t>(size));
    }
    return send(socket, bytes, size, flags);
}

}  // namespace brivelnox::benchmark
