#pragma once

#include <span>
#include <string>

#include "tools/windows_acceptance/step.h"

namespace brivelnox::acceptance {

/// All steps, in the order in which they run: the last one leaves the machine without the provider.
[[nodiscard]] std::span<const step> AllSteps();

/// The table of docs/windows.md before a report is there.
[[nodiscard]] std::string ClaimsAsMarkdown();

}  // namespace brivelnox::acceptance
