// What a line looks like, and what becomes of it when it cannot be written.

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "logging/category_log.h"
#include "logging/logger.h"
#include "platform/unique_handle.h"
#include "tests/logging/log_folder_helper.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;

class logger_lines : public testing::Test {
  protected:
    logger_lines() { logger_.Start(false, log_folder::kLogName); }

    /// Opens the current file and shares it as told.
    [[nodiscard]] unique_file OpenLog(DWORD share) const {
        return unique_file(CreateFileW(folder_.LogPath().c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
    }

    log_folder folder_;
    logger logger_{&test_clock::Now};
};

TEST_F(logger_lines, line_holds_time_category_in_a_field_of_20_characters_and_text) {
    logger_.Log(L"TelephonyManager", L"TSPI_providerInit");
    EXPECT_EQ(folder_.LogBytes(), "11-16 09:05:03 TelephonyManager     TSPI_providerInit\r\n");
}

TEST_F(logger_lines, every_part_of_the_time_has_two_digits) {
    test_clock::Set({2027, 1, 0, 2, 0, 4, 5, 999});
    logger_.Log(L"Line", L"first");
    EXPECT_EQ(folder_.LogBytes(), "01-02 00:04:05 Line                 first\r\n");
}

TEST_F(logger_lines, hours_run_to_23) {
    test_clock::Set({2026, 12, 0, 31, 23, 59, 58, 0});
    logger_.Log(L"Line", L"last");
    EXPECT_EQ(folder_.LogBytes(), "12-31 23:59:58 Line                 last\r\n");
}

TEST_F(logger_lines, lines_are_appended_in_order) {
    logger_.Log(L"Line", L"one");
    logger_.Log(L"CallManager", L"two");
    logger_.Log(L"TcpLink", L"three");
    EXPECT_THAT(folder_.LogLines(), ElementsAre("11-16 09:05:03 Line                 one",
                                                "11-16 09:05:03 CallManager          two",
                                                "11-16 09:05:03 TcpLink              three"));
}

TEST_F(logger_lines, lines_that_are_there_from_earlier_stay) {
    log_folder::WriteBytes(folder_.LogPath(), "earlier\r\n");
    folder_.DateLog(kToday);
    logger_.Log(L"Line", L"later");
    EXPECT_THAT(folder_.LogLines(), ElementsAre("earlier", "11-16 09:05:03 Line                 later"));
}

TEST_F(logger_lines, empty_text_still_makes_a_line) {
    logger_.Log(L"Line", L"");
    EXPECT_EQ(folder_.LogBytes(), "11-16 09:05:03 Line                 \r\n");
}

TEST_F(logger_lines, category_of_20_characters_fills_its_field) {
    logger_.Log(L"12345678901234567890", L"text");
    EXPECT_EQ(folder_.LogBytes(), "11-16 09:05:03 12345678901234567890 text\r\n");
}

TEST_F(logger_lines, longer_category_is_not_cut) {
    logger_.Log(L"1234567890123456789012345", L"text");
    EXPECT_EQ(folder_.LogBytes(), "11-16 09:05:03 1234567890123456789012345 text\r\n");
}

TEST_F(logger_lines, format_takes_wide_texts_and_numbers) {
    logger_.Log(L"Line", L"%s, 0x%08X, %d, %02d%%", L"Alice", 0xABCu, -7, 5);
    EXPECT_THAT(folder_.LogLines(),
                ElementsAre("11-16 09:05:03 Line                 Alice, 0x00000ABC, -7, 05%"));
}

TEST_F(logger_lines, null_format_writes_nothing) {
    logger_.Log(L"Line", nullptr);
    EXPECT_FALSE(log_folder::Exists(folder_.LogPath()));
}

TEST_F(logger_lines, message_of_511_characters_is_kept_whole) {
    const std::wstring text(511, L'x');
    logger_.Log(L"Line", L"%s", text.c_str());
    EXPECT_EQ(folder_.LogBytes(), "11-16 09:05:03 Line                 " + std::string(511, 'x') + "\r\n");
}

TEST_F(logger_lines, message_longer_than_511_characters_is_cut) {
    for (const size_t length : {size_t{512}, size_t{513}, size_t{5000}}) {
        const std::wstring text(length, L'x');
        logger_.Log(L"Line", L"%s", text.c_str());
    }
    const std::string cut = "11-16 09:05:03 Line                 " + std::string(511, 'x');
    EXPECT_THAT(folder_.LogLines(), ElementsAre(cut, cut, cut));
}

TEST_F(logger_lines, cut_counts_the_formatted_message_and_not_its_argument) {
    const std::wstring text(508, L'x');
    logger_.Log(L"Line", L"<%s>end", text.c_str());
    EXPECT_THAT(folder_.LogLines(),
                ElementsAre("11-16 09:05:03 Line                 <" + std::string(508, 'x') + ">e"));
}

TEST_F(logger_lines, line_feed_inside_a_text_is_stored_as_cr_lf_too) {
    logger_.Write(L"Line", L"one\ntwo");
    EXPECT_EQ(folder_.LogBytes(), "11-16 09:05:03 Line                 one\r\ntwo\r\n");
}

TEST_F(logger_lines, characters_are_stored_as_eight_bit_text) {
    if (GetACP() != 1252) {
        GTEST_SKIP() << "the ANSI code page is " << GetACP();
    }
    logger_.Log(L"Line", L"M\u00FCller");
    EXPECT_THAT(folder_.LogLines(), ElementsAre("11-16 09:05:03 Line                 M\xFCller"));
}

TEST_F(logger_lines, character_that_cannot_be_stored_does_not_lose_the_line) {
    logger_.Log(L"Line", L"before \u65E5 after");
    ASSERT_EQ(folder_.LogLines().size(), 1u);
    EXPECT_THAT(folder_.LogLines().front(), testing::HasSubstr(" after"));
}

TEST_F(logger_lines, file_may_be_read_while_it_is_written) {
    logger_.Log(L"Line", L"one");
    const unique_file reader = OpenLog(FILE_SHARE_READ | FILE_SHARE_WRITE);
    ASSERT_TRUE(reader);
    logger_.Log(L"Line", L"two");
    EXPECT_EQ(folder_.LogLines().size(), 2u);
}

TEST_F(logger_lines, file_is_not_held_between_lines) {
    logger_.Log(L"Line", L"one");
    EXPECT_TRUE(OpenLog(0)) << "somebody holds the file";
    EXPECT_TRUE(DeleteFileW(folder_.LogPath().c_str()));
    logger_.Log(L"Line", L"two");
    EXPECT_THAT(folder_.LogLines(), ElementsAre("11-16 09:05:03 Line                 two"));
}

TEST_F(logger_lines, lines_are_lost_silently_while_somebody_holds_the_file_without_sharing_it) {
    logger_.Log(L"Line", L"one");
    {
        const unique_file held = OpenLog(0);
        ASSERT_TRUE(held);
        EXPECT_NO_THROW(logger_.Log(L"Line", L"two"));
    }
    logger_.Log(L"Line", L"three");
    EXPECT_THAT(folder_.LogLines(), ElementsAre("11-16 09:05:03 Line                 one",
                                                "11-16 09:05:03 Line                 three"));
}

TEST_F(logger_lines, lines_are_lost_silently_when_the_folder_has_gone) {
    const std::wstring logs = folder_.Root() + L"\\Brivelnox\\" + log_folder::kLogName + L"\\logs";
    ASSERT_TRUE(RemoveDirectoryW(logs.c_str()));
    EXPECT_NO_THROW(logger_.Log(L"Line", L"lost"));
    ASSERT_TRUE(CreateDirectoryW(logs.c_str(), nullptr));
    EXPECT_NO_THROW(logger_.Log(L"Line", L"found"));
    EXPECT_THAT(folder_.LogLines(), ElementsAre("11-16 09:05:03 Line                 found"));
}

TEST_F(logger_lines, lines_are_lost_silently_when_a_folder_stands_in_the_place_of_the_file) {
    ASSERT_TRUE(CreateDirectoryW(folder_.LogPath().c_str(), nullptr));
    EXPECT_NO_THROW(logger_.Log(L"Line", L"lost"));
    EXPECT_TRUE(RemoveDirectoryW(folder_.LogPath().c_str()));
}

TEST(category_log, writes_to_the_logger_of_the_process_with_its_category) {
    const log_folder folder;
    logger::Process().Start(false, log_folder::kLogName);
    if (!log_folder::Exists(folder.Root() + L"\\Brivelnox")) {
        GTEST_SKIP() << "another test of this process has started its logger elsewhere";
    }
    constexpr category_log Log{L"VekTapiCall"};
    Log(L"state 0x%08X of %s", 0x10u, L"Bob");
    ASSERT_EQ(folder.LogLines().size(), 1u);
    // Behind the time, which is the real one here.
    EXPECT_EQ(folder.LogLines().front().substr(14), " VekTapiCall          state 0x00000010 of Bob");
}

}  // namespace
}  // namespace brivelnox::test
