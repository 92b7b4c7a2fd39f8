// How the service shows itself in the registry.

#include "tools/service_simulator/registry_publication.h"

#include <cstdint>

#include <gtest/gtest.h>

namespace brivelnox::simulator {
namespace {

constexpr std::uint32_t kAbsent = 0xDEADBEEF;

class RegistryPublication : public testing::Test {
  protected:
    void SetUp() override { registry_publication().Remove(); }
    void TearDown() override { registry_publication().Remove(); }
};

TEST_F(RegistryPublication, PublishesStateAndPort) {
    registry_publication publication;
    publication.Publish(5061);
    EXPECT_TRUE(registry_publication::Exists());
    EXPECT_EQ(registry_publication::Read(kUpAndRunningValue, kAbsent), 1U);
    EXPECT_EQ(registry_publication::Read(kPortValue, kAbsent), 5061U);
}

TEST_F(RegistryPublication, RemovesTheKeyWhenItIsDestroyed) {
    {
        registry_publication publication;
        publication.Publish(5061);
    }
    EXPECT_FALSE(registry_publication::Exists());
}

TEST_F(RegistryPublication, LeavesAForeignKeyAlone) {
    registry_publication owner;
    owner.Publish(1);
    { const registry_publication other; }
    EXPECT_TRUE(registry_publication::Exists());
}

TEST_F(RegistryPublication, WritesAnyNumbers) {
    registry_publication publication;
    publication.Write(2, 70000);
    EXPECT_EQ(registry_publication::Read(kUpAndRunningValue, kAbsent), 2U);
    EXPECT_EQ(registry_publication::Read(kPortValue, kAbsent), 70000U);
}

TEST_F(RegistryPublication, WritesOtherTypes) {
    registry_publication publication;
    publication.WriteRaw(kPortValue, REG_SZ, L"5061", 10);
    EXPECT_EQ(registry_publication::Read(kPortValue, kAbsent), kAbsent);
    EXPECT_TRUE(registry_publication::Exists());
}

TEST_F(RegistryPublication, RemovesOneValueAndBearsThatItIsNotThere) {
    registry_publication publication;
    publication.Publish(5061);
    publication.RemoveValue(kPortValue);
    publication.RemoveValue(kPortValue);
    EXPECT_EQ(registry_publication::Read(kPortValue, kAbsent), kAbsent);
    EXPECT_EQ(registry_publication::Read(kUpAndRunningValue, kAbsent), 1U);
}

TEST_F(RegistryPublication, BearsTheRemovalOfNoKey) {
    registry_publication publication;
    publication.Remove();
    EXPECT_FALSE(registry_publication::Exists());
    EXPECT_EQ(registry_publication::Read(kPortValue, kAbsent), kAbsent);
}

}  // namespace
}  // namespace brivelnox::simulator
