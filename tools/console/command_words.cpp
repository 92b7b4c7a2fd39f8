#include "tools/console/command_words.h"

#include <windows.h>

#include <charconv>
#include <cstddef>
#include <system_error>

namespace brivelnox::console {

namespace {

std::wstring Widen(UINT code_page, std::string_view text) {
    const int length = static_cast<int>(text.size());
    const int size = length == 0 ? 0 : MultiByteToWideChar(code_page, 0, text.data(), length, nullptr, 0);
    std::wstring result(static_cast<std::size_t>(size), L'\0');
    if (size != 0) {
        (void)MultiByteToWideChar(code_page, 0, text.data(), length, result.data(), size);
    }
    return result;
}

std::string Narrow(UINT code_page, std::wstring_view text) {
    const int length = static_cast<int>(text.size());
    const int size =
        length == 0 ? 0
                    : WideCharToMultiByte(code_page, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(size), '\0');
    if (size != 0) {
        (void)WideCharToMultiByte(code_page, 0, text.data(), length, result.data(), size, nullptr, nullptr);
    }
    return result;
}

}  // namespace

words SplitWords(std::string_view line) {
    words result;
    bool in_word = false;
    bool in_quotes = false;
    for (const char c : line) {
        const bool divides = (c == ' ' || c == '\t') && !in_quotes;
        if (!divides && !in_word) {
            result.emplace_back();
        }
        in_word = !divides;
        if (c == '"') {
            in_quotes = !in_quotes;
        } else if (!divides) {
            result.back() += c;
        }
    }
    return result;
}

std::string QuoteWord(std::string_view word) {
    std::string quoted(word);
    for (char& c : quoted) {
        c = c == '"' ? '\'' : c;
    }
    return quoted.empty() || quoted.find_first_of(" \t") != std::string::npos ? "\"" + quoted + "\"" : quoted;
}

std::optional<std::int32_t> ToNumber(std::string_view word) {
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc() || end != word.data() + word.size()) {
        return std::nullopt;
    }
    return value;
}

std::string EscapeLine(std::string_view bytes) {
    static constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string line;
    line.reserve(bytes.size());
    for (const char c : bytes) {
        const auto value = static_cast<unsigned char>(c);
        if (c == '\\') {
            line += "\\\\";
        } else if (value >= 0x20 && value <= 0x7E) {
            line += c;
        } else {
            line += "\\x";
            line += kDigits[value >> 4U];
            line += kDigits[value & 0xFU];
        }
    }
    return line;
}

std::string UnescapeLine(std::string_view line) {
    std::string bytes;
    bytes.reserve(line.size());
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] != '\\' || i + 1 == line.size()) {
            bytes += line[i];
            continue;
        }
        if (line[i + 1] == '\\') {
            bytes += '\\';
            ++i;
            continue;
        }
        const std::string_view digits = line.substr(i + 2 <= line.size() ? i + 2 : line.size(), 2);
        unsigned value = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
        if (line[i + 1] == 'x' && digits.size() == 2 && error == std::errc() && end == digits.data() + 2) {
            bytes += static_cast<char>(value);
            i += 3;
        } else {
            bytes += line[i];
        }
    }
    return bytes;
}

std::wstring FromUtf8(std::string_view text) {
    return Widen(CP_UTF8, text);
}

std::string ToUtf8(std::wstring_view text) {
    return Narrow(CP_UTF8, text);
}

std::wstring FromAnsi(std::string_view text) {
    return Widen(CP_ACP, text);
}

std::string ToAnsi(std::wstring_view text) {
    return Narrow(CP_ACP, text);
}

}  // namespace brivelnox::console
