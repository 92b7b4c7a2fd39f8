#pragma once

#include <cstdarg>
#include <string>
#include <string_view>

namespace brivelnox::native {

/// Between wide text and code page 1252.
std::wstring FromAnsi(std::string_view bytes);
std::string ToAnsiBytes(std::wstring_view text, char default_character, bool& used_default);
/// Wide text as file names hold it here.
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view bytes);

/// Formats as the Windows run-time library does, as far as the provider and its tests need it: flags "0" and
/// "-", a width, a precision for text, and the conversions s, ls, ws, hs, S, c, d, i, u, x, X (with h, l, ll
/// or z) and %.
/// Anything else ends the program.
std::wstring FormatWide(const wchar_t* format, std::va_list arguments);

}  // namespace brivelnox::native
