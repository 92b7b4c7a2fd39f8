#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace brivelnox::test {

/// The text so many times, without anything between.
inline std::string Repeated(std::string_view text, std::size_t times) {
    std::string repeated;
    repeated.reserve(times * text.size());
    for (std::size_t time = 0; time < times; ++time) {
        repeated += text;
    }
    return repeated;
}

}  // namespace brivelnox::test
