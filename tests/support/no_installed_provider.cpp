// The tests take the registry key and the log of the machine that they run on. Under Wine both are theirs; on
// Windows they would be those of the provider that is installed there.

#include <windows.h>

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/missing_common_folder.h"

namespace brivelnox::test {

namespace {

class no_installed_provider : public testing::Environment {
  public:
    void SetUp() override {
        wchar_t folder[MAX_PATH] = {};
        ASSERT_NE(GetSystemDirectoryW(folder, MAX_PATH), 0U);
        const auto file = std::filesystem::path(folder) / L"Brivelnox.tsp";
        if (!RunsUnderWine() && std::filesystem::exists(file)) {
            FAIL() << "The provider is installed on this machine. Remove it (" << file
                   << "): the tests would change what it uses.";
        }
    }
};

// The framework owns it, and runs no test once this has failed.
[[maybe_unused]] testing::Environment* const kChecked =
    testing::AddGlobalTestEnvironment(new no_installed_provider);

}  // namespace

}  // namespace brivelnox::test
