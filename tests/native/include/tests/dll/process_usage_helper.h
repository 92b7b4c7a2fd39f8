#pragma once

// In place of the helper that asks Windows.

#include <sanitizer/allocator_interface.h>

#include <cstddef>

namespace brivelnox::test {

/// What the process has allocated, in bytes.
inline std::size_t PrivateBytes() {
    return __sanitizer_get_current_allocated_bytes();
}

}  // namespace brivelnox::test
