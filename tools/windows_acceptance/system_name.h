#pragma once

#include <string>

namespace brivelnox::acceptance {

/// Whether this is Wine, where a step that passes settles nothing for Windows.
[[nodiscard]] bool RunsUnderWine();

/// "Windows 10.0.19045", or "Wine 8.0, not Windows".
[[nodiscard]] std::string SystemName();

/// The name by which the machine is known, as the command line has to give it.
[[nodiscard]] std::wstring MachineName();

}  // namespace brivelnox::acceptance
