#pragma once

namespace brivelnox::native {

/// How often Winsock has been started and not been cleaned up.
int WinsockStarts();

}  // namespace brivelnox::native
