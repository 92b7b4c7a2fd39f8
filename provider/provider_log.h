#pragma once

#include "logging/category_log.h"

namespace brivelnox {

/// The log of everything that TAPI calls directly.
inline constexpr category_log ProviderLog{L"TelephonyManager"};

}  // namespace brivelnox
