// Every thread of the provider may log at any time.

#include <algorithm>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "logging/logger.h"
#include "tests/logging/log_folder_helper.h"
#include "tests/logging/logger_lock_helper.h"
#include "tests/support/signal.h"

namespace brivelnox::test {
namespace {

constexpr int kThreads = 4;
constexpr int kLinesEach = 60;

class logger_threads : public testing::Test {
  protected:
    logger_threads() { logger_.Start(false, log_folder::kLogName); }

    /// Every thread writes its lines, all at the same time.
    void WriteFromAllThreads() {
        signal start;
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([this, &start, thread] {
                ASSERT_TRUE(start.Wait());
                for (int line = 0; line < kLinesEach; ++line) {
                    logger_.Log(L"Line", L"%d/%02d/%s", thread, line, std::wstring(200, L'x').c_str());
                }
            });
        }
        start.Set();
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    static std::string ExpectedText(int thread, int line) {
        return std::to_string(thread) + "/" + (line < 10 ? "0" : "") + std::to_string(line) + "/" +
               std::string(200, 'x');
    }

    /// Every line is there once and whole, and those of a thread are in order.
    static void ExpectAllLines(const std::vector<std::string>& lines, const std::string& beginning) {
        ASSERT_EQ(lines.size(), static_cast<size_t>(kThreads * kLinesEach));
        for (int thread = 0; thread < kThreads; ++thread) {
            auto from = lines.begin();
            for (int line = 0; line < kLinesEach; ++line) {
                from = std::find(from, lines.end(), beginning + ExpectedText(thread, line));
                ASSERT_NE(from, lines.end()) << ExpectedText(thread, line);
            }
        }
    }

    log_folder folder_;
    logger logger_{&test_clock::Now};
};

TEST_F(logger_threads, line_waits_for_the_thread_that_holds_the_logger) {
    std::future<void> line;
    {
        const lock_guard guard(LockOf(logger_));
        line = std::async(std::launch::async, [this] { logger_.Log(L"Line", L"text"); });
        EXPECT_EQ(line.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
        EXPECT_FALSE(log_folder::Exists(folder_.LogPath()));
    }
    line.get();
    EXPECT_THAT(folder_.LogLines(), testing::ElementsAre("11-16 09:05:03 Line                 text"));
}

TEST_F(logger_threads, thread_that_holds_the_logger_may_log) {
    const lock_guard guard(LockOf(logger_));
    logger_.Log(L"Line", L"text");
    EXPECT_THAT(folder_.LogLines(), testing::ElementsAre("11-16 09:05:03 Line                 text"));
}

TEST_F(logger_threads, lines_of_several_threads_are_never_mixed_nor_lost) {
    WriteFromAllThreads();
    ExpectAllLines(folder_.LogLines(), "11-16 09:05:03 Line                 ");
}

TEST_F(logger_threads, file_is_put_away_once_when_all_threads_meet_the_new_day) {
    logger_.Log(L"Line", L"yesterday");
    folder_.DateLog(kToday);
    test_clock::Set(OnDay(2026, 11, 17));
    WriteFromAllThreads();
    EXPECT_THAT(folder_.Backups(), testing::ElementsAre(L"20261117.log"));
    EXPECT_EQ(folder_.BackupBytes(L"20261117.log"), "11-16 09:05:03 Line                 yesterday\r\n");
    ExpectAllLines(folder_.LogLines(), "11-17 09:05:03 Line                 ");
}

}  // namespace
}  // namespace brivelnox::test
