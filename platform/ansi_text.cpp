#include "platform/ansi_text.h"

#include <windows.h>

#include <climits>
#include <stdexcept>

namespace brivelnox {

namespace {

int CheckedLength(size_t length) {
    if (length > static_cast<size_t>(INT_MAX)) {
        throw std::length_error("text too long to convert");
    }
    return static_cast<int>(length);
}

}  // namespace

std::string ToAnsi(std::wstring_view text) {
    if (text.empty()) {
        return {};
    }
    const int length = CheckedLength(text.size());
    const int size = WideCharToMultiByte(CP_ACP, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<size_t>(size), '\0');
    (void)WideCharToMultiByte(CP_ACP, 0, text.data(), length, result.data(), size, nullptr, nullptr);
    return result;
}

std::wstring ToWide(std::string_view text) {
    if (text.empty()) {
        return {};
    }
    const int length = CheckedLength(text.size());
    const int size = MultiByteToWideChar(CP_ACP, 0, text.data(), length, nullptr, 0);
    std::wstring result(static_cast<size_t>(size), L'\0');
    (void)MultiByteToWideChar(CP_ACP, 0, text.data(), length, result.data(), size);
    return result;
}

}  // namespace brivelnox
