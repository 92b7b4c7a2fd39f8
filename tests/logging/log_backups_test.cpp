// Only the five newest backups are kept.

#include "logging/log_backups.h"

#include <windows.h>

#include <algorithm>
#include <iterator>
#include <string>
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
using testing::SizeIs;

log_backup Backup(const wchar_t* name, DWORD created, DWORD written = 0) {
    return {name, {created, 0}, {written, 0}};
}

std::vector<std::wstring> NamesOf(const std::vector<log_backup>& backups) {
    std::vector<std::wstring> names;
    std::transform(backups.begin(), backups.end(), std::back_inserter(names),
                   [](const log_backup& backup) { return backup.name; });
    return names;
}

TEST(log_backup_order, creation_time_comes_first) {
    EXPECT_TRUE(IsOlderBackup(Backup(L"z.log", 1, 9), Backup(L"a.log", 2, 1)));
    EXPECT_FALSE(IsOlderBackup(Backup(L"a.log", 2, 1), Backup(L"z.log", 1, 9)));
}

TEST(log_backup_order, high_half_of_the_time_outweighs_the_low) {
    const log_backup old = {L"z.log", {0xFFFFFFFF, 1}, {}};
    const log_backup young = {L"a.log", {0, 2}, {}};
    EXPECT_TRUE(IsOlderBackup(old, young));
    EXPECT_FALSE(IsOlderBackup(young, old));
}

TEST(log_backup_order, name_decides_between_equal_creation_times) {
    EXPECT_TRUE(IsOlderBackup(Backup(L"20261101.log", 1, 9), Backup(L"20261102.log", 1, 1)));
    EXPECT_FALSE(IsOlderBackup(Backup(L"20261102.log", 1, 1), Backup(L"20261101.log", 1, 9)));
}

TEST(log_backup_order, names_are_compared_by_the_numbers_of_their_characters) {
    EXPECT_TRUE(IsOlderBackup(Backup(L"B.log", 1), Backup(L"a.log", 1)));
    EXPECT_TRUE(IsOlderBackup(Backup(L"z.log", 1), Backup(L"\u00E4.log", 1)));
}

TEST(log_backup_order, name_that_is_the_beginning_of_another_is_older) {
    EXPECT_TRUE(IsOlderBackup(Backup(L"2026", 1), Backup(L"20261101", 1)));
    EXPECT_FALSE(IsOlderBackup(Backup(L"20261101", 1), Backup(L"2026", 1)));
}

TEST(log_backup_order, last_write_decides_between_equal_names) {
    EXPECT_TRUE(IsOlderBackup(Backup(L"a.log", 1, 1), Backup(L"a.log", 1, 2)));
    EXPECT_FALSE(IsOlderBackup(Backup(L"a.log", 1, 2), Backup(L"a.log", 1, 1)));
    EXPECT_FALSE(IsOlderBackup(Backup(L"a.log", 1, 1), Backup(L"a.log", 1, 1)));
}

TEST(log_backup_selection, five_backups_are_all_kept) {
    EXPECT_THAT(SelectBackupsToDelete({}), IsEmpty());
    EXPECT_THAT(SelectBackupsToDelete(
                    {Backup(L"5", 5), Backup(L"4", 4), Backup(L"3", 3), Backup(L"2", 2), Backup(L"1", 1)}),
                IsEmpty());
}

TEST(log_backup_selection, oldest_of_six_goes) {
    EXPECT_THAT(NamesOf(SelectBackupsToDelete({Backup(L"5", 5), Backup(L"1", 1), Backup(L"6", 6),
                                               Backup(L"2", 2), Backup(L"4", 4), Backup(L"3", 3)})),
                ElementsAre(L"1"));
}

TEST(log_backup_selection, oldest_go_first_and_names_decide_between_equal_times) {
    EXPECT_THAT(
        NamesOf(SelectBackupsToDelete({Backup(L"h", 1), Backup(L"g", 1), Backup(L"f", 1), Backup(L"e", 1),
                                       Backup(L"d", 1), Backup(L"c", 1), Backup(L"b", 1), Backup(L"a", 2)})),
        ElementsAre(L"b", L"c", L"d"));
}

