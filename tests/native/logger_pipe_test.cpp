// A pipe in the place of the log's file.

#include <windows.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "logging/logger.h"
#include "shim/drive.h"

namespace brivelnox::native {
namespace {

constexpr wchar_t kName[] = L"Brivelnox.Pipe";
constexpr wchar_t kPath[] = L"C:\\Temp\\Brivelnox\\Brivelnox.Pipe\\logs\\Brivelnox.Pipe.log";

SYSTEMTIME Today() {
    return {2026, 11, 0, 16, 9, 5, 3, 0};
}

/// Fixture: a started logger, and a pipe that its owner has open at both ends.
class logger_with_a_pipe_in_its_place : public testing::Test {
  protected:
    void SetUp() override {
        logger_.Start(false, kName);
        ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
        owner_ = open(path_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        ASSERT_GE(owner_, 0);
    }
    void TearDown() override {
        (void)close(owner_);
        (void)unlink(path_.c_str());
    }

    [[nodiscard]] bool PipeIsEmpty() const {
        char byte = 0;
        return read(owner_, &byte, 1) < 0 && errno == EAGAIN;
    }

    const std::string path_ = ToSystemPath(kPath);
    int owner_ = -1;
    logger logger_{&Today};
};

TEST_F(logger_with_a_pipe_in_its_place, opens_it_anonymously_and_writes_nothing_into_it) {
    FILETIME today = {};
    const SYSTEMTIME now = Today();
    ASSERT_TRUE(SystemTimeToFileTime(&now, &today));
    file_records::SetCreated(path_, today);
    logger_.Log(L"Line", L"text");
    EXPECT_TRUE(PipeIsEmpty());
}

TEST_F(logger_with_a_pipe_in_its_place, does_not_put_it_away) {
    constexpr FILETIME kLongAgo = {1, 0x01D00000};
    file_records::SetCreated(path_, kLongAgo);
    logger_.Log(L"Line", L"text");
    struct stat status = {};
    ASSERT_EQ(stat(path_.c_str(), &status), 0);
    EXPECT_TRUE(S_ISFIFO(status.st_mode));
}

}  // namespace
}  // namespace brivelnox::native
