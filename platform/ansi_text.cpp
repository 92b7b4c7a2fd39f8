#include "platform/ansi_text.h"

#include <windows.h>

#include <climits>
#include <cstddef>
#include <stdexcept>

namespace brivelnox {

namespace {

// Of any ANSI code page; UTF-8 may be one.
constexpr std::size_t kMaxBytesPerCharacter = 4;

int CheckedLength(std::size_t length) {
    if (length > std::size_t{INT_MAX}) {
        throw std::length_error("text too long to convert");
    }
    return static_cast<int>(length);
}

}  // namespace

void AppendAnsi(std::string& bytes, std::wstring_view text) {
    if (text.empty()) {
        return;
    }
    const std::size_t before = bytes.size();
    const int room = CheckedLength(kMaxBytesPerCharacter * text.size());
    bytes.resize(before + static_cast<std::size_t>(room));
    const int size = WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()),
                                         bytes.data() + before, room, nullptr, nullptr);
    bytes.resize(before + static_cast<std::size_t>(size));
}

std::string ToAnsi(std::wstring_view text) {
    std::string result;
    AppendAnsi(result, text);
    return result;
}

std::wstring ToWide(std::string_view text) {
    if (text.empty()) {
        return {};
    }
    // No byte becomes more than one character.
    const int length = CheckedLength(text.size());
    std::wstring result(text.size(), L'\0');
    result.resize(
        static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, text.data(), length, result.data(), length)));
    return result;
}

}  // namespace brivelnox
