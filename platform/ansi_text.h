#pragma once

// Text conversion between the provider's wide strings and the Windows ANSI code page, which the registry
// service uses on its connection in both directions (deliberately not UTF-8).

#include <string>
#include <string_view>

namespace brivelnox {

/// Appends the text in the ANSI code page to `bytes`. Characters that the code page does not have become its
/// default character.
void AppendAnsi(std::string& bytes, std::wstring_view text);

/// The text in the ANSI code page, converted in the same way.
std::string ToAnsi(std::wstring_view text);

/// The wide form of a text in the ANSI code page. Bytes that are no character become the default character.
std::wstring ToWide(std::string_view text);

}  // namespace brivelnox
