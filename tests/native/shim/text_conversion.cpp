#include "shim/text_conversion.h"

#include <array>
#include <cstddef>

namespace brivelnox::native {

namespace {

// The characters of code page 1252 from 0x80 to 0x9F; what it leaves open stands for itself.
constexpr std::array<wchar_t, 32> kSpecial = {
    0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178,
};
constexpr unsigned kFirstSpecial = 0x80;
constexpr unsigned kBehindSpecial = kFirstSpecial + kSpecial.size();

wchar_t FromAnsiByte(unsigned char byte) {
    return byte >= kFirstSpecial && byte < kBehindSpecial ? kSpecial[byte - kFirstSpecial] : wchar_t{byte};
}

/// The byte of a character, or -1 if the code page does not have it.
int ToAnsiByte(wchar_t character) {
    const auto code = static_cast<unsigned>(character);
    if (code < kFirstSpecial || (code >= kBehindSpecial && code <= 0xFF)) {
        return static_cast<int>(code);
    }
    for (std::size_t i = 0; i < kSpecial.size(); ++i) {
        if (kSpecial[i] == character) {
            return static_cast<int>(kFirstSpecial + i);
        }
    }
    return -1;
}

}  // namespace

std::wstring FromAnsi(std::string_view bytes) {
    std::wstring text;
    for (const char byte : bytes) {
        text += FromAnsiByte(static_cast<unsigned char>(byte));
    }
    return text;
}

std::string ToAnsiBytes(std::wstring_view text, char default_character, bool& used_default) {
    std::string bytes;
    used_default = false;
    for (const wchar_t character : text) {
        const int byte = ToAnsiByte(character);
        used_default = used_default || byte < 0;
        bytes += byte < 0 ? default_character : static_cast<char>(byte);
    }
    return bytes;
}

std::string ToUtf8(std::wstring_view text) {
    std::string bytes;
    for (const wchar_t character : text) {
        const auto code = static_cast<unsigned>(character);
        const int following = code < 0x80 ? 0 : code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
        constexpr unsigned kLeads[] = {0x00, 0xC0, 0xE0, 0xF0};
        bytes += static_cast<char>(kLeads[following] | (code >> (6 * following)));
        for (int i = following - 1; i >= 0; --i) {
            bytes += static_cast<char>(0x80 | ((code >> (6 * i)) & 0x3F));
        }
    }
    return bytes;
}

std::wstring FromUtf8(std::string_view bytes) {
    std::wstring text;
    for (std::size_t i = 0; i < bytes.size();) {
        const auto lead = static_cast<unsigned char>(bytes[i++]);
        const int following = lead < 0xC0 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
        unsigned code = following == 0 ? lead : lead & (0x3FU >> following);
        for (int left = following; left > 0 && i < bytes.size(); --left) {
            code = (code << 6) | (static_cast<unsigned char>(bytes[i++]) & 0x3F);
        }
        text += static_cast<wchar_t>(code);
    }
    return text;
}

}  // namespace brivelnox::native
