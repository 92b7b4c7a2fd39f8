// A softphone that reports a call of TAPI's as connected too early is not believed for three seconds. In real
// time.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "tests/dll/provider_fixture_helper.h"

namespace brivelnox::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

constexpr DWORD kProceeding = LINECALLSTATE_PROCEEDING;
constexpr DWORD kRingback = LINECALLSTATE_RINGBACK;
constexpr DWORD kConnected = LINECALLSTATE_CONNECTED;

constexpr char kHeldBack[] = "Outbound call is connected without ringback, duration ";
constexpr char kBelieved[] = "Outbound call was started by TAPI, duration ";

class early_connect : public open_line {
  protected:
    /// A call of TAPI's with the softphone's id for it.
    struct placed_call {
        HTAPICALL call;
        std::string id;
        steady_clock::time_point begun;  // not later than its record was made
        steady_clock::time_point made;   // not earlier
    };

    placed_call Place() {
        placed_call placed;
        const std::size_t since = service_.ReceivedCount();
        placed.begun = steady_clock::now();
        placed.call = host_.MakeCall(line_, L"4711").call;
        placed.made = steady_clock::now();
        const auto request = service_.WaitForRequest(simulator::request_kind::kPlaceCall, kSoon, since);
        placed.id = request ? request->parsed.client_call_id : "";
        return placed;
    }

    void PlayConnected(const placed_call& placed) {
        Play(placed.id, "Connected", true);
        ASSERT_TRUE(Settled(kPhone));
    }

    /// The milliseconds in the last line that begins like this; -1 without one.
    int Duration(const std::string& beginning) {
        int duration = -1;
        for (const std::string& text : log_.Texts("Line")) {
            if (text.starts_with(beginning)) {
                duration = std::atoi(text.c_str() + beginning.size());
            }
        }
        return duration;
    }
};

TEST_F(early_connect, is_held_back_until_the_softphone_goes_back_to_outgoing) {
    const placed_call placed = Place();
    PlayConnected(placed);
    EXPECT_THAT(host_.States(placed.call), ElementsAre(kProceeding));
    EXPECT_LT(Duration(kHeldBack), 3000);
    EXPECT_TRUE(log_.Has("Line", Text("Outbound call is connected without ringback, duration %d ms. Call was "
                                      "started by TAPI -> report as proceeding.",
                                      Duration(kHeldBack))));
    Play(placed.id, "Outgoing", true);
    ASSERT_TRUE(Settled(kPhone));
    EXPECT_THAT(host_.States(placed.call), ElementsAre(kProceeding, kRingback));
    EXPECT_TRUE(log_.Has("Line",
                         "Outbound call was started by TAPI, connected state was ignored, call is "
                         "now 'outgoing' -> report as ringback."));
    PlayConnected(placed);
    EXPECT_THAT(host_.States(placed.call), ElementsAre(kProceeding, kRingback, kConnected));
}

TEST_F(early_connect, is_believed_at_once_in_a_conference) {
    const placed_call placed = Place();
    Play(placed.id, "ConferenceActive", true);
    ASSERT_TRUE(Settled(kPhone));
    EXPECT_THAT(host_.States(placed.call), ElementsAre(kProceeding, kRingback, kConnected));
    EXPECT_TRUE(log_.Has("Line",
                         "Outbound call is in a connected state but TAPI call is still proceeding. "
                         "Call was started by TAPI -> report ringback before connect."));
}

TEST_F(early_connect, is_held_back_to_just_before_three_seconds_and_believed_after_them) {
    const placed_call placed = Place();
    PlayConnected(placed);
    std::this_thread::sleep_until(placed.begun + milliseconds(2500));
    PlayConnected(placed);
    // On a machine that was too busy to play it in time this says nothing; the duration tells.
    const int held_back = Duration(kHeldBack);
    EXPECT_GE(held_back, 2400);
    EXPECT_LT(held_back, 3000);
    EXPECT_THAT(host_.States(placed.call), ElementsAre(kProceeding));

    std::this_thread::sleep_until(placed.made + milliseconds(3020));
    PlayConnected(placed);
    const int believed = Duration(kBelieved);
    EXPECT_GE(believed, 3000);
    EXPECT_THAT(host_.States(placed.call), ElementsAre(kProceeding, kRingback, kConnected));
    EXPECT_TRUE(log_.Has("Line", Text("Outbound call was started by TAPI, duration %d ms -> report as "
                                      "connected.",
                                      believed)));
    std::printf("held back at %d ms, believed at %d ms\n", held_back, believed);
}

}  // namespace
}  // namespace brivelnox::test
