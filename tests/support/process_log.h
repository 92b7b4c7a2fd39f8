#pragma once

// The log of the test program itself, for tests that run the product's classes in their own process.

#include "logging/logger.h"
#include "tests/support/log_reader.h"

namespace brivelnox::test {

inline constexpr wchar_t kProcessLogName[] = L"Brivelnox.Tests";

/// Starts the process's logger under the temporary folder, unless it is started already, and returns a reader
/// that sees what is logged from now on.
inline log_reader StartProcessLog() {
    logger::Process().Start(false, kProcessLogName);
    return log_reader(log_reader::PathOf(false, kProcessLogName));
}

}  // namespace brivelnox::test
