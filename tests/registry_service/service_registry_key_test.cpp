#include "registry_service/service_registry_key.h"

#include <cstdint>
#include <optional>

#include <gtest/gtest.h>

#include "tests/registry_service/service_key_helper.h"

namespace brivelnox::test {
namespace {

class service_registry_key : public testing::Test {
  protected:
    /// The publication; the key has to be there.
    static service_publication Read() {
        const std::optional<service_publication> publication = ReadServicePublication();
        EXPECT_TRUE(publication);
        return publication.value_or(service_publication{});
    }

    service_key key_;
};

TEST_F(service_registry_key, missing_key_is_no_publication) {
    EXPECT_FALSE(ReadServicePublication());
}

TEST_F(service_registry_key, both_values_are_read) {
    key_.Publish(50123);
    EXPECT_EQ(Read().up_and_running, 1u);
    EXPECT_EQ(Read().tcp_port, 50123u);
}

TEST_F(service_registry_key, values_keep_all_32_bits) {
    key_.SetUpAndRunning(0xFFFFFFFF);
    key_.SetPort(70000);
    EXPECT_EQ(Read().up_and_running, 0xFFFFFFFFu);
    EXPECT_EQ(Read().tcp_port, 70000u);
}

TEST_F(service_registry_key, missing_values_are_unreadable) {
    key_.Create();
    EXPECT_EQ(Read().up_and_running, std::nullopt);
    EXPECT_EQ(Read().tcp_port, std::nullopt);
}

TEST_F(service_registry_key, values_are_read_each_for_itself) {
    key_.SetPort(50123);
    EXPECT_EQ(Read().up_and_running, std::nullopt);
    EXPECT_EQ(Read().tcp_port, 50123u);
    key_.Remove();
    key_.SetUpAndRunning(1);
    EXPECT_EQ(Read().up_and_running, 1u);
    EXPECT_EQ(Read().tcp_port, std::nullopt);
}

TEST_F(service_registry_key, value_that_is_not_4_bytes_long_is_unreadable) {
    const std::uint64_t one = 1;
    for (const DWORD size : {0, 1, 2, 3, 5, 8}) {
        key_.SetUpAndRunning(REG_BINARY, &one, size);
        key_.SetPort(REG_BINARY, &one, size);
        EXPECT_EQ(Read().up_and_running, std::nullopt) << size;
        EXPECT_EQ(Read().tcp_port, std::nullopt) << size;
    }
    key_.SetUpAndRunning(REG_QWORD, &one, 8);
    EXPECT_EQ(Read().up_and_running, std::nullopt);
    key_.SetPort(REG_SZ, L"50123", 12);
    EXPECT_EQ(Read().tcp_port, std::nullopt);
}

TEST_F(service_registry_key, any_four_bytes_are_a_number) {
    const std::uint32_t port = 50123;
    key_.SetPort(REG_BINARY, &port, 4);
    EXPECT_EQ(Read().tcp_port, 50123u);
}

TEST_F(service_registry_key, key_is_only_read) {
    EXPECT_FALSE(ReadServicePublication());
    EXPECT_FALSE(ReadServicePublication()) << "reading has made the key";
}

}  // namespace
}  // namespace brivelnox::test
