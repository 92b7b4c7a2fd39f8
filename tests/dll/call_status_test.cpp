// LINECALLSTATUS, byte by byte, and the features that are offered in each state.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <map>
#include <mutex>

#include "tests/dll/byte_pattern_helper.h"
#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/as_handle.h"

namespace brivelnox::test {
namespace {

constexpr DWORD kDrop = 0x80;
constexpr DWORD kAcceptedFeatures = 0x20080;
constexpr DWORD kAnswerableFeatures = 0x20084;
constexpr DWORD kDialToneFeatures = 0xC0;
constexpr DWORD kConnectedFeatures = 0x06000AA8;
constexpr DWORD kOnHoldFeatures = 0x0C0000A0;

static_assert(kDrop == LINECALLFEATURE_DROP);
static_assert(kAcceptedFeatures == (LINECALLFEATURE_REDIRECT | LINECALLFEATURE_DROP));
static_assert(kAnswerableFeatures == (kAcceptedFeatures | LINECALLFEATURE_ANSWER));
static_assert(kDialToneFeatures == (LINECALLFEATURE_DIAL | LINECALLFEATURE_DROP));
static_assert(kConnectedFeatures ==
              (LINECALLFEATURE_BLINDTRANSFER | LINECALLFEATURE_COMPLETETRANSF | LINECALLFEATURE_DROP |
               LINECALLFEATURE_GENERATEDIGITS | LINECALLFEATURE_HOLD | LINECALLFEATURE_SETUPTRANSFER |
               LINECALLFEATURE_SWAPHOLD));
static_assert(kOnHoldFeatures == (LINECALLFEATURE_COMPLETETRANSF | LINECALLFEATURE_DROP |
                                  LINECALLFEATURE_SWAPHOLD | LINECALLFEATURE_UNHOLD));

patterned_structure Expected(std::size_t size, DWORD state, DWORD mode, DWORD features) {
    patterned_structure status(size);
    status.Set(4, 56).Set(8, 56);
    status.Set(12, state).Set(16, mode);
    status.Set(24, features);      // the privilege at 20 stays
    status.Set(28, 0).Set(32, 0);  // device-specific data; what follows stays
    return status;
}

class call_status : public open_line {
  protected:
    void ExpectStatus(HDRVCALL call, DWORD state, DWORD mode, DWORD features) {
        patterned_structure status(56);
        EXPECT_EQ(module_.TSPI_lineGetCallStatus(call, status.As<LINECALLSTATUS>()), 0);
        EXPECT_TRUE(SameBytes(Expected(56, state, mode, features), status));
    }
    void ExpectStatus(HTAPICALL call, DWORD state, DWORD mode, DWORD features) {
        ExpectStatus(host_.Driver(call), state, mode, features);
    }

    /// Asks for the status from inside each message about a state, as applications do, and keeps the
    /// features.
    void WatchFeatures() {
        host_.SetEventHook([this](const host::tapi_event& event) {
            if (event.IsMessage(LINE_CALLSTATE)) {
                LINECALLSTATUS status = {};
                const LONG result = module_.TSPI_lineGetCallStatus(host_.Driver(event.call), &status);
                const std::lock_guard guard(mutex_);
                EXPECT_EQ(result, 0);
                EXPECT_EQ(status.dwCallState, event.param1);
                features_[static_cast<DWORD>(event.param1)] = status.dwCallFeatures;
            }
        });
    }
    DWORD WatchedFeatures(DWORD state) {
        const std::lock_guard guard(mutex_);
        return features_.contains(state) ? features_[state] : 0xA5A5A5A5;
    }

    void SetConnections(bool client_connected, bool sip_connected) {
        simulator::registration changed = phone_->Registration();
        changed.client_connected = client_connected;
        changed.sip_connected = sip_connected;
        service_.ChangeSoftphone(changed, simulator::registration_change::kRefreshed);
        ASSERT_TRUE(Settled(kPhone));
    }

