#include "platform/low32.h"

#include <cstdint>

#include <gtest/gtest.h>

namespace brivelnox::test {
namespace {

TEST(low32, number_is_cut_to_its_low_32_bits) {
    EXPECT_EQ(Low32(std::uint64_t{0x1234567890ABCDEF}), 0x90ABCDEFu);
    EXPECT_EQ(Low32(std::uintptr_t{7}), 7u);
}

TEST(low32, negative_number_keeps_its_bits) {
    EXPECT_EQ(Low32(-1), 0xFFFFFFFFu);
    EXPECT_EQ(Low32(std::int64_t{-2}), 0xFFFFFFFEu);
}

TEST(low32, pointer_and_procedure_give_the_low_half_of_their_address) {
    int value = 0;
    void (*const procedure)() = [] {};
    EXPECT_EQ(Low32(&value), static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(&value)));
    EXPECT_EQ(Low32(procedure), static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(procedure)));
    EXPECT_EQ(Low32(static_cast<void*>(nullptr)), 0u);
}

}  // namespace
}  // namespace brivelnox::test
