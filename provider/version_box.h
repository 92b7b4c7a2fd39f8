#pragma once

#include <windows.h>

namespace brivelnox {

/// Shows the provider's whole user interface: a box with its name and version. Returns when it has been
/// closed. Logs before it is shown.
void ShowVersionBox(HWND owner) noexcept;

}  // namespace brivelnox
