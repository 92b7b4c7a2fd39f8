// The file of a day that is over is put into the backup folder.

#include <windows.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "logging/logger.h"
#include "platform/unique_handle.h"
#include "tests/logging/log_folder_helper.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kOneToday[] = "11-16 09:05:03 Line                 one";
constexpr char kTwoToday[] = "11-16 09:05:03 Line                 two";
constexpr char kOneTomorrow[] = "11-17 09:05:03 Line                 one";
constexpr char kTwoTomorrow[] = "11-17 09:05:03 Line                 two";

class logger_day : public testing::Test {
  protected:
    logger_day() { Restart(); }

    /// As after the start of a new process: nothing is known of earlier lines.
    void Restart() {
        logger_ = std::make_unique<logger>(&test_clock::Now);
        logger_->Start(false, log_folder::kLogName);
    }

    void Log(const wchar_t* text) { logger_->Log(L"Line", L"%s", text); }

    /// A file from an earlier run.
    void LeaveFileFrom(const SYSTEMTIME& created) {
        log_folder::WriteBytes(folder_.LogPath(), "left\r\n");
        folder_.DateLog(created);
    }

    log_folder folder_;
    std::unique_ptr<logger> logger_;
    const SYSTEMTIME yesterday_ = OnDay(2026, 11, 15);
    const SYSTEMTIME tomorrow_ = OnDay(2026, 11, 17);
};

TEST_F(logger_day, first_line_after_midnight_moves_the_file_to_a_backup_named_after_the_new_day) {
    Log(L"one");
    folder_.DateLog(kToday);
    test_clock::Set(tomorrow_);
    Log(L"two");
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261117.log"));
    EXPECT_EQ(folder_.BackupBytes(L"20261117.log"), std::string(kOneToday) + "\r\n");
    EXPECT_THAT(folder_.LogLines(), ElementsAre(kTwoTomorrow));
}

TEST_F(logger_day, first_second_of_a_day_is_the_new_day) {
    test_clock::Set({2026, 11, 0, 16, 23, 59, 59, 999});
    Log(L"one");
    folder_.DateLog({2026, 11, 0, 16, 23, 59, 59, 0});
    test_clock::Set({2026, 11, 0, 17, 0, 0, 0, 0});
    Log(L"two");
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261117.log"));
    EXPECT_THAT(folder_.LogLines(), ElementsAre("11-17 00:00:00 Line                 two"));
}

TEST_F(logger_day, backup_name_has_four_digits_of_the_year_and_two_of_month_and_day) {
    LeaveFileFrom(OnDay(2026, 12, 31));
    test_clock::Set(OnDay(2027, 1, 2));
    Log(L"one");
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20270102.log"));
}

TEST_F(logger_day, first_line_after_the_start_puts_an_older_file_away) {
    LeaveFileFrom(yesterday_);
    Log(L"one");
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261116.log"));
    EXPECT_EQ(folder_.BackupBytes(L"20261116.log"), "left\r\n");
    EXPECT_THAT(folder_.LogLines(), ElementsAre(kOneToday));
}

TEST_F(logger_day, first_line_after_the_start_keeps_todays_file) {
    LeaveFileFrom(kToday);
    Log(L"one");
    EXPECT_THAT(folder_.Backups(), IsEmpty());
    EXPECT_THAT(folder_.LogLines(), ElementsAre("left", kOneToday));
}

TEST_F(logger_day, local_time_decides_which_day_a_file_belongs_to) {
    const SYSTEMTIME last_second_of_yesterday = {2026, 11, 0, 15, 23, 59, 59, 0};
    const SYSTEMTIME first_second_of_today = {2026, 11, 0, 16, 0, 0, 0, 0};
    const SYSTEMTIME last_second_of_today = {2026, 11, 0, 16, 23, 59, 59, 0};
    for (const SYSTEMTIME& todays : {first_second_of_today, last_second_of_today}) {
        LeaveFileFrom(todays);
        Restart();
        Log(L"one");
        EXPECT_THAT(folder_.Backups(), IsEmpty());
    }
    LeaveFileFrom(last_second_of_yesterday);
    Restart();
    Log(L"one");
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261116.log"));
}

TEST_F(logger_day, same_day_of_another_month_is_another_day) {
    LeaveFileFrom(OnDay(2026, 10, 16));
    Log(L"one");
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261116.log"));
}

TEST_F(logger_day, same_date_of_another_year_is_another_day) {
    LeaveFileFrom(OnDay(2025, 11, 16));
    Log(L"one");
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261116.log"));
}

TEST_F(logger_day, file_from_a_day_to_come_is_put_away_too) {
    LeaveFileFrom(tomorrow_);
    Log(L"one");
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261116.log"));
}

TEST_F(logger_day, later_lines_of_the_day_do_not_look_at_the_file_again) {
    Log(L"one");
    folder_.DateLog(yesterday_);
    Log(L"two");
    EXPECT_THAT(folder_.Backups(), IsEmpty());
    EXPECT_THAT(folder_.LogLines(), ElementsAre(kOneToday, kTwoToday));
}

