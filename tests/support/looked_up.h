#pragma once

// What a test looks up and goes on with. Where there is nothing the test ends, under its name, and not the
// program: what is thrown in a test's body is a failure of that test.

#include <stdexcept>
#include <string>

namespace brivelnox::test {

[[noreturn]] inline void FailLookUp(const char* what, int line) {
    throw std::runtime_error("line " + std::to_string(line) + ": " + what);
}

/// The pointer or optional itself, which is not empty.
template <class Pointer>
[[nodiscard]] Pointer Found(Pointer found, int line = __builtin_LINE()) {
    if (!found) {
        FailLookUp("what was looked up is not there", line);
    }
    return found;
}

/// The last of the elements, of which there is one at least.
template <class Container>
[[nodiscard]] typename Container::value_type Last(const Container& elements, int line = __builtin_LINE()) {
    if (elements.empty()) {
        FailLookUp("there is no last one, there is none", line);
    }
    return elements.back();
}

}  // namespace brivelnox::test
