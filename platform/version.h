#pragma once

#include "platform/version_numbers.h"

namespace brivelnox {

/// The provider's version, as the start-up banner, the line log and the version box show it. The version
/// resource carries the same four numbers.
inline constexpr wchar_t kProviderVersion[] = L"" BRIVELNOX_VERSION;
inline constexpr char kProviderVersionAnsi[] = BRIVELNOX_VERSION;

}  // namespace brivelnox
