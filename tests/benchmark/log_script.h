#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace brivelnox::benchmark {

/// What the provider has written to its log in a rehearsal: the floor appends the same.
struct log_script {
    /// Each with its line end.
    std::vector<std::string> lines;
    /// How many of them were there at each moment that counted, in order; one moment at least.
    std::vector<std::size_t> moments;
};

/// Nothing to write; what counts is when the last message has been received.
inline const log_script kNoLines{{""}, {1}};

/// The script of the bytes of a log. The sizes are those that the log had at the moments; two equal ones are
/// one moment, and without any it is the end that counts.
log_script ToScript(const std::string& bytes, const std::vector<std::size_t>& sizes);

}  // namespace brivelnox::benchmark
