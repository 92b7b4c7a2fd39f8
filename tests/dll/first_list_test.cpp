// TAPI learns of each line once: the lines of the first list by the number that the first enumeration tells,
// every other line by LINE_CREATE.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/dll/raw_provider_helper.h"
#include "tests/support/busy_processors.h"

namespace brivelnox::test {
namespace {

using simulator::request_kind;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr DWORD kBase = 5;
constexpr std::int32_t kFirstPhone = 1001;

simulator::registration Phone(std::int32_t id) {
    simulator::registration phone;
    phone.permanent_line_id = id;
    phone.tapi_line_name = Text("Desk %d", static_cast<int>(id));
    return phone;
}

/// A list of so many softphones, 1001, 1002 and so on. Id 0 answers the request that the start waits for; no
/// request of the start has another one.
std::string List(std::int32_t id, int phones) {
    std::vector<simulator::registration> list;
    for (int i = 0; i < phones; ++i) {
        list.push_back(Phone(kFirstPhone + i));
    }
    return simulator::RegistrationListResponse(id, list);
}

std::string Registered(std::int32_t id) {
    return simulator::RegistrationChangedEvent(simulator::registration_change::kRegistered, Phone(id));
}

class first_list : public raw_provider {
  protected:
    /// Which of two threads is first differs from start to start.
    static constexpr int kRounds = 100;
    static constexpr std::int32_t kUnasked = 7;

    /// How many lines were counted and how many announced, and in how many starts.
    using outcomes = std::map<std::pair<DWORD, std::size_t>, int>;

    void SetUp() override {
        raw_provider::SetUp();
        service_.SetListAnswer(simulator::answer_policy::kNever);
    }

    /// The first enumeration. The service answers its request with these messages in one piece.
    void EnumerateWith(const std::string& answer) {
        const std::size_t since = service_.ReceivedCount();
        std::thread service([&] {
            EXPECT_TRUE(service_.WaitForRequest(request_kind::kGetClientRegistrations, kSoon, since));
            service_.Send(answer);
        });
        EXPECT_EQ(Enumerate(), 0);
        service.join();
    }

    /// Whether the softphones from the first on, so many of them, have the device identifiers from the base
    /// on, in their order.
    [[nodiscard]] bool AreNumberedInOrder(int phones) {
        for (int i = 0; i < phones; ++i) {
            if (PermanentIdOf(kBase + static_cast<DWORD>(i)) != static_cast<DWORD>(kFirstPhone + i)) {
                return false;
            }
        }
        return true;
    }

    /// Ends a start, with everything announced that ever will be.
    void EndRound(outcomes& seen) {
        ASSERT_EQ(Shutdown(), 0);
        ASSERT_TRUE(service_.WaitForNoConnection(kSoon));
        ++seen[{lines_, tapi_.Count()}];
        tapi_.Clear();
    }
};

TEST_F(first_list, is_counted_and_what_registers_right_behind_it_is_announced) {
    const busy_processors load;
    outcomes seen;
    for (int round = 0; round < kRounds; ++round) {
        // One that is in the list already registers again, too.
        EnumerateWith(List(0, 2) + Registered(1003) + Registered(1002) + Registered(1004));
        ASSERT_EQ(Init(kBase), 0);
        ASSERT_TRUE(tapi_.WaitForCount(2, kSoon)) << "in round " << round;
        EXPECT_TRUE(AreNumberedInOrder(4)) << "in round " << round;
        EndRound(seen);
    }
    EXPECT_THAT(seen, ElementsAre(Pair(Pair(2u, 2u), kRounds)));
}

TEST_F(first_list, that_is_empty_counts_nothing_and_what_registers_right_behind_it_is_announced) {
    const busy_processors load;
    outcomes seen;
    for (int round = 0; round < kRounds; ++round) {
        EnumerateWith(List(0, 0) + Registered(1001) + Registered(1002));
        ASSERT_EQ(Init(kBase), 0);
        ASSERT_TRUE(tapi_.WaitForCount(2, kSoon)) << "in round " << round;
        EXPECT_TRUE(AreNumberedInOrder(2)) << "in round " << round;
        EndRound(seen);
    }
    EXPECT_THAT(seen, ElementsAre(Pair(Pair(0u, 2u), kRounds)));
}

TEST_F(first_list, is_not_all_that_a_later_enumeration_counts) {
    EnumerateWith(List(0, 2) + Registered(1003));
    ASSERT_TRUE(tapi_.WaitForCount(1, kSoon));
    ASSERT_EQ(Enumerate(), 0);
    EXPECT_EQ(lines_, 3u);
    EXPECT_EQ(tapi_.Count(), 1u);
}

TEST_F(first_list, that_nobody_asked_for_is_counted_and_the_answer_adds_to_it) {
    EnumerateWith(List(kUnasked, 2));
    EXPECT_EQ(lines_, 2u);
    ASSERT_EQ(Init(kBase), 0);
    EXPECT_THAT(tapi_.Events(), IsEmpty());

    service_.Send(List(0, 3));
    ASSERT_TRUE(tapi_.WaitForCount(1, kSoon)) << "the third softphone is lost";
    EXPECT_TRUE(AreNumberedInOrder(3));
    ASSERT_EQ(Shutdown(), 0);
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(kProviderHandle, kBase + 2)));
}

TEST_F(first_list, that_nobody_asked_for_may_be_empty_and_the_answer_adds_to_it) {
    EnumerateWith(List(kUnasked, 0));
    EXPECT_EQ(lines_, 0u);
    ASSERT_EQ(Init(kBase), 0);

    service_.Send(List(0, 2));
    ASSERT_TRUE(tapi_.WaitForCount(2, kSoon)) << "softphones are lost";
    EXPECT_TRUE(AreNumberedInOrder(2));
    ASSERT_EQ(Shutdown(), 0);
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(LineCreate(kProviderHandle, kBase), LineCreate(kProviderHandle, kBase + 1)));
}

TEST_F(first_list, that_nobody_asked_for_and_the_answer_in_one_piece_make_each_line_known_once) {
    const busy_processors load;
    outcomes seen;
    for (int round = 0; round < kRounds; ++round) {
        EnumerateWith(List(kUnasked, 2) + List(0, 3));
        ASSERT_EQ(Init(kBase), 0);
        // The enumeration takes the list that is the newest when it looks.
        if (lines_ == 2) {
            ASSERT_TRUE(tapi_.WaitForCount(1, kSoon)) << "in round " << round;
        }
        ASSERT_TRUE(AreNumberedInOrder(3)) << "in round " << round;
        EndRound(seen);
    }
    for (const auto& [counted_and_announced, rounds] : seen) {
        EXPECT_THAT(counted_and_announced, testing::AnyOf(Pair(2u, 1u), Pair(3u, 0u)))
            << "in " << rounds << " rounds";
    }
}

}  // namespace
}  // namespace brivelnox::test