TEST_F(logger_day, date_of_the_last_line_is_compared_by_month_and_year_too) {
    Log(L"one");
    for (const SYSTEMTIME& same_day : {OnDay(2026, 12, 16), OnDay(2027, 12, 16)}) {
        folder_.DateLog(yesterday_);
        test_clock::Set(same_day);
        Log(L"two");
    }
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261216.log", L"20271216.log"));
}

TEST_F(logger_day, file_that_was_made_on_the_new_day_is_not_put_away) {
    Log(L"one");
    folder_.DateLog(tomorrow_);
    test_clock::Set(tomorrow_);
    Log(L"two");
    EXPECT_THAT(folder_.Backups(), IsEmpty());
    EXPECT_THAT(folder_.LogLines(), ElementsAre(kOneToday, kTwoTomorrow));
}

TEST_F(logger_day, missing_file_is_not_put_away_and_makes_no_backup_folder) {
    Log(L"one");
    ASSERT_TRUE(DeleteFileW(folder_.LogPath().c_str()));
    test_clock::Set(tomorrow_);
    Log(L"one");
    EXPECT_FALSE(log_folder::Exists(folder_.BackupPath(L"")));
    EXPECT_THAT(folder_.LogLines(), ElementsAre(kOneTomorrow));
}

TEST_F(logger_day, file_that_cannot_be_opened_is_not_put_away) {
    LeaveFileFrom(yesterday_);
    {
        const unique_file held(CreateFileW(folder_.LogPath().c_str(), GENERIC_READ, FILE_SHARE_DELETE,
                                           nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        ASSERT_TRUE(held);
        Log(L"lost");
    }
    EXPECT_THAT(folder_.Backups(), IsEmpty());
    Log(L"one");
    EXPECT_THAT(folder_.LogLines(), ElementsAre("left", kOneToday)) << "the day was checked again";
}

TEST_F(logger_day, existing_backup_folder_is_used) {
    folder_.AddBackup(L"20261101.log", OnDay(2026, 11, 1));
    LeaveFileFrom(yesterday_);
    Log(L"one");
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261101.log", L"20261116.log"));
}

/// A clock that goes through given times and stays at the last.
class scripted_clock {
  public:
    static void Set(std::vector<SYSTEMTIME> times) { times_ = std::move(times); }
    static SYSTEMTIME Now() {
        const SYSTEMTIME now = times_.front();
        if (times_.size() > 1) {
            times_.erase(times_.begin());
        }
        return now;
    }

  private:
    static inline std::vector<SYSTEMTIME> times_;
};

TEST_F(logger_day, line_of_the_old_day_that_gets_its_turn_after_midnight_does_not_put_the_new_file_away) {
    scripted_clock::Set({tomorrow_});
    logger late(&scripted_clock::Now);
    late.Start(false, log_folder::kLogName);
    late.Log(L"Line", L"one");
    folder_.DateLog(tomorrow_);
    // Its time was read before midnight, but another thread has written first.
    scripted_clock::Set({kToday, tomorrow_});
    late.Log(L"Line", L"two");
    EXPECT_THAT(folder_.Backups(), IsEmpty());
    EXPECT_THAT(folder_.LogLines(), ElementsAre(kOneTomorrow, kTwoToday));
}

class logger_day_with_a_backup_already : public logger_day {
  protected:
    logger_day_with_a_backup_already() {
        folder_.AddBackup(L"20261116.log", kToday);
        LeaveFileFrom(yesterday_);
        Log(L"one");
    }
};

TEST_F(logger_day_with_a_backup_already, old_file_stays_and_goes_on_growing) {
    Log(L"two");
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261116.log"));
    EXPECT_EQ(folder_.BackupBytes(L"20261116.log"), "old\r\n");
    EXPECT_THAT(folder_.LogLines(), ElementsAre("left", kOneToday, kTwoToday));
}

TEST_F(logger_day_with_a_backup_already, day_is_not_checked_again_on_that_day) {
    folder_.DateLog(yesterday_);
    ASSERT_TRUE(DeleteFileW(folder_.BackupPath(L"20261116.log").c_str()));
    Log(L"two");
    EXPECT_THAT(folder_.Backups(), IsEmpty());
    EXPECT_THAT(folder_.LogLines(), ElementsAre("left", kOneToday, kTwoToday));
}

TEST_F(logger_day_with_a_backup_already, day_is_checked_again_after_the_next_date_change) {
    folder_.DateLog(yesterday_);
    test_clock::Set(tomorrow_);
    Log(L"one");
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261116.log", L"20261117.log"));
    EXPECT_EQ(folder_.BackupBytes(L"20261117.log"), std::string("left\r\n") + kOneToday + "\r\n");
    EXPECT_THAT(folder_.LogLines(), ElementsAre(kOneTomorrow));
}

TEST_F(logger_day_with_a_backup_already, day_is_checked_again_after_the_next_start) {
    folder_.DateLog(yesterday_);
    ASSERT_TRUE(DeleteFileW(folder_.BackupPath(L"20261116.log").c_str()));
    Restart();
    Log(L"two");
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261116.log"));
    EXPECT_EQ(folder_.BackupBytes(L"20261116.log"), std::string("left\r\n") + kOneToday + "\r\n");
    EXPECT_THAT(folder_.LogLines(), ElementsAre(kTwoToday));
}

}  // namespace
}  // namespace brivelnox::test
