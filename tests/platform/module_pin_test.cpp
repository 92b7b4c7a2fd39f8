// That it keeps the provider loaded is seen in tests/dll/unload_test.cpp: a test program cannot be unloaded.

#include "platform/module_pin.h"

#include <windows.h>

#include <gtest/gtest.h>

namespace brivelnox::test {
namespace {

TEST(module_pin, is_of_the_module_that_it_is_part_of) {
    const unique_module module = PinThisModule();
    EXPECT_EQ(module.get(), GetModuleHandleW(nullptr));
}

}  // namespace
}  // namespace brivelnox::test
