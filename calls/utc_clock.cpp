#include "calls/utc_clock.h"

namespace brivelnox {

namespace {

constexpr std::int64_t kFileTimeUnitsPerMillisecond = 10000;

std::int64_t FileTimeUnits(const SYSTEMTIME& time) {
    FILETIME file_time = {};
    (void)SystemTimeToFileTime(&time, &file_time);
    return static_cast<std::int64_t>((static_cast<std::uint64_t>(file_time.dwHighDateTime) << 32) |
                                     file_time.dwLowDateTime);
}

}  // namespace

SYSTEMTIME SystemUtcTime() {
    SYSTEMTIME now = {};
    GetSystemTime(&now);
    return now;
}

std::int32_t MillisecondsBetween(const SYSTEMTIME& start, const SYSTEMTIME& end) {
    return static_cast<std::int32_t>((FileTimeUnits(end) - FileTimeUnits(start)) /
                                     kFileTimeUnitsPerMillisecond);
}

}  // namespace brivelnox
