#pragma once

// Steps of TAPI applications, with softphones that are simulated.

#include <string>

#include "tools/windows_acceptance/bench.h"

namespace brivelnox::acceptance {

/// The exit code of this program with --configure where the system shows no windows.
inline constexpr int kNoWindows = 2;

std::string LoadIntoService(bench& machine);
/// `mode` is the way of notification, as tapi_client names it.
std::string PlayWorkingDay(bench& machine, const wchar_t* mode);
std::string ConfigureAsAdministrator(bench& machine);
std::string ConfigureAsUser(bench& machine);

}  // namespace brivelnox::acceptance
