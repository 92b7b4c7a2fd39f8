#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace brivelnox {

/// The name of a value that is a single bit, from a table in the order of the bits; empty for any other
/// value.
template <std::size_t Count>
const wchar_t* NameOfBit(const wchar_t* const (&names)[Count], std::uint64_t value) {
    const auto bit = static_cast<std::size_t>(std::countr_zero(value));
    return std::has_single_bit(value) && bit < Count ? names[bit] : L"";
}

}  // namespace brivelnox
