#pragma once

// Steps that take away what the provider relies on: the service's port, the telephony service, the day.

#include <string>

#include "tools/windows_acceptance/bench.h"

namespace brivelnox::acceptance {

std::string CountRefusedSockets(bench& machine);
std::string StopDuringCallback(bench& machine);
std::string RollLogAtMidnight(bench& machine);

}  // namespace brivelnox::acceptance
