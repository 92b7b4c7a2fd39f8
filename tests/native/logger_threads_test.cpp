// The logger with several threads inside: start, lines, and days that change under them.

#include <windows.h>

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "logging/logger.h"
#include "platform/unique_handle.h"

namespace brivelnox::native {
namespace {

constexpr int kThreads = 4;
constexpr int kLines = 100;
constexpr wchar_t kName[] = L"Brivelnox.Native";
constexpr wchar_t kBackups[] = L"C:\\Temp\\Brivelnox\\Brivelnox.Native\\logs\\bak\\*.log";

/// Every call is on another day than the one before.
SYSTEMTIME NextDay() {
    static std::atomic<WORD> calls{0};
    const WORD call = ++calls;
    return {static_cast<WORD>(2020 + call / 336),
            static_cast<WORD>(1 + call / 28 % 12),
            0,
            static_cast<WORD>(1 + call % 28),
            12,
            0,
            0,
            0};
}

template <class Work>
void OnEveryThread(Work work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&work, i] { work(i); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

int CountFiles(const wchar_t* pattern) {
    WIN32_FIND_DATAW found = {};
    const unique_find search(FindFirstFileW(pattern, &found));
    int count = search ? 1 : 0;
    while (search && FindNextFileW(search.get(), &found)) {
        ++count;
    }
    return count;
}

TEST(native_logger, threads_start_it_and_write_while_the_day_changes) {
    logger log(&NextDay);
    OnEveryThread([&](int number) {
        log.Start(false, kName);
        for (int line = 0; line < kLines; ++line) {
            log.Log(L"Category", L"thread %d, line %d, %s", number, line, L"text");
        }
    });
    EXPECT_TRUE(log.IsStarted());
    EXPECT_EQ(CountFiles(kBackups), 5);
}

TEST(native_logger, process_logger_is_made_by_whichever_thread_comes_first) {
    std::atomic<int> started{0};
    OnEveryThread([&](int) {
        logger::Process().Start(false, kName);
        logger::Process().Log(L"Category", L"line");
        started += logger::Process().IsStarted() ? 1 : 0;
    });
    EXPECT_EQ(started.load(), kThreads);
}

}  // namespace
}  // namespace brivelnox::native
