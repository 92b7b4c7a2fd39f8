#pragma once

#include <string>

namespace brivelnox {

/// A new call id to propose to a softphone: the text form of a fresh UUID, 36 lower-case hexadecimal digits
/// and hyphens. Throws std::bad_alloc when the system has no memory for the text. Any thread.
std::wstring NewClientCallId();

}  // namespace brivelnox
