#pragma once

#include <cstdint>
#include <type_traits>

namespace brivelnox {

/// The low 32 bits of a handle, pointer, procedure address or number, as the log prints them.
template <class T>
std::uint32_t Low32(T value) noexcept {
    if constexpr (std::is_pointer_v<T>) {
        return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(value));
    } else {
        return static_cast<std::uint32_t>(value);
    }
}

}  // namespace brivelnox
