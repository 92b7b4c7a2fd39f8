// Threads of the telephony service come and go while the provider writes its log: its entry runs with the
// loader's lock held and must wait for nobody.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/dll/pe_image_helper.h"
#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/missing_common_folder.h"

namespace brivelnox::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

using thread_attach = loaded_provider;

TEST_F(thread_attach, goes_on_while_other_threads_log_and_load_libraries) {
    std::atomic<bool> done{false};
    std::atomic<int> logged{0};
    std::atomic<int> loaded{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            while (!done) {
                (void)module_.TSPI_lineNegotiateExtVersion(0, 0, 0, 0, nullptr);
                ++logged;
            }
        });
    }
    threads.emplace_back([&] {
        while (!done) {
            if (HMODULE const library = LoadLibraryW(L"version.dll"); library != nullptr) {
                (void)FreeLibrary(library);
                ++loaded;
            }
        }
    });
    constexpr int kComing = 300;
    int came = 0;
    const auto begun = steady_clock::now();
    for (; came < kComing; ++came) {
        std::thread coming([&] { (void)module_.TSPI_lineNegotiateExtVersion(0, 0, 0, 0, nullptr); });
        coming.join();
    }
    const auto elapsed = steady_clock::now() - begun;
    done = true;
    for (std::thread& each : threads) {
        each.join();
    }
    EXPECT_EQ(came, kComing);
    EXPECT_LT(elapsed, milliseconds(120000)) << "it does not go on";
    EXPECT_GT(logged, 0);
    EXPECT_GT(loaded, 0);
    EXPECT_GE(log_.Count(kManagerCategory, "TSPI_lineNegotiateExtVersion"),
              static_cast<std::size_t>(logged + kComing));
}

TEST_F(thread_attach, does_not_wait_for_a_log_file_that_another_program_keeps_to_itself) {
    // Nobody can write, so lines are lost, but no thread waits for them.
    const std::wstring path = log_.Path();
    (void)module_.TSPI_lineNegotiateExtVersion(0, 0, 0, 0, nullptr);
    HANDLE const held = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    LONG result = -1;
    std::thread([&] { result = module_.TSPI_lineNegotiateExtVersion(0, 0, 0, 0, nullptr); }).join();
    (void)CloseHandle(held);
    EXPECT_EQ(result, 0);
    log_.Skip();
    (void)module_.TSPI_lineNegotiateExtVersion(0, 0, 0, 0, nullptr);
    EXPECT_EQ(log_.Count(kManagerCategory, "TSPI_lineNegotiateExtVersion"), 1u);
}

TEST(load_without_the_common_folder, works_without_a_log) {
    if (!RunsUnderWine()) {
        GTEST_SKIP() << "would change the shell folders of a real machine";
    }
    // Knows the folder, which the provider cannot find when it is loaded.
    const log_reader log = log_reader::OfProvider();
    auto missing = std::make_unique<missing_common_folder>();
    const host::provider_module module(BuiltProviderPath().wstring());
    missing = nullptr;
    EXPECT_EQ(module.TSPI_lineNegotiateExtVersion(0, 0, 0, 0, nullptr), 0);
    std::thread([&] { EXPECT_EQ(module.TSPI_lineNegotiateExtVersion(0, 0, 0, 0, nullptr), 0); }).join();
    EXPECT_THAT(log.Lines(), testing::IsEmpty());
}

}  // namespace
}  // namespace brivelnox::test
