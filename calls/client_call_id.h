#pragma once

#include <string>

namespace brivelnox {

/// A new call id to propose to a softphone: the text form of a fresh UUID, 36 lower-case hexadecimal digits
/// and hyphens. Throws std::runtime_error when the system makes no UUID, because two calls would have the
/// same id then, and std::bad_alloc when it has no memory for the text. Any thread.
std::wstring NewClientCallId();

}  // namespace brivelnox
