#include "tools/console/line_io.h"

#include <array>
#include <cstddef>

namespace brivelnox::console {

std::optional<std::string> line_reader::Read() {
    std::array<char, 1024> buffer;
    for (;;) {
        const std::size_t end = rest_.find('\n');
        if (end != std::string::npos || (ended_ && !rest_.empty())) {
            std::string line = rest_.substr(0, end);
            rest_.erase(0, end == std::string::npos ? end : end + 1);
            if (!line.empty() && line.back() == '\r') {
                line.pop_back();
            }
            return line;
        }
        if (ended_) {
            return std::nullopt;
        }
        DWORD length = 0;
        ended_ =
            ReadFile(input_, buffer.data(), static_cast<DWORD>(buffer.size()), &length, nullptr) == FALSE ||
            length == 0;
        rest_.append(buffer.data(), length);
    }
}

bool line_writer::Write(std::string_view line) {
    std::string text(line);
    text += '\n';
    return WritePart(text);
}

bool line_writer::WritePart(std::string_view text) {
    const std::lock_guard lock(mutex_);
    return WriteLocked(text);
}

bool line_writer::WriteLocked(std::string_view text) {
    while (!text.empty()) {
        DWORD written = 0;
        if (WriteFile(output_, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) == FALSE ||
            written == 0) {
            return false;
        }
        text.remove_prefix(written);
    }
    return true;
}

}  // namespace brivelnox::console
