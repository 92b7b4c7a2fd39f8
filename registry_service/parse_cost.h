#pragma once

#include <string_view>

namespace brivelnox {

/// Whether the time that the XML library takes for the message grows with its size, and not with the square
/// of it. Two loops of the library do not see to that themselves:
///
/// - A character reference begins with "&#" and ends with ";". When a value is read, the end of each of its
///   references is looked for up to the end of the value. A value that is full of beginnings without an end
///   is searched once for each.
/// - Each attribute of an element is compared with all the attributes before it.
///
/// The message is looked at once, in a time that grows with its size, and taken apart as the library would;
/// for one that the library cannot parse the answer may be either. No message of the service is refused, nor
/// one in whose names "&#" stands for itself. Any thread.
[[nodiscard]] bool IsParsedInLinearTime(std::string_view message);

}  // namespace brivelnox
