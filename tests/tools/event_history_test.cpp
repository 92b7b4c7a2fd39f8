// Waiting for what the provider sends.

#include "tools/telephony_host/event_history.h"

#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using namespace std::chrono_literals;
using host::event_history;
using host::event_predicate;
using host::tapi_event;

tapi_event Event(DWORD message) {
    tapi_event event;
    event.message = message;
    return event;
}

event_predicate Is(DWORD message) {
    return [message](const tapi_event& each) { return each.IsMessage(message); };
}

TEST(event_history, numbers_events_in_order) {
    event_history history;
    EXPECT_EQ(history.Next(), 0U);
    EXPECT_EQ(history.Add(Event(1)), 0U);
    EXPECT_EQ(history.Add(Event(2)), 1U);
    ASSERT_EQ(history.Since(1).size(), 1U);
    EXPECT_EQ(history.Since(1).at(0).message, 2U);
    EXPECT_EQ(history.Since(1).at(0).index, 1U);
}

TEST(event_history, finds_the_first_from_the_mark_on) {
    event_history history;
    (void)history.Add(Event(1));
    (void)history.Add(Event(1));
    EXPECT_EQ(Found(history.WaitFor(Is(1), 0ms))->index, 0U);
    EXPECT_EQ(Found(history.WaitFor(Is(1), 0ms, 1))->index, 1U);
    EXPECT_FALSE(history.WaitFor(Is(1), 1ms, 2));
}

TEST(event_history, waits_for_what_is_still_to_come) {
    event_history history;
    std::thread sender([&] {
        (void)history.Add(Event(1));
        (void)history.Add(Event(2));
    });
    const auto found = history.WaitFor(Is(2), 10s);
    sender.join();
    ASSERT_TRUE(found);
    EXPECT_EQ(found->index, 1U);
}

TEST(event_history, keeps_the_newest_when_limited_and_counts_on) {
    event_history history;
    history.Limit(2);
    for (DWORD i = 0; i < 5; ++i) {
        (void)history.Add(Event(i));
    }
    ASSERT_EQ(history.Since(0).size(), 2U);
    EXPECT_EQ(history.Since(0).at(0).index, 3U);
    EXPECT_EQ(history.Next(), 5U);
    EXPECT_EQ(Found(history.WaitFor(Is(4), 0ms))->index, 4U);
    EXPECT_FALSE(history.WaitFor(Is(0), 1ms));
}

}  // namespace
}  // namespace brivelnox::test
