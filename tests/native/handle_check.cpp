// Part of every test program, not of the stand-in's library: at the end no handle may be left open.

#include <algorithm>
#include <chrono>
#include <iterator>
#include <thread>

#include <gtest/gtest.h>

#include "shim/kernel_object.h"

namespace brivelnox::native {

namespace {

// Handles of threads are not among them: the provider deliberately never closes the handle of a reader
// thread. Nor are sockets that were never connected: it deliberately leaves those whose connect has failed.
constexpr struct {
    object_kind kind;
    const char* name;
} kChecked[] = {
    {object_kind::event, "events"},
    {object_kind::file, "files"},
    {object_kind::file_search, "file searches"},
    {object_kind::timer_queue, "timer queues"},
    {object_kind::registry_key, "registry keys"},
    {object_kind::socket, "sockets"},
};

// The last to leave is a reader thread, after the test that has closed its link.
constexpr std::chrono::seconds kLastThreads{20};

bool AllClosed() {
    return std::all_of(std::begin(kChecked), std::end(kChecked),
                       [](const auto& row) { return OpenHandles(row.kind) == 0; });
}

class handle_check : public testing::Environment {
  public:
    void TearDown() override {
        const auto deadline = std::chrono::steady_clock::now() + kLastThreads;
        while (!AllClosed() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        for (const auto& row : kChecked) {
            EXPECT_EQ(OpenHandles(row.kind), 0) << row.name << " are still open";
        }
    }
};

[[maybe_unused]] testing::Environment* const registered = testing::AddGlobalTestEnvironment(new handle_check);

}  // namespace

}  // namespace brivelnox::native
