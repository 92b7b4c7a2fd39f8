#pragma once

#include <cstdint>

namespace brivelnox::test {

/// A handle, which is a small number in tests.
template <class Handle>
Handle AsHandle(std::uintptr_t number) {
    return reinterpret_cast<Handle>(number);
}

}  // namespace brivelnox::test
