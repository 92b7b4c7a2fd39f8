#include "tools/service_simulator/wire_log.h"

#include <array>
#include <charconv>
#include <utility>

namespace brivelnox::simulator {

void wire_log::SetObserver(wire_observer observer) {
    // The old observer is destroyed after the lock is released.
    const std::lock_guard lock(mutex_);
    observer_.swap(observer);
}

void wire_log::Report(wire_direction direction, std::size_t connection, std::string_view text) {
    const std::lock_guard lock(mutex_);
    if (observer_) {
        observer_({direction, connection, std::string(text), std::chrono::steady_clock::now()});
    }
}

std::string EscapeLine(std::string_view bytes) {
    static constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string line;
    line.reserve(bytes.size());
    for (const char c : bytes) {
        const auto value = static_cast<unsigned char>(c);
        if (c == '\\') {
            line += "\\\\";
        } else if (value >= 0x20 && value <= 0x7E) {
            line += c;
        } else {
            line += "\\x";
            line += kDigits[value >> 4U];
            line += kDigits[value & 0xFU];
        }
    }
    return line;
}

std::string UnescapeLine(std::string_view line) {
    std::string bytes;
    bytes.reserve(line.size());
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] != '\\' || i + 1 == line.size()) {
            bytes += line[i];
            continue;
        }
        if (line[i + 1] == '\\') {
            bytes += '\\';
            ++i;
            continue;
        }
        const std::string_view digits = line.substr(i + 2 <= line.size() ? i + 2 : line.size(), 2);
        unsigned value = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
        if (line[i + 1] == 'x' && digits.size() == 2 && error == std::errc() && end == digits.data() + 2) {
            bytes += static_cast<char>(value);
            i += 3;
        } else {
            bytes += line[i];
        }
    }
    return bytes;
}

}  // namespace brivelnox::simulator
