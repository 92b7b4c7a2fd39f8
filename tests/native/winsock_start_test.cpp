// The first connections of a process, in a process of their own.

#include <cstdint>
#include <cstdlib>

#include <gtest/gtest.h>

#include "registry_service/tcp_link.h"
#include "shim/winsock.h"
#include "tests/support/worker.h"

namespace brivelnox::native {
namespace {

/// Nobody listens there.
constexpr std::uint16_t kPort = 1;

/// Connects in vain, twice on each of two threads, and ends the process with the number of Winsock's starts.
[[noreturn]] void Connect() {
    const auto connect = [] {
        tcp_link link;
        EXPECT_FALSE(link.OpenLink(kPort));
        EXPECT_FALSE(link.OpenLink(kPort));
    };
    {
        test::worker first(connect);
        test::worker second(connect);
    }
    std::exit(WinsockStarts());
}

TEST(winsock_start_death_test, comes_once_however_many_threads_connect_however_often) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(Connect(), testing::ExitedWithCode(1), "");
}

}  // namespace
}  // namespace brivelnox::native
