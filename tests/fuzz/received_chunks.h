#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace brivelnox::fuzz {

/// What arrives, in the pieces in which it is received.
struct received_chunks {
    std::vector<std::string> pieces;

    [[nodiscard]] std::string Together() const;
};

/// Reads chunks from an input. A line end divides two chunks. After a backslash, `n` stands for a line end,
/// `0` for a zero byte, a digit from 1 to 9 for as many times 300 bytes of filling, `(` and `)` for nothing
/// and `#` for the digit 0 (growing_input.h tells what they mark), anything else for itself. At most 64 KiB.
received_chunks ReadChunks(std::string_view input);

}  // namespace brivelnox::fuzz
