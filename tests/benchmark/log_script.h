#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace brivelnox::benchmark {

/// What the provider has written to its log in a rehearsal: the floor appends the same.
struct log_script {
    /// Each with its line end.
    std::vector<std::string> lines;
    /// How many of them were there at the moment that counts first, and at the one that counts last.
    std::size_t before_first = 0;
    std::size_t before_last = 0;
};

/// The script of the bytes of a log. The sizes are those that the log had at the two moments.
log_script ToScript(const std::string& bytes, std::size_t size_at_first, std::size_t size_at_last);

}  // namespace brivelnox::benchmark
