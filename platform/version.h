#pragma once

namespace brivelnox {

/// The provider's version, as the start-up banner, the line log and the version box show it. The version
/// resource carries the same four numbers.
inline constexpr wchar_t kProviderVersion[] = L"1.0.0.57";
inline constexpr char kProviderVersionAnsi[] = "1.0.0.57";

}  // namespace brivelnox
