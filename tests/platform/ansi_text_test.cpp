// The texts on the service's connection are in the machine's ANSI code page. What the code page can hold is
// checked on machines that use 1252; the rest holds everywhere.

#include "platform/ansi_text.h"

#include <windows.h>

#include <climits>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace brivelnox::test {
namespace {

constexpr UINT kWesternEurope = 1252;

/// The tests below need a code page whose characters they know.
class ansi_text_in_code_page_1252 : public testing::Test {
  protected:
    void SetUp() override {
        if (GetACP() != kWesternEurope) {
            GTEST_SKIP() << "the ANSI code page is " << GetACP();
        }
    }
};

TEST(ansi_text, empty_text_stays_empty_in_both_directions) {
    EXPECT_EQ(ToAnsi(L""), "");
    EXPECT_EQ(ToWide(""), L"");
}

TEST(ansi_text, ascii_is_the_same_in_both_directions) {
    std::wstring wide;
    std::string narrow;
    for (char character = 1; character < 127; ++character) {
        wide += static_cast<wchar_t>(character);
        narrow += character;
    }
    EXPECT_EQ(ToAnsi(wide), narrow);
    EXPECT_EQ(ToWide(narrow), wide);
}

TEST(ansi_text, zero_character_in_the_middle_is_kept) {
    EXPECT_EQ(ToAnsi(std::wstring_view(L"a\0b", 3)), std::string("a\0b", 3));
    EXPECT_EQ(ToWide(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
}

TEST(ansi_text, only_the_given_part_of_a_longer_text_is_converted) {
    EXPECT_EQ(ToAnsi(std::wstring_view(L"12345", 3)), "123");
    EXPECT_EQ(ToWide(std::string_view("12345", 3)), L"123");
}

TEST(ansi_text, long_text_is_converted_whole) {
    const std::wstring wide(100000, L'7');
    const std::string narrow(100000, '7');
    EXPECT_EQ(ToAnsi(wide), narrow);
    EXPECT_EQ(ToWide(narrow), wide);
}

TEST(ansi_text, text_longer_than_the_system_can_convert_is_refused) {
    // Refused by its length alone: the memory behind these views is never looked at.
    const wchar_t wide = L'x';
    const char narrow = 'x';
    const std::size_t length = static_cast<std::size_t>(INT_MAX) + 1;
    EXPECT_THROW(ToAnsi(std::wstring_view(&wide, length)), std::length_error);
    EXPECT_THROW(ToWide(std::string_view(&narrow, length)), std::length_error);
}

TEST_F(ansi_text_in_code_page_1252, umlaut_is_one_byte_and_not_utf8) {
    EXPECT_EQ(ToAnsi(L"M\u00FCller"), "M\xFCller");
    EXPECT_EQ(ToWide("M\xFCller"), L"M\u00FCller");
}

TEST_F(ansi_text_in_code_page_1252, utf8_bytes_are_read_as_the_single_characters_they_are) {
    EXPECT_EQ(ToWide("\xC3\xBC"), L"\u00C3\u00BC");
}

TEST_F(ansi_text_in_code_page_1252, euro_sign_has_its_place_in_the_code_page) {
    EXPECT_EQ(ToAnsi(L"\u20AC"), "\x80");
    EXPECT_EQ(ToWide("\x80"), L"\u20AC");
}

TEST_F(ansi_text_in_code_page_1252, every_latin_letter_survives_both_directions) {
    std::string narrow;
    std::wstring wide;
    for (int code = 0xA0; code <= 0xFF; ++code) {
        narrow += static_cast<char>(code);
        wide += static_cast<wchar_t>(code);
    }
    EXPECT_EQ(ToWide(narrow), wide);
    EXPECT_EQ(ToAnsi(wide), narrow);
}

TEST_F(ansi_text_in_code_page_1252, character_that_the_code_page_lacks_becomes_its_default_character) {
    EXPECT_EQ(ToAnsi(L"a\u65E5b"), "a?b");
}

}  // namespace
}  // namespace brivelnox::test
