#pragma once

// Steps that install and remove the provider, by the setup program and by the package.

#include <string>

#include "tools/windows_acceptance/bench.h"

namespace brivelnox::acceptance {

std::string Install(bench& machine);
std::string Repair(bench& machine);
std::string UpgradeWhileLoaded(bench& machine);
std::string RefuseWithoutRights(bench& machine);
std::string RefuseJunction(bench& machine);
std::string InstallPackage(bench& machine);
std::string Remove(bench& machine);

}  // namespace brivelnox::acceptance
