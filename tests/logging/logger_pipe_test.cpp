// A pipe in the place of the current file: a thread that wrote into it would wait for whoever reads it.

#include <windows.h>

#include <cstddef>
#include <future>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "logging/logger.h"
#include "tests/logging/log_folder_helper.h"
#include "tests/support/signal.h"
#include "tests/support/unix_pipe.h"

namespace brivelnox::test {
namespace {

class logger_with_a_pipe_in_its_place : public testing::Test {
  protected:
    logger_with_a_pipe_in_its_place() { logger_.Start(false, log_folder::kLogName); }

    log_folder folder_;
    logger logger_{&test_clock::Now};
};

TEST_F(logger_with_a_pipe_in_its_place, writes_nothing_into_it_and_waits_for_nobody) {
    // More than a pipe holds.
    constexpr int kLines = 1000;
    constexpr std::size_t kCharacters = 500;
    {
        const unix_pipe pipe(folder_.LogPath());
        if (!pipe.IsThere()) {
            GTEST_SKIP() << "a pipe in a file's place cannot be made here";
        }
        const std::future<void> lines = std::async(std::launch::async, [this] {
            for (int line = 0; line < kLines; ++line) {
                logger_.Log(L"Line", L"%s", std::wstring(kCharacters, L'x').c_str());
            }
        });
        if (lines.wait_for(kSoon) == std::future_status::ready) {
            EXPECT_EQ(pipe.Take(), "");
        } else {
            ADD_FAILURE() << "waits for the pipe's owner";
            pipe.Drop(kLines * kCharacters);
        }
    }
    logger_.Log(L"Line", L"text");
    EXPECT_THAT(folder_.LogLines(), testing::ElementsAre("11-16 09:05:03 Line                 text"));
}

}  // namespace
}  // namespace brivelnox::test
