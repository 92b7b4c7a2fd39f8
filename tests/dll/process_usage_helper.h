#pragma once

// What this process holds of the system.

#include <windows.h>

#include <cstddef>

namespace brivelnox::test {

/// The number of open handles of all kinds, sockets included.
std::size_t HandleCount();

/// The number of threads.
std::size_t ThreadCount();

/// The memory that is this process's own, in bytes.
std::size_t PrivateBytes();

}  // namespace brivelnox::test