/// A file of yesterday, and backups whose names run against their age, so that only the creation time can
/// tell which are the oldest.
class log_backup_folder : public testing::Test {
  protected:
    void AddBackups(int count) {
        constexpr const wchar_t* kNames[] = {L"20269909.log", L"20269908.log", L"20269907.log",
                                             L"20269906.log", L"20269905.log", L"20269904.log",
                                             L"20269903.log", L"20269902.log"};
        for (int index = 0; index < count; ++index) {
            folder_.AddBackup(kNames[index], OnDay(2026, 10, static_cast<WORD>(index + 1)));
        }
    }

    /// Puts yesterday's file away, which makes one backup more.
    void Roll() {
        log_folder::WriteBytes(folder_.LogPath(), "left\r\n");
        folder_.DateLog(OnDay(2026, 11, 15));
        logger logger(&test_clock::Now);
        logger.Start(false, log_folder::kLogName);
        logger.Log(L"Line", L"one");
        EXPECT_EQ(folder_.LogLines().size(), 1u) << "the file was not put away";
    }

    log_folder folder_;
};

TEST_F(log_backup_folder, five_after_a_roll_are_all_kept) {
    AddBackups(4);
    Roll();
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261116.log", L"20269906.log", L"20269907.log",
                                               L"20269908.log", L"20269909.log"));
}

TEST_F(log_backup_folder, oldest_of_six_after_a_roll_is_deleted) {
    AddBackups(5);
    Roll();
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261116.log", L"20269905.log", L"20269906.log",
                                               L"20269907.log", L"20269908.log"));
}

TEST_F(log_backup_folder, two_oldest_of_seven_after_a_roll_are_deleted) {
    AddBackups(6);
    Roll();
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261116.log", L"20269904.log", L"20269905.log",
                                               L"20269906.log", L"20269907.log"));
}

TEST_F(log_backup_folder, move_that_fails_is_followed_by_the_maintenance_all_the_same) {
    AddBackups(6);
    folder_.AddBackup(L"20261116.log", OnDay(2026, 11, 14));
    log_folder::WriteBytes(folder_.LogPath(), "left\r\n");
    folder_.DateLog(OnDay(2026, 11, 15));
    logger logger(&test_clock::Now);
    logger.Start(false, log_folder::kLogName);
    logger.Log(L"Line", L"one");
    EXPECT_THAT(folder_.LogLines(), SizeIs(2));
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261116.log", L"20269904.log", L"20269905.log",
                                               L"20269906.log", L"20269907.log"));
}

TEST_F(log_backup_folder, nothing_is_deleted_without_a_roll) {
    AddBackups(8);
    logger logger(&test_clock::Now);
    logger.Start(false, log_folder::kLogName);
    logger.Log(L"Line", L"one");
    EXPECT_THAT(folder_.Backups(), SizeIs(8));
}

TEST_F(log_backup_folder, files_of_other_kinds_neither_count_nor_go) {
    AddBackups(4);
    folder_.AddBackup(L"notes.txt", OnDay(2026, 1, 1));
    folder_.AddBackup(L"20260101.log.bak", OnDay(2026, 1, 1));
    Roll();
    EXPECT_THAT(folder_.Backups(), SizeIs(7));
}

TEST_F(log_backup_folder, backup_that_cannot_be_deleted_does_not_keep_the_others) {
    AddBackups(6);
    const unique_file held(CreateFileW(folder_.BackupPath(L"20269909.log").c_str(), GENERIC_READ,
                                       FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                       nullptr));
    ASSERT_TRUE(held);
    Roll();
    EXPECT_THAT(folder_.Backups(), ElementsAre(L"20261116.log", L"20269904.log", L"20269905.log",
                                               L"20269906.log", L"20269907.log", L"20269909.log"));
}

TEST_F(log_backup_folder, missing_folder_is_no_failure) {
    EXPECT_NO_THROW(DeleteOldBackups(folder_.Root() + L"\\nowhere"));
    EXPECT_FALSE(log_folder::Exists(folder_.Root() + L"\\nowhere"));
}

}  // namespace
}  // namespace brivelnox::test
