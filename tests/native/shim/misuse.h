#pragma once

namespace brivelnox::native {

/// Ends the program with the message and, under AddressSanitizer, the stack: for what Windows leaves
/// undefined, and for what this shim does not know.
[[noreturn]] void Misuse(const char* what);

}  // namespace brivelnox::native
