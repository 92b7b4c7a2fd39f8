#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brivelnox::console {

using words = std::vector<std::string>;

/// The words of a command line, divided by blanks. Text between double quotes is one word (or a part of one),
/// blanks included; there is no way to write a double quote itself.
words SplitWords(std::string_view line);

/// The word in double quotes if it is empty or holds a blank, else the word: SplitWords gives it back. A
/// double quote within becomes a single one.
std::string QuoteWord(std::string_view word);

/// A whole decimal number, or nothing.
std::optional<std::int32_t> ToNumber(std::string_view word);

/// The text on one line of printable ASCII: a backslash becomes "\\", any other byte outside 0x20 to 0x7E
/// becomes "\xNN".
std::string EscapeLine(std::string_view bytes);

/// The bytes that EscapeLine wrote. A backslash sequence that it does not write is taken as it stands.
std::string UnescapeLine(std::string_view line);

/// Conversions by way of UTF-16. Input that is not of its encoding becomes replacement characters.
std::wstring FromUtf8(std::string_view text);
std::string ToUtf8(std::wstring_view text);
std::wstring FromAnsi(std::string_view text);
std::string ToAnsi(std::wstring_view text);

}  // namespace brivelnox::console
