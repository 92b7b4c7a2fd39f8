// A call is given up while it is just being announced: TAPI has its handle already, the provider does not.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/dll/raw_provider_helper.h"
#include "tests/support/as_handle.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class given_up_in_new_call : public raw_provider {
  protected:
    static constexpr std::int32_t kPhone = 1001;
    static constexpr DWORD kDevice = 5;
    static constexpr std::uintptr_t kTapiLine = 0xA1;
    static constexpr std::uintptr_t kNextTapiLine = 0xA2;
    /// The call that is given up.
    static constexpr std::uintptr_t kCall = tapi_recorder::kFirstCallHandle;

    void SetUp() override {
        raw_provider::SetUp();
        ASSERT_EQ(Enumerate(), 0);
        ASSERT_EQ(Init(kDevice), 0);
        Open(kTapiLine);
    }

    void Open(std::uintptr_t tapi_line) {
        EXPECT_EQ(module_.TSPI_lineOpen(kDevice, AsHandle<HTAPILINE>(tapi_line), &line_, kVersion,
                                        tapi_.Procedure()),
                  0);
    }
    void Close() { EXPECT_EQ(module_.TSPI_lineClose(line_), 0); }

    /// The softphone's call "first" rings. What happens inside LINE_NEWCALL, once its handle has been given.
    /// Returns when all of it has been handled.
    void Ring(std::function<void(HDRVCALL)> give_up) {
        tapi_.SetReaction([give_up = std::move(give_up)](const tapi_event& event) {
            if (event.message == static_cast<DWORD>(LINE_NEWCALL)) {
                give_up(AsHandle<HDRVCALL>(event.param1));
            }
        });
        Play(kPhone, "first", "Ringing");
        ASSERT_TRUE(Settled(kPhone));
        tapi_.SetReaction({});
    }

    void PlayTheEnd(const std::string& id) {
        Play(kPhone, id, "Hangup");
        service_.Send(simulator::CallRemovedEvent(kPhone, id));
    }

    /// Nothing but its announcement was ever told of the call.
    void ExpectOnlyAnnounced() { EXPECT_THAT(tapi_.Events(), ElementsAre(NewCall(kTapiLine, 1, kCall))); }

    void ExpectCounts(DWORD active) {
        LINEDEVSTATUS line = {};
        line.dwTotalSize = sizeof line;
        EXPECT_EQ(module_.TSPI_lineGetLineDevStatus(line_, &line), 0);
        EXPECT_EQ(line.dwNumActiveCalls, active);
        EXPECT_EQ(line.dwNumOnHoldCalls, 0u);
        LINEADDRESSSTATUS address = {};
        address.dwTotalSize = sizeof address;
        EXPECT_EQ(module_.TSPI_lineGetAddressStatus(line_, 0, &address), 0);
        EXPECT_EQ(address.dwNumActiveCalls, active);
        EXPECT_EQ(address.dwNumOnHoldCalls, 0u);
    }

    /// The line counts no call. The softphone's next one, to its end, is a call like any other.
    void ExpectNextCallIsLikeAnyOther(std::uintptr_t tapi_line) {
        ExpectCounts(0);
        tapi_.Clear();
        Play(kPhone, "next", "Ringing");
        ASSERT_TRUE(Settled(kPhone));
        ExpectCounts(1);
        PlayTheEnd("next");
        ASSERT_TRUE(Settled(kPhone));
        ExpectCounts(0);
        const std::vector<tapi_event> told = tapi_.Events();
        ASSERT_FALSE(told.empty());
        const std::uintptr_t call = told.front().param2;
        EXPECT_NE(call, kCall);
        EXPECT_THAT(told, ElementsAre(NewCall(tapi_line, told.front().param1, call),
                                      CallState(tapi_line, call, LINECALLSTATE_OFFERING),
                                      CallState(tapi_line, call, LINECALLSTATE_ACCEPTED),
                                      CallState(tapi_line, call, LINECALLSTATE_DISCONNECTED,
                                                LINEDISCONNECTMODE_NORMAL),
                                      CallState(tapi_line, call, LINECALLSTATE_IDLE)));
    }

    /// The softphone's call goes on to its end on the line as it is open next. Whether that is a new call for
    /// TAPI is left open.
    void ExpectHandleIsNotUsedByWhatFollows() {
        Play(kPhone, "first", "Connected");
        Play(kPhone, "first", "Parked");
        PlayTheEnd("first");
        ASSERT_TRUE(Settled(kPhone));
        EXPECT_THAT(tapi_.EventsOf(kCall), IsEmpty());
        ExpectNextCallIsLikeAnyOther(kNextTapiLine);
    }

    HDRVLINE line_ = nullptr;
};

TEST_F(given_up_in_new_call, by_closing_its_line_it_is_never_heard_of_again) {
    Ring([this](HDRVCALL) { Close(); });
    ExpectOnlyAnnounced();
    Open(kNextTapiLine);
    ExpectOnlyAnnounced();
    ExpectNextCallIsLikeAnyOther(kNextTapiLine);
}

TEST_F(given_up_in_new_call, by_closing_and_opening_its_line_it_is_never_heard_of_again) {
    Ring([this](HDRVCALL) {
        Close();
        Open(kNextTapiLine);
    });
    ExpectOnlyAnnounced();
    ExpectNextCallIsLikeAnyOther(kNextTapiLine);
}

TEST_F(given_up_in_new_call, by_closing_its_line_it_counts_nowhere_when_it_goes_on_meanwhile) {
    Ring([this](HDRVCALL) { Close(); });
    Play(kPhone, "first", "Connected");
    Play(kPhone, "first", "Parked");
    ASSERT_TRUE(Settled(kPhone));
    Open(kNextTapiLine);
    ExpectOnlyAnnounced();
    ExpectNextCallIsLikeAnyOther(kNextTapiLine);
}

TEST_F(given_up_in_new_call, by_closing_its_line_it_may_end_meanwhile) {
    Ring([this](HDRVCALL) { Close(); });
    Play(kPhone, "first", "Connected");
    PlayTheEnd("first");
    ASSERT_TRUE(Settled(kPhone));
    Open(kNextTapiLine);
    ExpectOnlyAnnounced();
    ExpectNextCallIsLikeAnyOther(kNextTapiLine);
}

TEST_F(given_up_in_new_call, by_closing_its_line_its_handle_is_not_used_when_it_goes_on_afterwards) {
    Ring([this](HDRVCALL) { Close(); });
    Open(kNextTapiLine);
    ExpectHandleIsNotUsedByWhatFollows();
}

TEST_F(given_up_in_new_call, by_closing_and_opening_its_line_its_handle_is_not_used_when_it_goes_on) {
    Ring([this](HDRVCALL) {
        Close();
        Open(kNextTapiLine);
    });
    ExpectHandleIsNotUsedByWhatFollows();
}

TEST_F(given_up_in_new_call, by_closing_it_is_never_heard_of_again) {
    Ring([this](HDRVCALL call) { EXPECT_EQ(module_.TSPI_lineCloseCall(call), 0); });
    ExpectOnlyAnnounced();
    ExpectNextCallIsLikeAnyOther(kTapiLine);
}

}  // namespace
}  // namespace brivelnox::test
