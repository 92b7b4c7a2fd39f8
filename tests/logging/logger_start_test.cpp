// Where the log lies, and when it begins.

#include <windows.h>
#include <shlobj.h>

#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "logging/logger.h"
#include "platform/locks.h"
#include "tests/logging/log_folder_helper.h"
#include "tests/logging/logger_lock_helper.h"
#include "tests/support/missing_common_folder.h"
#include "tests/support/signal.h"

namespace brivelnox::test {

namespace {

using testing::ElementsAre;

class logger_start : public testing::Test {
  protected:
    [[nodiscard]] bool MakerFolderExists() const {
        return log_folder::Exists(folder_.Root() + L"\\Brivelnox");
    }

    log_folder folder_;
    logger logger_{&test_clock::Now};
};

TEST_F(logger_start, nothing_is_written_before_the_start) {
    logger_.Log(L"Line", L"dropped");
    logger_.Write(L"Line", L"dropped");
    EXPECT_FALSE(logger_.IsStarted());
    EXPECT_FALSE(MakerFolderExists());
}

TEST_F(logger_start, line_dropped_before_the_start_does_not_come_later) {
    logger_.Log(L"Line", L"dropped");
    logger_.Start(false, log_folder::kLogName);
    logger_.Log(L"Line", L"written");
    EXPECT_THAT(folder_.LogLines(), ElementsAre("11-16 09:05:03 Line                 written"));
}

TEST_F(logger_start, temporary_folder_gets_the_folders_of_maker_log_and_logs) {
    logger_.Start(false, log_folder::kLogName);
    EXPECT_TRUE(logger_.IsStarted());
    EXPECT_TRUE(log_folder::Exists(folder_.Root() + L"\\Brivelnox\\Brivelnox.Logger\\logs"));
    EXPECT_FALSE(log_folder::Exists(folder_.BackupPath(L"")))
        << "the backup folder comes with the first roll";
    EXPECT_FALSE(log_folder::Exists(folder_.LogPath())) << "the file comes with the first line";
    logger_.Log(L"Line", L"text");
    EXPECT_TRUE(
        log_folder::Exists(folder_.Root() + L"\\Brivelnox\\Brivelnox.Logger\\logs\\Brivelnox.Logger.log"));
}

TEST_F(logger_start, common_application_data_folder_is_the_other_place) {
    constexpr wchar_t kName[] = L"Brivelnox.LoggerStartTest";
    wchar_t common[MAX_PATH] = {};
    ASSERT_EQ(SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, common), S_OK);
    const std::wstring own = std::wstring(common) + L"\\Brivelnox\\" + kName;
    log_folder::Remove(own);

    logger_.Start(true, kName);
    EXPECT_TRUE(logger_.IsStarted());
    logger_.Log(L"Line", L"text");
    EXPECT_EQ(log_folder::BytesOf(own + L"\\logs\\" + kName + L".log"),
              "11-16 09:05:03 Line                 text\r\n");
    EXPECT_FALSE(MakerFolderExists());
    log_folder::Remove(own);
}

TEST_F(logger_start, existing_folders_are_used) {
    logger first(&test_clock::Now);
    first.Start(false, log_folder::kLogName);
    first.Log(L"Line", L"one");
    folder_.DateLog(kToday);
    logger_.Start(false, log_folder::kLogName);
    EXPECT_TRUE(logger_.IsStarted());
    logger_.Log(L"Line", L"two");
    EXPECT_THAT(folder_.LogLines(), ElementsAre("11-16 09:05:03 Line                 one",
                                                "11-16 09:05:03 Line                 two"));
}

TEST_F(logger_start, second_start_changes_nothing) {
    logger_.Start(false, log_folder::kLogName);
    logger_.Start(false, L"Brivelnox.Other");
    logger_.Start(true, L"Brivelnox.Other");
    logger_.Log(L"Line", L"text");
    EXPECT_THAT(folder_.LogLines(), ElementsAre("11-16 09:05:03 Line                 text"));
    EXPECT_FALSE(log_folder::Exists(folder_.Root() + L"\\Brivelnox\\Brivelnox.Other"));
}

TEST_F(logger_start, logger_starts_even_where_its_folders_cannot_be_made_and_loses_its_lines) {
    log_folder::WriteBytes(folder_.Root() + L"\\Brivelnox", "a file in the place of the folder");
    logger_.Start(false, log_folder::kLogName);
    EXPECT_TRUE(logger_.IsStarted());
    EXPECT_NO_THROW(logger_.Log(L"Line", L"lost"));
    EXPECT_FALSE(log_folder::Exists(folder_.LogPath()));
}

TEST_F(logger_start, temporary_folder_longer_than_a_path_leaves_it_unstarted_and_a_later_start_tries_again) {
    const std::wstring long_path = L"C:\\" + std::wstring(300, L'x');
    SetEnvironmentVariableW(L"TMP", long_path.c_str());
    wchar_t found[MAX_PATH] = {};
    const DWORD length = GetTempPathW(MAX_PATH, found);
    if (length != 0 && length < MAX_PATH) {
        GTEST_SKIP() << "this system finds another folder";
    }
    logger_.Start(false, log_folder::kLogName);
    EXPECT_FALSE(logger_.IsStarted());
    logger_.Log(L"Line", L"dropped");

    SetEnvironmentVariableW(L"TMP", folder_.Root().c_str());
    logger_.Start(false, log_folder::kLogName);
    EXPECT_TRUE(logger_.IsStarted());
    logger_.Log(L"Line", L"written");
    EXPECT_THAT(folder_.LogLines(), ElementsAre("11-16 09:05:03 Line                 written"));
}

TEST_F(logger_start, missing_application_data_folder_leaves_it_unstarted_and_a_later_start_tries_again) {
    if (!RunsUnderWine()) {
        GTEST_SKIP() << "would change the shell folders of a real machine";
    }
    constexpr wchar_t kName[] = L"Brivelnox.LoggerStartTest";
    {
        const missing_common_folder missing;
        wchar_t found[MAX_PATH] = {};
        ASSERT_NE(SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, found), S_OK);
        logger_.Start(true, kName);
        EXPECT_FALSE(logger_.IsStarted());
        EXPECT_NO_THROW(logger_.Log(L"Line", L"dropped"));
        EXPECT_FALSE(log_folder::Exists(L"C:\\no such folder"));
    }
    logger_.Start(true, kName);
    EXPECT_TRUE(logger_.IsStarted());
    wchar_t common[MAX_PATH] = {};
    ASSERT_EQ(SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, common), S_OK);
    log_folder::Remove(std::wstring(common) + L"\\Brivelnox\\" + kName);
}

TEST_F(logger_start, start_waits_for_the_thread_that_holds_the_logger) {
    signal held;
    signal release;
    std::thread holder([&] {
        const lock_guard guard(LockOf(logger_));
        held.Set();
        EXPECT_TRUE(release.Wait());
    });
    ASSERT_TRUE(held.Wait());
    std::thread starter([&] { logger_.Start(false, log_folder::kLogName); });
    EXPECT_FALSE(logger_.IsStarted());
    release.Set();
    holder.join();
    starter.join();
    EXPECT_TRUE(logger_.IsStarted());
}

TEST(logger_of_the_process, is_one_and_the_same_everywhere) {
    EXPECT_EQ(&logger::Process(), &logger::Process());
}

}  // namespace
}  // namespace brivelnox::test
