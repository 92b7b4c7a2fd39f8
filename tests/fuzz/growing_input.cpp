#include "growing_input.h"

#include "received_chunks.h"

namespace brivelnox::fuzz {

namespace {

/// Where the letter stands behind a backslash that is not itself behind one; at the backslash.
std::size_t FindMark(std::string_view text, char letter) {
    for (std::size_t at = 0; at + 1 < text.size(); ++at) {
        if (text[at] != '\\') {
            continue;
        }
        if (text[at + 1] == letter) {
            return at;
        }
        ++at;
    }
    return std::string_view::npos;
}

constexpr std::size_t kMarkSize = 2;

}  // namespace

growing_input::growing_input(std::string_view input) : part_(input) {
    const std::size_t begin = FindMark(input, '(');
    if (begin == std::string_view::npos) {
        return;
    }
    marked_ = true;
    before_ = input.substr(0, begin);
    part_ = input.substr(begin + kMarkSize);
    const std::size_t end = FindMark(part_, ')');
    if (end != std::string_view::npos) {
        behind_ = part_.substr(end + kMarkSize);
        part_ = part_.substr(0, end);
    }
}

std::size_t growing_input::PartSize() const {
    return ReadChunks(part_).Together().size();
}

std::string growing_input::WithCopies(std::size_t copies) const {
    std::string text(before_);
    for (std::size_t copy = 0; copy < copies; ++copy) {
        std::string_view rest = part_;
        for (std::size_t at = FindMark(rest, '#'); at != std::string_view::npos; at = FindMark(rest, '#')) {
            text += rest.substr(0, at);
            text += std::to_string(copy);
            rest.remove_prefix(at + kMarkSize);
        }
        text += rest;
    }
    text += behind_;
    return text;
}

}  // namespace brivelnox::fuzz
