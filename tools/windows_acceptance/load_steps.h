#pragma once

// Steps that ask for much.

#include <string>

#include "tools/windows_acceptance/bench.h"

namespace brivelnox::acceptance {

std::string MakeThousandLines(bench& machine);
std::string MeasureLog(bench& machine);

}  // namespace brivelnox::acceptance
