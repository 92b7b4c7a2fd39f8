// Words, escapes and encodings of the two programs' command lines.

#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/console/command_words.h"

namespace brivelnox::test {
namespace {

using console::EscapeLine;
using console::FromAnsi;
using console::FromUtf8;
using console::QuoteWord;
using console::SplitWords;
using console::ToAnsi;
using console::ToNumber;
using console::ToUtf8;
using console::UnescapeLine;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(console_text, divides_words_at_blanks) {
    EXPECT_THAT(SplitWords("  ring 1001\t+49 "), ElementsAre("ring", "1001", "+49"));
    EXPECT_THAT(SplitWords(" \t "), IsEmpty());
}

TEST(console_text, keeps_quoted_text_together) {
    EXPECT_THAT(SplitWords("register 1 \"Anna Berger\" \"\""),
                ElementsAre("register", "1", "Anna Berger", ""));
    EXPECT_THAT(SplitWords("a\" b\"c"), ElementsAre("a bc"));
}

TEST(console_text, quotes_so_that_the_word_comes_back) {
    for (const std::string word : {"plain", "", "two words", "\ttab"}) {
        EXPECT_THAT(SplitWords(QuoteWord(word)), ElementsAre(word));
    }
    EXPECT_EQ(QuoteWord("a\"b c"), "\"a'b c\"");
}

TEST(console_text, reads_whole_numbers_only) {
    EXPECT_EQ(ToNumber("-12"), -12);
    EXPECT_EQ(ToNumber("12x"), std::nullopt);
    EXPECT_EQ(ToNumber(""), std::nullopt);
    EXPECT_EQ(ToNumber("4294967296"), std::nullopt);
}

TEST(console_text, escapes_to_one_line_of_ascii_and_back) {
    const std::string bytes("a\\b\n\0\xFC~", 7);
    EXPECT_EQ(EscapeLine(bytes), "a\\\\b\\x0A\\x00\\xFC~");
    EXPECT_EQ(UnescapeLine(EscapeLine(bytes)), bytes);
}

TEST(console_text, leaves_foreign_backslashes_as_they_are) {
    EXPECT_EQ(UnescapeLine("\\n\\xZZ\\x4\\"), "\\n\\xZZ\\x4\\");
}

TEST(console_text, converts_between_encodings) {
    EXPECT_EQ(FromUtf8("M\xC3\xBCller"), L"M\u00FCller");
    EXPECT_EQ(ToUtf8(L"M\u00FCller"), "M\xC3\xBCller");
    EXPECT_EQ(FromAnsi("M\xFCller"), L"M\u00FCller");
    EXPECT_EQ(ToAnsi(L"M\u00FCller"), "M\xFCller");
    EXPECT_EQ(ToUtf8(L""), "");
}

}  // namespace
}  // namespace brivelnox::test
