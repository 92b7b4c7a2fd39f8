// Calls that TAPI has placed: what the softphone reports of them is believed by a rule of its own while they
// are PROCEEDING.

#include <windows.h>
#include <tspi.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "calls/tapi_call.h"
#include "tests/support/as_handle.h"
#include "tests/support/line_fixture.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uintptr_t kCall = 0xC1;
constexpr char kReportedAsRingback[] =
    "Outbound call was started by TAPI, connected state was ignored, call is now 'outgoing' -> report as "
    "ringback.";
constexpr char kProceedingBeforeRingback[] =
    "Outbound call was started by TAPI -> report as proceeding before signaling ringback.";
constexpr char kRingbackBeforeConnect[] =
    "Outbound call is in a connected state but TAPI call is still proceeding. Call was started by TAPI -> "
    "report ringback before connect.";

class placed_call : public line_fixture {
  protected:
    placed_call() {
        Open();
        call_ = PlacedCall(kCall);
    }
    void Report(const std::wstring& state) {
        line_.Calls().OnClientCallState(StateOf(call_->ClientCallId(), state, true));
    }
    /// Reports Connected too early.
    void HoldBackConnected() {
        manual_clock::Set(1000);
        Report(L"Connected");
        ASSERT_TRUE(call_->ConnectedIgnored());
        Forget();
    }
    /// The log lines of the rule itself.
    std::vector<std::string> RuleLines() const {
        std::vector<std::string> lines = log_.Texts("Line");
        std::erase_if(lines, [](const std::string& text) { return !text.starts_with("Outbound call "); });
        return lines;
    }
    static tapi_event State(DWORD state) { return CallState(kTapiLine, kCall, state); }

    std::shared_ptr<tapi_call> call_;
};

TEST_F(placed_call, connected_after_2999_milliseconds_stays_proceeding) {
    manual_clock::Set(2999);
    Report(L"Connected");
    EXPECT_THAT(RuleLines(), ElementsAre("Outbound call is connected without ringback, duration 2999 ms. "
                                         "Call was started by TAPI -> report as proceeding."));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(call_->State(), static_cast<std::uint32_t>(LINECALLSTATE_PROCEEDING));
    EXPECT_TRUE(call_->ConnectedIgnored());
}

TEST_F(placed_call, connected_after_3000_milliseconds_is_believed) {
    manual_clock::Set(3000);
    Report(L"Connected");
    EXPECT_THAT(RuleLines(),
                ElementsAre("Outbound call was started by TAPI, duration 3000 ms -> report as connected."));
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(LINECALLSTATE_RINGBACK), State(LINECALLSTATE_CONNECTED)));
    EXPECT_FALSE(call_->ConnectedIgnored());
}

TEST_F(placed_call, connected_at_once_stays_proceeding) {
    Report(L"Connected");
    EXPECT_THAT(RuleLines(), ElementsAre("Outbound call is connected without ringback, duration 0 ms. Call "
                                         "was started by TAPI -> report as proceeding."));
    EXPECT_TRUE(call_->ConnectedIgnored());
}

TEST_F(placed_call, connected_after_the_clock_was_set_back_stays_proceeding) {
    manual_clock::Set(-60000);
    Report(L"Connected");
    EXPECT_THAT(RuleLines(), ElementsAre("Outbound call is connected without ringback, duration -60000 ms. "
                                         "Call was started by TAPI -> report as proceeding."));
    EXPECT_TRUE(call_->ConnectedIgnored());
}

TEST_F(placed_call, time_since_the_creation_is_cut_to_32_bits) {
    manual_clock::Set(25LL * 24 * 3600 * 1000);
    Report(L"Connected");
    EXPECT_THAT(RuleLines(), ElementsAre("Outbound call is connected without ringback, duration -2134967296 "
                                         "ms. Call was started by TAPI -> report as proceeding."));
}

TEST_F(placed_call, held_back_connected_still_tells_the_parties) {
    manual_clock::Set(2999);
    client_call_state event = StateOf(call_->ClientCallId(), L"Connected", true);
    event.peerPhoneNumber = L"4711";
    line_.Calls().OnClientCallState(event);
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallInfo(kTapiLine, kCall, 0x38000)));
}

TEST_F(placed_call, further_connected_is_measured_from_the_creation_again) {
    HoldBackConnected();
    manual_clock::Set(2999);
    Report(L"Connected");
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    manual_clock::Set(3000);
    Report(L"Connected");
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(LINECALLSTATE_RINGBACK), State(LINECALLSTATE_CONNECTED)));
}

