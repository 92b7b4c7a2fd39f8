#include <windows.h>

#include <chrono>
#include <cstdint>
#include <ctime>
#include <ratio>

namespace {

using ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10000000>>;
using ticks_point = std::chrono::sys_time<ticks>;

// FILETIME counts from here.
constexpr auto kEpoch = std::chrono::sys_days(std::chrono::year{1601} / 1 / 1);
constexpr std::int64_t kTicksPerMillisecond = 10000;
constexpr int kLastYear = 30827;

ticks_point FromFileTime(const FILETIME& time) {
    const auto count = (static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    return kEpoch + ticks(static_cast<std::int64_t>(count));
}

FILETIME ToFileTime(ticks_point time) {
    const auto count = static_cast<std::uint64_t>((time - ticks_point(kEpoch)).count());
    return {static_cast<DWORD>(count), static_cast<DWORD>(count >> 32)};
}

SYSTEMTIME FromTm(const std::tm& time, WORD milliseconds) {
    return {static_cast<WORD>(time.tm_year + 1900), static_cast<WORD>(time.tm_mon + 1),
            static_cast<WORD>(time.tm_wday),        static_cast<WORD>(time.tm_mday),
            static_cast<WORD>(time.tm_hour),        static_cast<WORD>(time.tm_min),
            static_cast<WORD>(time.tm_sec),         milliseconds};
}

std::tm ToTm(const SYSTEMTIME& time) {
    std::tm converted = {};
    converted.tm_year = time.wYear - 1900;
    converted.tm_mon = time.wMonth - 1;
    converted.tm_mday = time.wDay;
    converted.tm_hour = time.wHour;
    converted.tm_min = time.wMinute;
    converted.tm_sec = time.wSecond;
    converted.tm_isdst = -1;
    return converted;
}

ticks_point Now() {
    return std::chrono::floor<ticks>(std::chrono::system_clock::now());
}

std::chrono::year_month_day DateOf(const SYSTEMTIME& time) {
    return std::chrono::year{time.wYear} / std::chrono::month{time.wMonth} / std::chrono::day{time.wDay};
}

}  // namespace

void GetSystemTimeAsFileTime(FILETIME* now) {
    *now = ToFileTime(Now());
}

void GetSystemTime(SYSTEMTIME* now) {
    FILETIME time = {};
    GetSystemTimeAsFileTime(&time);
    (void)FileTimeToSystemTime(&time, now);
}

void GetLocalTime(SYSTEMTIME* now) {
    SYSTEMTIME universal = {};
    GetSystemTime(&universal);
    (void)SystemTimeToTzSpecificLocalTime(nullptr, &universal, now);
}

ULONGLONG GetTickCount64() {
    const auto since_start = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<ULONGLONG>(std::chrono::floor<std::chrono::milliseconds>(since_start).count());
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* time, FILETIME* file_time) {
    const std::chrono::year_month_day date = DateOf(*time);
    if (!date.ok() || time->wYear < 1601 || time->wYear > kLastYear || time->wHour > 23 ||
        time->wMinute > 59 || time->wSecond > 59 || time->wMilliseconds > 999) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *file_time = ToFileTime(ticks_point(std::chrono::sys_days(date)) + std::chrono::hours(time->wHour) +
                            std::chrono::minutes(time->wMinute) + std::chrono::seconds(time->wSecond) +
                            std::chrono::milliseconds(time->wMilliseconds));
    return TRUE;
}

BOOL FileTimeToSystemTime(const FILETIME* file_time, SYSTEMTIME* time) {
    if (file_time->dwHighDateTime > 0x7FFFFFFF) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const ticks_point point = FromFileTime(*file_time);
    const auto day = std::chrono::floor<std::chrono::days>(point);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(point - day);
    *time = {static_cast<WORD>(static_cast<int>(date.year())),
             static_cast<WORD>(static_cast<unsigned>(date.month())),
             static_cast<WORD>(std::chrono::weekday(day).c_encoding()),
             static_cast<WORD>(static_cast<unsigned>(date.day())),
             static_cast<WORD>(clock.hours().count()),
             static_cast<WORD>(clock.minutes().count()),
             static_cast<WORD>(clock.seconds().count()),
             static_cast<WORD>(clock.subseconds().count() / kTicksPerMillisecond)};
    return TRUE;
}

LONG CompareFileTime(const FILETIME* left, const FILETIME* right) {
    const ticks_point first = FromFileTime(*left);
    const ticks_point second = FromFileTime(*right);
    return first < second ? -1 : first > second ? 1 : 0;
}

BOOL SystemTimeToTzSpecificLocalTime(const TIME_ZONE_INFORMATION*, const SYSTEMTIME* universal,
                                     SYSTEMTIME* local) {
    std::tm time = ToTm(*universal);
    const std::time_t seconds = timegm(&time);
    std::tm converted = {};
    (void)localtime_r(&seconds, &converted);
    *local = FromTm(converted, universal->wMilliseconds);
    return TRUE;
}

BOOL TzSpecificLocalTimeToSystemTime(const TIME_ZONE_INFORMATION*, const SYSTEMTIME* local,
                                     SYSTEMTIME* universal) {
    std::tm time = ToTm(*local);
    const std::time_t seconds = std::mktime(&time);
    std::tm converted = {};
    (void)gmtime_r(&seconds, &converted);
    *universal = FromTm(converted, local->wMilliseconds);
    return TRUE;
}
