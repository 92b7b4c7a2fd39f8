#include "tools/setup/failure.h"

#include <iterator>

#include "tools/console/command_words.h"

namespace brivelnox::setup {

namespace {

/// What the system says to the code, without the line ends that it puts in; empty if it knows nothing.
std::string WordsOfTheSystem(DWORD code) {
    wchar_t text[256] = {};
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK, nullptr,
        code, 0, text, static_cast<DWORD>(std::size(text)), nullptr);
    std::wstring words(text, length);
    words.erase(words.find_last_not_of(L" \r\n") + 1);
    return console::ToUtf8(words);
}

}  // namespace

void FailWith(DWORD code, const std::string& what) {
    const std::string words = WordsOfTheSystem(code);
    throw failure(what + ": " + (words.empty() ? "" : words + " ") + "(error " + std::to_string(code) + ")");
}

void FailWithLastError(const std::string& what) {
    FailWith(GetLastError(), what);
}

}  // namespace brivelnox::setup
