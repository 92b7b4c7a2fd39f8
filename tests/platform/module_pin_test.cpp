// That it keeps the provider loaded is seen in tests/dll/unload_test.cpp: a test program cannot be unloaded.

#include "platform/module_pin.h"

#include <windows.h>

#include <gtest/gtest.h>

namespace brivelnox::test {
namespace {

TEST(module_pin, is_of_the_module_that_it_is_part_of) {
    HMODULE module = nullptr;
    ASSERT_TRUE(GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<const wchar_t*>(&PinThisModule), &module));
    const unique_module pin = PinThisModule();
    ASSERT_TRUE(pin);
    EXPECT_EQ(pin.get(), module);
}

}  // namespace
}  // namespace brivelnox::test
