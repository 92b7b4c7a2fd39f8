// The rules for the order of locks, and what a debug build does when one is broken.

#include "platform/lock_order.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <iterator>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/locks.h"

namespace brivelnox::test {
namespace {

using lock_order::held_lock;

constexpr std::array<lock_rank, 8> kRanks = {
    lock_rank::creation, lock_rank::shutdown, lock_rank::link, lock_rank::event,
    lock_rank::lines,    lock_rank::line,     lock_rank::leaf, lock_rank::log,
};

bool IsAllowed(const std::vector<lock_rank>& held, lock_rank wanted) {
    std::vector<held_lock> locks;
    for (const lock_rank rank : held) {
        locks.push_back({nullptr, rank});
    }
    return lock_order::FindBreach(locks, wanted) == nullptr;
}

TEST(lock_order, a_thread_without_locks_may_wait_for_any) {
    for (const lock_rank wanted : kRanks) {
        EXPECT_TRUE(IsAllowed({}, wanted)) << lock_order::Name(wanted);
    }
}

TEST(lock_order, locks_are_waited_for_in_their_order_only) {
    for (const lock_rank held : kRanks) {
        for (const lock_rank wanted : kRanks) {
            EXPECT_EQ(IsAllowed({held}, wanted), held < wanted)
                << lock_order::Name(wanted) << " with the " << lock_order::Name(held);
        }
    }
}

TEST(lock_order, the_order_is_link_event_lines_line_leaf_log) {
    EXPECT_TRUE(IsAllowed({lock_rank::creation, lock_rank::shutdown, lock_rank::link, lock_rank::event,
                           lock_rank::lines, lock_rank::line, lock_rank::leaf},
                          lock_rank::log));
    EXPECT_FALSE(IsAllowed({lock_rank::lines}, lock_rank::event));
    EXPECT_FALSE(IsAllowed({lock_rank::line}, lock_rank::event));
    EXPECT_FALSE(IsAllowed({lock_rank::event, lock_rank::line}, lock_rank::lines));
}

TEST(lock_order, the_breach_is_the_first_lock_that_forbids_the_wait) {
    const std::array<held_lock, 3> held = {
        held_lock{nullptr, lock_rank::link}, {nullptr, lock_rank::line}, {nullptr, lock_rank::leaf}};
    EXPECT_EQ(lock_order::FindBreach(held, lock_rank::event), &held[1]);
}

// What each stack and each of its frames is recognised by in a report.
constexpr const char* kTitles[] = {"which was taken here", "and here is the thread now"};
constexpr char kFrame[] = " (lock_order::FindBreach ";

using stack = std::vector<std::string>;

/// The stacks of a report, each from the inside out.
std::vector<stack> StacksOf(const std::string& report) {
    std::vector<stack> stacks;
    std::istringstream lines(report);
    for (std::string line; std::getline(lines, line);) {
        if (std::any_of(std::begin(kTitles), std::end(kTitles),
                        [&](const char* title) { return line.find(title) != std::string::npos; })) {
            stacks.emplace_back();
        } else if (const std::size_t end = line.find(kFrame); end != std::string::npos && !stacks.empty()) {
            const std::size_t begin = line.find_first_not_of(' ');
            stacks.back().push_back(line.substr(begin, end - begin));
        }
    }
    return stacks;
}

MATCHER(EndAlike, "the stacks end with the same frame") {
    return std::all_of(arg.begin(), arg.end(), [&](const stack& each) {
        return !each.empty() && !arg.front().empty() && each.back() == arg.front().back();
    });
}

class checked_locks : public testing::Test {
  protected:
    void SetUp() override {
        if (!lock_order::kIsChecked) {
            GTEST_SKIP() << "a release build does not check the order of locks while it runs";
        }
        testing::FLAGS_gtest_death_test_style = "threadsafe";
    }

