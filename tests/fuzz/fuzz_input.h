#pragma once

// What both programs read their inputs with, and how they say that a rule is broken.

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace brivelnox::fuzz {

/// Ends the program, which keeps the input, with the rule that was broken and what shows it.
[[noreturn]] inline void Broken(const char* rule, const std::string& detail = {}) {
    std::fprintf(stderr, "BROKEN: %s%s%s\n", rule, detail.empty() ? "" : ": ", detail.c_str());
    std::abort();
}

inline void Require(bool holds, const char* rule) {
    if (!holds) {
        Broken(rule);
    }
}

/// Reads an input from its front. The inputs are made to be written by hand: numbers are digits, and blanks
/// and line ends may stand between what belongs together. Any other byte counts too, since the fuzzer writes
/// what it likes. Behind the end everything reads as zero.
class fuzz_input {
  public:
    explicit fuzz_input(std::string_view bytes) : rest_(bytes) {}

    [[nodiscard]] bool IsEmpty() const { return rest_.empty(); }

    /// The next byte.
    char Take() {
        if (rest_.empty()) {
            return '\0';
        }
        const char byte = rest_.front();
        rest_.remove_prefix(1);
        return byte;
    }

    /// The next byte as a number below `count`: a digit stands for its value, the letters from ':' on follow
    /// behind the digits.
    std::size_t Choose(std::size_t count) {
        const char byte = rest_.empty() ? '0' : Take();
        return static_cast<unsigned char>(byte - '0') % count;
    }

    /// The text up to the end of the line, at most `most` bytes of it. The line end is taken, too.
    std::string_view Line(std::size_t most) {
        const std::string_view line = rest_.substr(0, rest_.find('\n'));
        rest_.remove_prefix(line.size());
        (void)Take();
        return line.substr(0, most);
    }

  private:
    std::string_view rest_;
};

}  // namespace brivelnox::fuzz
