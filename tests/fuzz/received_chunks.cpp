#include "received_chunks.h"

#include <cstddef>

#include "fuzz_input.h"

namespace brivelnox::fuzz {

namespace {

constexpr std::size_t kMostBytes = 64 * 1024;
constexpr std::size_t kFilling = 300;

std::string Escaped(char letter) {
    if (letter >= '1' && letter <= '9') {
        return std::string(kFilling * static_cast<std::size_t>(letter - '0'), 'x');
    }
    if (letter == '(' || letter == ')') {
        return {};
    }
    const char meant = letter == 'n' ? '\n' : letter == '0' ? '\0' : letter == '#' ? '0' : letter;
    return {1, meant};
}

}  // namespace

std::string received_chunks::Together() const {
    std::string together;
    for (const std::string& piece : pieces) {
        together += piece;
    }
    return together;
}

received_chunks ReadChunks(std::string_view input) {
    received_chunks chunks;
    chunks.pieces.emplace_back();
    std::size_t bytes = 0;
    for (fuzz_input left(input); !left.IsEmpty() && bytes < kMostBytes;) {
        const char letter = left.Take();
        if (letter == '\n') {
            chunks.pieces.emplace_back();
            continue;
        }
        const std::string read = letter == '\\' ? Escaped(left.Take()) : std::string(1, letter);
        bytes += read.size();
        chunks.pieces.back() += read;
    }
    return chunks;
}

}  // namespace brivelnox::fuzz
