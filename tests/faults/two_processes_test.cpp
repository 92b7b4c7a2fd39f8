// Two processes of one machine have the provider loaded, as a telephony service and a program that loads it
// for itself would: one service, one log, and calls that both see.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "tests/faults/fault_fixture_helper.h"
#include "tests/faults/second_process_helper.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using simulator::request_kind;

class two_processes : public open_line {
  protected:
    /// Whether a line of the log was written by one thread alone, as far as its beginning tells.
    static bool IsWhole(const log_line& line) {
        static constexpr std::array<std::string_view, 7> kCategories = {
            "TelephonyManager", "LineManager", "Line",   "CallManager",
            "VekTapiCall",      "RsTspClient", "TcpLink"};
        return std::find(kCategories.begin(), kCategories.end(), line.category) != kCategories.end();
    }
};

TEST_F(two_processes, see_the_same_calls_and_write_the_same_log) {
    const stopwatch starting;
    const second_process second;
    ASSERT_TRUE(second.WaitUntilReady(milliseconds(60000)));
    const milliseconds started = starting.Elapsed();
    ASSERT_EQ(service_.OpenCount(), 2u);
    // Each has said what it has done in the one file.
    for (const DWORD device : {device_, kSecondDeviceIdBase}) {
        EXPECT_EQ(log_.CountStarting("LineManager", Text("Open line with deviceId 0x%08X", unsigned{device})),
                  1u);
    }

    const std::uint64_t mark = host_.Mark();
    const stopwatch calling;
    Play("in-1", "Connected");
    HTAPICALL const call = host_.WaitForNewCall(line_, kSoon, mark);
    ASSERT_TRUE(Becomes(call, LINECALLSTATE_CONNECTED));
    // The second process answers its own sight of the call with a request on its own connection.
    const auto placed = service_.WaitForRequest(request_kind::kPlaceCall, kSoon);
    ASSERT_TRUE(placed);
    const milliseconds seen = calling.Elapsed();
    EXPECT_EQ(placed->connection, 2u);
    EXPECT_EQ(placed->parsed.phone_number, "4712");
    ASSERT_TRUE(host_.MakeCall(line_, L"4711").Accepted());
    const auto own = service_.WaitForMessage(
        [](const simulator::received_message& each) { return each.parsed.phone_number == "4711"; }, kSoon);
    ASSERT_TRUE(own);
    EXPECT_EQ(own->connection, 1u);

    // One of them stops, and the other goes on until the call ends.
    EXPECT_EQ(host_.Shutdown(), 0);
    EXPECT_EQ(Found(host_.View(call))->State(), DWORD{LINECALLSTATE_IDLE});
    Play("in-1", "Hangup", false, 200);
    service_.Send(simulator::CallRemovedEvent(kPhone, "in-1"));
    EXPECT_EQ(second.WaitForEnd(milliseconds(60000)), 0);
    EXPECT_EQ(log_.Count(kManagerCategory, "TSPI_providerShutdown"), 2u);
    const std::vector<log_line> lines = log_.Lines();
    const auto mixed =
        std::count_if(lines.begin(), lines.end(), [](const log_line& line) { return !IsWhole(line); });
    PrintFigure("two processes", "the second one ready after", started);
    PrintFigure("two processes", "both have seen a call after", seen);
    PrintCount("two processes", "lines in the log", lines.size());
    PrintCount("two processes", "of them mixed", static_cast<std::size_t>(mixed));
}

}  // namespace
}  // namespace brivelnox::test
