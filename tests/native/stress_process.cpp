// The stress program's own process, as this system shows it: what it holds, where its threads are.

#include <windows.h>
#include <sanitizer/allocator_interface.h>
#include <sanitizer/common_interface_defs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>

#include "platform/unique_handle.h"
#include "shim/kernel_object.h"
#include "tests/stress/process_figures.h"
#include "tests/stress/thread_stacks.h"

namespace brivelnox::stress {

namespace {

// Not used by the sanitizers.
constexpr int kLookSignal = SIGURG;
constexpr std::chrono::seconds kLongestLook{2};

constexpr wchar_t kLogFile[] = L"C:\\ProgramData\\Brivelnox\\Brivelnox.Tsp\\logs\\Brivelnox.Tsp.log";
constexpr wchar_t kEarlierLogFile[] =
    L"C:\\ProgramData\\Brivelnox\\Brivelnox.Tsp\\logs\\Brivelnox.Tsp.log.earlier";
constexpr DWORD kLargestLog = 256U << 20U;

char crash_line[256] = "";
std::atomic<int> looked_at{0};

void PrintOwnStack(int) {
    std::fprintf(stderr, "thread %ld\n", syscall(SYS_gettid));
    __sanitizer_print_stack_trace();
    ++looked_at;
}

void LookAt(int thread_id) {
    const int before = looked_at;
    const auto deadline = std::chrono::steady_clock::now() + kLongestLook;
    (void)syscall(SYS_tgkill, getpid(), thread_id, kLookSignal);
    while (looked_at == before && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (looked_at == before) {
        std::fprintf(stderr, "thread %d does not answer\n", thread_id);
    }
}

void PrintCrashLine() {
    std::fprintf(stderr, "CRASH: (%s)\n", crash_line);
}

}  // namespace

process_figures TakeFigures() {
    std::size_t handles = 0;
    for (int kind = 0; kind < static_cast<int>(native::object_kind::count); ++kind) {
        handles += static_cast<std::size_t>(native::OpenHandles(static_cast<native::object_kind>(kind)));
    }
    // One is left of every attempt at a service that is away, and the quicker timer makes many.
    handles -= static_cast<std::size_t>(native::OpenHandles(native::object_kind::unconnected_socket));
    return {handles, __sanitizer_get_current_allocated_bytes()};
}

/// The log's folder goes with the process, but until then a long run would fill the disk.
void LimitProviderLog() {
    WIN32_FIND_DATAW found = {};
    const unique_find search(FindFirstFileW(kLogFile, &found));
    if (search && (found.nFileSizeHigh != 0 || found.nFileSizeLow > kLargestLog)) {
        (void)MoveFileExW(kLogFile, kEarlierLogFile, MOVEFILE_REPLACE_EXISTING);
    }
}

void PrintThreadStacks() {
    struct sigaction action = {};
    action.sa_handler = &PrintOwnStack;
    action.sa_flags = SA_RESTART;
    (void)sigaction(kLookSignal, &action, nullptr);
    const long own_id = syscall(SYS_gettid);
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        const int id = std::stoi(entry.path().filename().string());
        if (id != own_id) {
            LookAt(id);
        }
    }
}

/// What and where is told by the sanitizers.
void ReportCrashes(const char* line) {
    (void)std::snprintf(crash_line, sizeof(crash_line), "%s", line);
    __sanitizer_set_death_callback(&PrintCrashLine);
}

void EndProcess(int exit_code) {
    (void)std::fflush(nullptr);
    _exit(exit_code);
}

}  // namespace brivelnox::stress
