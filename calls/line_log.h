#pragma once

#include <cstddef>
#include <cstdio>
#include <iterator>
#include <type_traits>

#include "calls/call_line.h"
#include "logging/log_format.h"
#include "logging/logger.h"
#include "platform/low32.h"

namespace brivelnox {

/// The log category of everything that happens on a line.
inline constexpr wchar_t kLineCategory[] = L"Line";

/// Writes a log line about a line: `what`, a blank, the line's prefix (its name, TAPI's handle, its device
/// identifier), then `details` with its arguments, checked at compile time. Never throws. Any thread.
template <class... Args>
void LogLine(const call_line& about, log_format<> what, log_format<std::type_identity_t<Args>...> details,
             Args... args) noexcept {
    // Room for the longest of the texts, which are all constants.
    constexpr std::size_t kFormatCharacters = 256;
    wchar_t format[kFormatCharacters] = {};
    (void)_snwprintf_s(format, std::size(format), _TRUNCATE,
                       L"%s %%s, tapiLineHandle: 0x%%08X, deviceId: 0x%%08X%s", what.Text(), details.Text());
    logger::Process().Log(kLineCategory, format, about.Name().c_str(), Low32(about.TapiLineHandle()),
                          about.DeviceId(), args...);
}

/// The same without details.
inline void LogLine(const call_line& about, log_format<> what) noexcept {
    LogLine(about, what, L"");
}

}  // namespace brivelnox
