#include "shim/threads.h"

#include <windows.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <utility>

#include "shim/leak_check.h"
#include "shim/waitable.h"

namespace brivelnox::native {

namespace {

constexpr DWORD kStillActive = 259;

class thread_object final : public waitable {
  public:
    thread_object(LPTHREAD_START_ROUTINE start, void* argument)
        : waitable(object_kind::thread, false, false), start_(start), argument_(argument) {}

    void Run() noexcept {
        DWORD code = 0;
        try {
            // Not kept: what it points to is the thread's own from here on, and no longer anybody's at its
            // end.
            code = start_(std::exchange(argument_, nullptr));
        } catch (const thread_exit& exit) {
            code = exit.code;
        }
        exit_code_.store(code, std::memory_order_relaxed);
        Set();
    }

    [[nodiscard]] DWORD ExitCode() const { return exit_code_.load(std::memory_order_relaxed); }

  private:
    const LPTHREAD_START_ROUTINE start_;
    void* argument_;
    std::atomic<DWORD> exit_code_{kStillActive};
};

std::atomic<DWORD> last_thread_id{0};

}  // namespace

void StartDetached(std::function<void()> run) {
    std::thread(std::move(run)).detach();
}

}  // namespace brivelnox::native

using brivelnox::native::FromHandle;
using brivelnox::native::object_ref;
using brivelnox::native::thread_object;

HANDLE CreateThread(SECURITY_ATTRIBUTES*, SIZE_T, LPTHREAD_START_ROUTINE start, void* argument, DWORD flags,
                    DWORD* id) {
    if (flags != 0 || id != nullptr) {
        brivelnox::native::Misuse("threads that start suspended, and their ids, are not known here");
    }
    auto* const thread = new thread_object(start, argument);
    // The provider deliberately never closes the handle of a reader thread, one per connection that it has
    // made. Only these few bytes are left out of the leak check; how many such handles there are is counted.
    brivelnox::native::LeaveOutOfLeakCheck(thread);
    brivelnox::native::StartDetached([running = object_ref<thread_object>(thread)] { running->Run(); });
    return ToHandle(thread);
}

BOOL GetExitCodeThread(HANDLE thread, DWORD* exit_code) {
    const auto object = FromHandle<thread_object>(thread);
    if (!object) {
        return FALSE;
    }
    *exit_code = object->ExitCode();
    return TRUE;
}

DWORD GetCurrentThreadId() {
    thread_local const DWORD id =
        brivelnox::native::last_thread_id.fetch_add(1, std::memory_order_relaxed) + 1;
    return id;
}

DWORD GetCurrentProcessId() {
    return static_cast<DWORD>(getpid());
}

void Sleep(DWORD milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
