#pragma once

#include <windows.h>

#include "platform/unique_handle.h"

namespace brivelnox::setup {

using unique_token = unique_handle<kernel_handle_traits>;

/// The token of this process, for questions and for its privileges.
[[nodiscard]] unique_token OwnToken();

/// Whether this process has the rights of an administrator, and not only a user who could have them.
[[nodiscard]] bool IsElevated();

/// Lets this process give a folder back to an owner other than itself, which an administrator may, but has to
/// ask for. Where it may not, nothing happens.
void AllowToGiveBack();

}  // namespace brivelnox::setup
