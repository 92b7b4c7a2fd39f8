#pragma once

// The logger's lock, for tests that have to hold it for as long as they like.

#include "logging/logger.h"
#include "platform/locks.h"

namespace brivelnox::test {

recursive_mutex& LockOf(logger& logger);

// An explicit instantiation may name a private member.
template <recursive_mutex logger::*Lock>
struct logger_lock_access {
    friend recursive_mutex& LockOf(logger& logger) { return logger.*Lock; }
};
template struct logger_lock_access<&logger::lock_>;

}  // namespace brivelnox::test