  private:
    std::mutex mutex_;
    std::map<DWORD, DWORD> features_;
};

TEST_F(call_status, of_a_connected_call_is_these_bytes_and_no_others) {
    HTAPICALL const call = ConnectedCall();
    log_.Skip();
    for (const std::size_t size : {std::size_t{56}, std::size_t{57}, std::size_t{200}}) {
        patterned_structure status(size);
        ASSERT_EQ(module_.TSPI_lineGetCallStatus(host_.Driver(call), status.As<LINECALLSTATUS>()), 0);
        EXPECT_TRUE(SameBytes(Expected(size, LINECALLSTATE_CONNECTED, 0, kConnectedFeatures), status));
    }
    EXPECT_THAT(log_.Lines(), testing::IsEmpty());
}

TEST_F(call_status, pays_no_attention_to_the_total_size) {
    HTAPICALL const call = ConnectedCall();
    for (const std::size_t total : {0u, 12u, 55u}) {
        patterned_structure status(56, total);
        ASSERT_EQ(module_.TSPI_lineGetCallStatus(host_.Driver(call), status.As<LINECALLSTATUS>()), 0);
        patterned_structure expected = Expected(56, LINECALLSTATE_CONNECTED, 0, kConnectedFeatures);
        expected.Set(0, static_cast<DWORD>(total));
        EXPECT_TRUE(SameBytes(expected, status));
    }
}

TEST_F(call_status, of_an_unknown_call_is_unknown_with_drop) {
    ExpectStatus(AsHandle<HDRVCALL>(4711), LINECALLSTATE_UNKNOWN, 0, kDrop);
    ExpectStatus(HDRVCALL{nullptr}, LINECALLSTATE_UNKNOWN, 0, kDrop);
}

TEST_F(call_status, of_an_accepted_call_offers_to_answer) {
    ExpectStatus(AcceptedCall(), LINECALLSTATE_ACCEPTED, 0, kAnswerableFeatures);
}

TEST_F(call_status, of_an_accepted_call_offers_no_answer_while_the_telephony_registration_is_down) {
    HTAPICALL const call = AcceptedCall();
    SetConnections(true, false);
    ExpectStatus(call, LINECALLSTATE_ACCEPTED, 0, kAcceptedFeatures);
    SetConnections(true, true);
    ExpectStatus(call, LINECALLSTATE_ACCEPTED, 0, kAnswerableFeatures);
}

TEST_F(call_status, of_an_accepted_call_offers_no_answer_while_the_softphone_is_away) {
    SetConnections(false, true);
    ExpectStatus(AcceptedCall("in-1"), LINECALLSTATE_ACCEPTED, 0, kAcceptedFeatures);
    SetConnections(false, false);
    ExpectStatus(AcceptedCall("in-2"), LINECALLSTATE_ACCEPTED, 0, kAcceptedFeatures);
}

TEST_F(call_status, of_a_held_call_offers_to_take_it_back) {
    ExpectStatus(HeldCall(), LINECALLSTATE_ONHOLD, 0, kOnHoldFeatures);
}

TEST_F(call_status, of_a_consultation_call_offers_to_dial) {
    ExpectStatus(host_.SetupTransfer(HeldCall()).call, LINECALLSTATE_DIALTONE, 0, kDialToneFeatures);
}

TEST_F(call_status, of_a_call_that_tapi_has_placed_offers_to_drop_it) {
    HTAPICALL const call = host_.MakeCall(line_, L"4711").call;
    ExpectStatus(call, LINECALLSTATE_PROCEEDING, 0, kDrop);
    const auto placed = service_.WaitForRequest(simulator::request_kind::kPlaceCall, kSoon);
    ASSERT_TRUE(placed);
    Play(placed->parsed.client_call_id, "Ringback", true);
    ASSERT_TRUE(Becomes(call, LINECALLSTATE_RINGBACK));
    ExpectStatus(call, LINECALLSTATE_RINGBACK, 0, kDrop);
}

TEST_F(call_status, asked_for_inside_the_message_tells_the_state_of_the_message) {
    WatchFeatures();
    HTAPICALL const call = ConnectedCall("in-1");
    Play("in-1", "Parked");
    ASSERT_TRUE(Becomes(call, LINECALLSTATE_ONHOLD));
    ASSERT_TRUE(host_.Drop(call).Accepted());
    AcceptedCall("in-2");
    Play("in-2", "Hangup", false, 486);
    ASSERT_TRUE(Settled(kPhone));
    host_.SetEventHook({});
    EXPECT_EQ(WatchedFeatures(LINECALLSTATE_OFFERING), kDrop) << "answering is offered once it is accepted";
    EXPECT_EQ(WatchedFeatures(LINECALLSTATE_ACCEPTED), kAnswerableFeatures);
    EXPECT_EQ(WatchedFeatures(LINECALLSTATE_CONNECTED), kConnectedFeatures);
    EXPECT_EQ(WatchedFeatures(LINECALLSTATE_ONHOLD), kOnHoldFeatures);
    EXPECT_EQ(WatchedFeatures(LINECALLSTATE_DISCONNECTED), kDrop);
    EXPECT_EQ(WatchedFeatures(LINECALLSTATE_BUSY), kDrop);
    EXPECT_EQ(WatchedFeatures(LINECALLSTATE_IDLE), 0u);
}

TEST_F(call_status, of_an_ended_call_offers_nothing) {
    HTAPICALL const call = ConnectedCall();
    ASSERT_TRUE(host_.Drop(call).Accepted());
    ExpectStatus(call, LINECALLSTATE_IDLE, 0, 0);
}

TEST_F(call_status, tells_the_mode_that_a_hang_up_has_left_behind) {
    HTAPICALL const call = ConnectedCall();
    Play("in-1", "Hangup", false, 404);
    ASSERT_TRUE(Settled(kPhone));
    ExpectStatus(call, LINECALLSTATE_CONNECTED, LINEDISCONNECTMODE_BADADDRESS, kConnectedFeatures);
}

}  // namespace
}  // namespace brivelnox::test