TEST_F(placed_call, outgoing_after_a_held_back_connected_is_reported_as_ringback) {
    HoldBackConnected();
    Report(L"Outgoing");
    EXPECT_THAT(RuleLines(), ElementsAre(kReportedAsRingback));
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(LINECALLSTATE_RINGBACK)));
    EXPECT_FALSE(call_->ConnectedIgnored());
}

TEST_F(placed_call, incoming_after_a_held_back_connected_is_reported_as_ringback_too) {
    HoldBackConnected();
    Report(L"Incoming");
    EXPECT_THAT(RuleLines(), ElementsAre(kReportedAsRingback));
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(LINECALLSTATE_RINGBACK)));
    EXPECT_FALSE(call_->ConnectedIgnored());
}

TEST_F(placed_call, connected_is_believed_at_once_after_that_ringback) {
    HoldBackConnected();
    Report(L"Outgoing");
    Forget();
    Report(L"Connected");
    EXPECT_THAT(RuleLines(), IsEmpty());
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(LINECALLSTATE_CONNECTED)));
}

TEST_F(placed_call, outgoing_or_incoming_without_a_held_back_connected_is_nothing) {
    Report(L"Outgoing");
    Report(L"Incoming");
    EXPECT_THAT(RuleLines(), IsEmpty());
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(call_->State(), static_cast<std::uint32_t>(LINECALLSTATE_PROCEEDING));
}

TEST_F(placed_call, ringback_is_reported_from_proceeding) {
    Report(L"Ringback");
    EXPECT_THAT(RuleLines(), ElementsAre(kProceedingBeforeRingback));
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(LINECALLSTATE_RINGBACK)));
    Forget();
    Report(L"Ringback");
    EXPECT_THAT(RuleLines(), IsEmpty());
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

TEST_F(placed_call, ringback_after_a_held_back_connected_is_reported_from_proceeding) {
    HoldBackConnected();
    Report(L"Ringback");
    EXPECT_THAT(RuleLines(), ElementsAre(kProceedingBeforeRingback));
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(LINECALLSTATE_RINGBACK)));
}

TEST_F(placed_call, connected_after_ringback_is_believed_at_once) {
    Report(L"Ringback");
    Forget();
    Report(L"Connected");
    EXPECT_THAT(RuleLines(), IsEmpty());
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(LINECALLSTATE_CONNECTED)));
}

class placed_call_in_conference : public placed_call, public testing::WithParamInterface<const wchar_t*> {};

TEST_P(placed_call_in_conference, is_reported_with_ringback_before_connect) {
    Report(GetParam());
    EXPECT_THAT(RuleLines(), ElementsAre(kRingbackBeforeConnect));
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(LINECALLSTATE_RINGBACK), State(LINECALLSTATE_CONNECTED)));
    Forget();
    Report(GetParam());
    EXPECT_THAT(RuleLines(), IsEmpty());
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(each, placed_call_in_conference,
                         testing::Values(L"ConferenceActive", L"Consult", L"ConferenceConsult",
                                         L"ConferenceInactive"),
                         [](const testing::TestParamInfo<const wchar_t*>& state) {
                             return ToAnsi(state.param);
                         });

TEST_F(placed_call, ringing_and_parked_are_taken_as_for_any_call) {
    Report(L"Ringing");
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(LINECALLSTATE_ACCEPTED)));
    const auto other = PlacedCall(0xC2);
    line_.Calls().OnClientCallState(StateOf(other->ClientCallId(), L"Parked", true));
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(kTapiLine, 0xC2, LINECALLSTATE_ONHOLD)));
    EXPECT_THAT(RuleLines(), IsEmpty());
}

TEST_F(placed_call, unknown_state_leaves_it_proceeding) {
    Report(L"None");
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(call_->State(), static_cast<std::uint32_t>(LINECALLSTATE_PROCEEDING));
}

TEST_F(placed_call, consultation_call_is_believed_connected_at_once) {
    std::uint64_t handle = 0;
    calls_.PrepareConsultationCall(call_->DriverCallHandle(), AsHandle<HTAPICALL>(0xC2), handle);
    const auto consultation = calls_.FindCall(handle);
    ASSERT_NE(consultation, nullptr);
    consultation->SetState(LINECALLSTATE_DIALTONE, 0, false);
    line_.Calls().Dial(consultation, 0, L"4712");
    Forget();
    line_.Calls().OnClientCallState(StateOf(consultation->ClientCallId(), L"Connected", true));
    EXPECT_THAT(RuleLines(), IsEmpty());
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(kTapiLine, 0xC2, LINECALLSTATE_CONNECTED)));
}

}  // namespace
}  // namespace brivelnox::test
