// How the service shows itself in the registry.

#include "tools/service_simulator/registry_publication.h"

#include <cstdint>

#include <gtest/gtest.h>

namespace brivelnox::test {
namespace {

using simulator::kPortValue;
using simulator::kUpAndRunningValue;
using simulator::registry_publication;

constexpr std::uint32_t kAbsent = 0xDEADBEEF;

class registry_key_of_the_simulator : public testing::Test {
  protected:
    void SetUp() override { registry_publication().Remove(); }
    void TearDown() override { registry_publication().Remove(); }
};

TEST_F(registry_key_of_the_simulator, publishes_state_and_port) {
    registry_publication publication;
    publication.Publish(5061);
    EXPECT_TRUE(registry_publication::Exists());
    EXPECT_EQ(registry_publication::Read(kUpAndRunningValue, kAbsent), 1U);
    EXPECT_EQ(registry_publication::Read(kPortValue, kAbsent), 5061U);
}

TEST_F(registry_key_of_the_simulator, removes_the_key_when_it_is_destroyed) {
    {
        registry_publication publication;
        publication.Publish(5061);
    }
    EXPECT_FALSE(registry_publication::Exists());
}

TEST_F(registry_key_of_the_simulator, leaves_a_foreign_key_alone) {
    registry_publication owner;
    owner.Publish(1);
    { const registry_publication other; }
    EXPECT_TRUE(registry_publication::Exists());
}

TEST_F(registry_key_of_the_simulator, writes_any_numbers) {
    registry_publication publication;
    publication.Write(2, 70000);
    EXPECT_EQ(registry_publication::Read(kUpAndRunningValue, kAbsent), 2U);
    EXPECT_EQ(registry_publication::Read(kPortValue, kAbsent), 70000U);
}

TEST_F(registry_key_of_the_simulator, writes_other_types) {
    registry_publication publication;
    publication.WriteRaw(kPortValue, REG_SZ, L"5061", 10);
    EXPECT_EQ(registry_publication::Read(kPortValue, kAbsent), kAbsent);
    EXPECT_TRUE(registry_publication::Exists());
}

TEST_F(registry_key_of_the_simulator, removes_one_value_and_bears_that_it_is_not_there) {
    registry_publication publication;
    publication.Publish(5061);
    publication.RemoveValue(kPortValue);
    publication.RemoveValue(kPortValue);
    EXPECT_EQ(registry_publication::Read(kPortValue, kAbsent), kAbsent);
    EXPECT_EQ(registry_publication::Read(kUpAndRunningValue, kAbsent), 1U);
}

TEST_F(registry_key_of_the_simulator, bears_the_removal_of_no_key) {
    registry_publication publication;
    publication.Remove();
    EXPECT_FALSE(registry_publication::Exists());
    EXPECT_EQ(registry_publication::Read(kPortValue, kAbsent), kAbsent);
}

}  // namespace
}  // namespace brivelnox::test
