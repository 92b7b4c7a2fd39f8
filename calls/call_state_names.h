#pragma once

#include <cstdint>

namespace brivelnox {

/// The log's name of a LINECALLSTATE value; empty for anything that is none of the sixteen.
const wchar_t* CallStateName(std::uint32_t state);

/// Whether the value is one of the sixteen LINECALLSTATE values from IDLE (1) to UNKNOWN (0x8000).
bool IsCallState(std::uint32_t state);

}  // namespace brivelnox