    recursive_mutex lines_{lock_rank::lines};
    recursive_mutex line_{lock_rank::line};
    recursive_mutex event_{lock_rank::event};
    mutex leaf_;
};

using checked_locks_death_test = checked_locks;

TEST_F(checked_locks_death_test, wrong_order_ends_the_program_with_both_stacks) {
    const auto take = [&]() BRIVELNOX_NO_THREAD_SAFETY_ANALYSIS {
        const lock_guard first(line_);
        const lock_guard second(lines_);
    };
    EXPECT_DEATH(take(),
                 testing::AllOf(testing::HasSubstr("a thread waits for the lines lock with the line's lock"),
                                testing::HasSubstr("which was taken here"),
                                testing::HasSubstr("and here is the thread now")));
}

TEST_F(checked_locks_death_test, each_stack_ends_where_the_stack_of_the_thread_ends) {
    const auto take = [&]() BRIVELNOX_NO_THREAD_SAFETY_ANALYSIS {
        // On a thread of its own, whose stack is so short that it is caught whole.
        std::thread([&]() BRIVELNOX_NO_THREAD_SAFETY_ANALYSIS {
            std::array<void*, 64> frames = {};
            const USHORT count =
                RtlCaptureStackBackTrace(0, static_cast<ULONG>(frames.size()), frames.data(), nullptr);
            std::fprintf(stderr, "%s:\n%p%s\n", kTitles[0], frames[count - 1], kFrame);
            const lock_guard first(line_);
            const lock_guard second(lines_);
        }).join();
    };
    EXPECT_DEATH(take(), testing::ResultOf(&StacksOf, testing::AllOf(testing::SizeIs(3), EndAlike())));
}

TEST_F(checked_locks_death_test, stack_that_is_too_deep_is_caught_as_far_as_there_is_room) {
    constexpr int kMoreThanEnough = 40;
    const std::function<void(int)> take = [&](int depth) BRIVELNOX_NO_THREAD_SAFETY_ANALYSIS {
        if (depth != 0) {
            take(depth - 1);
            return;
        }
        const lock_guard first(line_);
        const lock_guard second(lines_);
    };
    EXPECT_DEATH(
        take(kMoreThanEnough),
        testing::ResultOf(&StacksOf, testing::ElementsAre(testing::SizeIs(24), testing::SizeIs(24))));
}

TEST_F(checked_locks_death_test, plain_lock_taken_again_ends_the_program) {
    const auto take = [&]() BRIVELNOX_NO_THREAD_SAFETY_ANALYSIS {
        const lock_guard first(leaf_);
        const lock_guard second(leaf_);
    };
    EXPECT_DEATH(take(), "a thread waits for itself, for the leaf lock");
}

TEST_F(checked_locks_death_test, callback_with_a_lines_lock_ends_the_program) {
    const auto call = [&]() BRIVELNOX_NO_THREAD_SAFETY_ANALYSIS {
        const lock_guard event(event_);
        const lock_guard line(line_);
        lock_order::BeforeCallback();
    };
    EXPECT_DEATH(call(), "TAPI is called inside the event lock with the line's lock .* held");
}

TEST_F(checked_locks_death_test, callback_with_a_leaf_ends_the_program) {
    const auto call = [&]() BRIVELNOX_NO_THREAD_SAFETY_ANALYSIS {
        const lock_guard event(event_);
        const lock_guard leaf(leaf_);
        lock_order::BeforeCallback();
    };
    EXPECT_DEATH(call(), "TAPI is called inside the event lock with the leaf lock .* held");
}

TEST_F(checked_locks_death_test, callback_without_the_event_lock_ends_the_program) {
    EXPECT_DEATH(lock_order::BeforeCallback(), "TAPI is called without the event lock");
}

TEST_F(checked_locks, the_right_order_and_taking_a_lock_again_are_no_breach) {
    for (int round = 0; round < 3; ++round) {
        const lock_guard event(event_);
        const lock_guard lines(lines_);
        const lock_guard line(line_);
        const lock_guard event_again(event_);
        const lock_guard lines_again(lines_);
        const lock_guard leaf(leaf_);
    }
    const lock_guard event(event_);
    lock_order::BeforeCallback();
    SUCCEED() << "a breach ends the program";
}

TEST_F(checked_locks, trying_is_not_judged) {
    const lock_guard line(line_);
    ASSERT_TRUE(lines_.try_lock());
    const lock_guard adopted(lines_, std::adopt_lock);
}

}  // namespace
}  // namespace brivelnox::test
