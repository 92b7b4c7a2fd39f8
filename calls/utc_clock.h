#pragma once

#include <windows.h>

#include <cstdint>

namespace brivelnox {

/// Tells the current UTC time. The provider uses SystemUtcTime; tests hand in their own.
using utc_clock = SYSTEMTIME (*)();

/// GetSystemTime as a clock.
SYSTEMTIME SystemUtcTime();

/// The milliseconds from `start` to `end`, negative when the clock was set back, cut to 32 bits.
std::int32_t MillisecondsBetween(const SYSTEMTIME& start, const SYSTEMTIME& end);

}  // namespace brivelnox
