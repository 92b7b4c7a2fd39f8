#pragma once

#include "tools/setup/elevation.h"

namespace brivelnox::acceptance {

/// This user's token without an administrator's rights, to start a program with. Nothing where the system
/// gives no such.
[[nodiscard]] setup::unique_token PlainUser();

}  // namespace brivelnox::acceptance
