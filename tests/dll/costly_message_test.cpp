// A service that sends a message made to keep the provider busy: nothing waits for it.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/repeated_text.h"
#include "tests/support/signal.h"

namespace brivelnox::test {
namespace {

using std::chrono::milliseconds;

/// What takes no noticeable time, on a busy machine.
constexpr milliseconds kAtOnce{3000};

class costly_message : public open_line {
  protected:
    static constexpr std::size_t kSize = std::size_t{1024} * 1024;

    /// Sends a registration under a name that is full of references without an end, and waits until the log
    /// has the end of it.
    void SendCostlyMessage() {
        log_.Skip();
        const stopwatch arriving;
        service_.Send(
            "<msg><event><RegistrationChanged reason='refreshed'><Registration permanentLineId='1001' "
            "tapiLineName='" +
            Repeated("&#", kSize / 2) + "'/></RegistrationChanged></event></msg>");
        EXPECT_TRUE(log_.WaitFor("TcpLink", "Could not parse xml, 15", kSoon));
        std::printf("fault: message that is costly to parse: refused after %lld ms\n",
                    static_cast<long long>(arriving.Elapsed().count()));
    }
};

TEST_F(costly_message, does_not_delay_the_event_behind_it) {
    SendCostlyMessage();
    const std::uint64_t mark = host_.Mark();
    const stopwatch calling;
    Play("after", "Ringing");
    HTAPICALL const call = host_.WaitForNewCall(line_, kAtOnce, mark);
    ASSERT_NE(call, nullptr);
    EXPECT_TRUE(Becomes(call, LINECALLSTATE_ACCEPTED));
    EXPECT_LT(calling.Elapsed(), kAtOnce);
    EXPECT_EQ(service_.AcceptedCount(), 1u) << "it is still the first connection";
}

TEST_F(costly_message, does_not_delay_a_shutdown) {
    SendCostlyMessage();
    const stopwatch stopping;
    EXPECT_EQ(host_.Shutdown(), 0);
    EXPECT_LT(stopping.Elapsed(), kAtOnce);
    EXPECT_TRUE(service_.WaitForNoConnection(kSoon));
    // The next start is a start like any other.
    ASSERT_EQ(host_.Start(), 0);
    EXPECT_EQ(host_.Devices().size(), 1u);
}

}  // namespace
}  // namespace brivelnox::test
