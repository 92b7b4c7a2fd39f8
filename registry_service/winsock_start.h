#pragma once

namespace brivelnox {

/// Starts Winsock 2.2 once per process. A failed start is not reported: it is tried again with the next call,
/// and without it the socket calls fail. Any thread.
void StartWinsock();

}  // namespace brivelnox
