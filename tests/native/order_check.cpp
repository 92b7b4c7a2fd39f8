// Two threads write to the same place with nothing between them but calls that order nothing on Windows. The
// thread sanitizer has to see that; where it does not, the stand-in hides the races of the provider, too. One
// argument says which calls; this program is to end with a report.

#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <iterator>
#include <string_view>
#include <thread>

#include "platform/unique_handle.h"

namespace brivelnox::native {

namespace {

int written = 0;
// Relaxed: the second thread comes later and is not ordered by it.
std::atomic<bool> first_is_over{false};

class two_sockets {
  public:
    two_sockets() {
        WSADATA data = {};
        (void)WSAStartup(MAKEWORD(2, 2), &data);
        for (SOCKET& each : sockets_) {
            each = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
            (void)WSAEventSelect(each, event_.get(), FD_READ);
        }
    }
    ~two_sockets() {
        for (const SOCKET each : sockets_) {
            (void)closesocket(each);
        }
        (void)WSACleanup();
    }
    two_sockets(const two_sockets&) = delete;
    two_sockets& operator=(const two_sockets&) = delete;

    void Use(int which) const {
        WSANETWORKEVENTS events = {};
        (void)WSAEnumNetworkEvents(sockets_[which], nullptr, &events);
        (void)WSAEventSelect(sockets_[which], event_.get(), FD_READ | FD_CLOSE);
    }

  private:
    unique_event event_{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    SOCKET sockets_[2] = {};
};

HANDLE Event() {
    static HANDLE const event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

constexpr struct {
    std::string_view name;
    void (*use)(int thread);
} kCalls[] = {
    {"reset", [](int) { (void)ResetEvent(Event()); }},
    {"wait_in_vain", [](int) { (void)WaitForSingleObject(Event(), 0); }},
    {"set_and_reset",
     [](int thread) {
         // Who waits comes after the last who has signalled it, not after those before a reset.
         if (thread == 0) {
             (void)SetEvent(Event());
             (void)ResetEvent(Event());
         } else {
             std::thread([] { (void)SetEvent(Event()); }).join();
             (void)WaitForSingleObject(Event(), INFINITE);
         }
     }},
    {"sockets",
     [](int thread) {
         static const two_sockets sockets;
         sockets.Use(thread);
     }},
    {"registry",
     [](int) {
         HKEY key = nullptr;
         (void)RegOpenKeyExW(HKEY_CURRENT_USER, L"none", 0, KEY_READ, &key);
     }},
};

void Race(void (*use)(int)) {
    use(0);
    std::thread second([&] {
        while (!first_is_over.load(std::memory_order_relaxed)) {
            std::this_thread::yield();
        }
        use(1);
        written = 2;
    });
    std::thread first([&] {
        written = 1;
        use(0);
        first_is_over.store(true, std::memory_order_relaxed);
    });
    first.join();
    second.join();
}

}  // namespace

}  // namespace brivelnox::native

int main(int count, char** words) {
    const auto* const found =
        std::find_if(std::begin(brivelnox::native::kCalls), std::end(brivelnox::native::kCalls),
                     [&](const auto& row) { return count == 2 && row.name == words[1]; });
    if (found == std::end(brivelnox::native::kCalls)) {
        return 2;
    }
    brivelnox::native::Race(found->use);
    std::printf("%s: %d\n", words[1], brivelnox::native::written);
    return 0;
}
