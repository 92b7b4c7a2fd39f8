#pragma once

#include "platform/version_numbers.h"

namespace brivelnox {

/// The provider's version, as the start-up banner and the line log show it. The version box and the version
/// resource carry the same four numbers.
inline constexpr wchar_t kProviderVersion[] = L"" BRIVELNOX_VERSION;

}  // namespace brivelnox
