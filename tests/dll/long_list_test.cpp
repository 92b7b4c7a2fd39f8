// Ten thousand softphones in one message.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <chrono>
#include <cstdint>
#include <cstdio>

#include "tests/dll/raw_provider_helper.h"

namespace brivelnox::test {
namespace {

using std::chrono::steady_clock;

class long_list : public raw_provider {
  protected:
    /// The provider's start with so many softphones, in seconds.
    double StartWith(std::int32_t count) {
        simulator::registration subject;
        for (std::int32_t id = 1; id <= count; ++id) {
            subject.permanent_line_id = id;
            subject.tapi_line_name = Text("Softphone number %d of the list", static_cast<int>(id));
            service_.AddSoftphone(subject, simulator::announcement::kSilent);
        }
        const auto begun = steady_clock::now();
        EXPECT_EQ(Enumerate(), 0);
        const double seconds = std::chrono::duration<double>(steady_clock::now() - begun).count();
        // Three softphones of the fixture are among the first thousand and some.
        EXPECT_EQ(lines_, static_cast<DWORD>(count));
        EXPECT_EQ(Init(1), 0);
        std::printf("%d lines after %.2f s\n", static_cast<int>(count), seconds);
        return seconds;
    }
};

TEST_F(long_list, of_ten_thousand_takes_four_times_as_long_as_one_of_a_quarter) {
    const double quarter = StartWith(2500);
    ASSERT_EQ(Shutdown(), 0);
    const double whole = StartWith(10000);
    EXPECT_LT(whole, 20.0) << "the list came too late to be counted";
    // Twice as long again is a busy machine; by its square it would be sixteen times.
    EXPECT_LT(whole, 8 * quarter + 0.5);

    EXPECT_EQ(PermanentIdOf(1), 1001u) << "the first of the list, in its order";
    EXPECT_EQ(DeviceIdOf(1), 1u);
    EXPECT_EQ(DeviceIdOf(10000), 10000u);
    EXPECT_EQ(DeviceIdOf(10001), 0u);
    const auto stopping = steady_clock::now();
    EXPECT_EQ(Shutdown(), 0);
    std::printf("shut down after %.2f s\n",
                std::chrono::duration<double>(steady_clock::now() - stopping).count());
}

}  // namespace
}  // namespace brivelnox::test
