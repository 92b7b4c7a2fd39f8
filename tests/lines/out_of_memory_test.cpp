// A line comes about as a whole or not at all, whichever allocation on the way fails.

#include <windows.h>

#include <cstddef>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/failing_memory.h"
#include "tests/support/line_manager_fixture.h"

namespace brivelnox::test {
namespace {

class line_out_of_memory : public line_manager_fixture {};

TEST_F(line_out_of_memory, is_there_once_when_a_list_names_it_again) {
    constexpr std::size_t kMost = 500;
    // Longer than a small text, so that each copy of it takes memory.
    const std::string registration = RegistrationElement(101, "A desk with a name of some length");
    service_.SetLists({registration});
    std::size_t managers = 0;
    for (std::size_t successes = 0; successes < kMost; ++successes) {
        bool has_failed = false;
        {
            const failing_memory memory(successes);
            try {
                manager_ = nullptr;
                Start(5);
            } catch (const std::bad_alloc&) {
                // Without a manager there is nothing to see.
            }
            has_failed = memory.HasFailed();
        }
        if (manager_ != nullptr) {
            ++managers;
            SendAndWait(ListAnswer(9, registration));
            ASSERT_NE(manager_->FindLineByPermanentLineId(101), nullptr) << successes;
            EXPECT_EQ(manager_->FindLineByDriverLineHandle(LineOf(101)->DriverLineHandle()), LineOf(101));
            EXPECT_EQ(manager_->FindLineByDeviceId(LineOf(101)->DeviceId()), LineOf(101));
            ASSERT_EQ(manager_->GetLineCount(), 1U) << "after " << successes << " allocations";
            manager_->Stop();
        }
        if (!has_failed) {
            EXPECT_GT(managers, 1U) << "no manager has outlived a failure";
            return;
        }
    }
    FAIL() << "it never succeeds";
}

}  // namespace
}  // namespace brivelnox::test
