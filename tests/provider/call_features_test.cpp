// What TAPI is offered to do with a call in each of the sixteen states, also in those that no softphone
// brings about.

#include <cstdint>
#include <memory>

#include "calls/call_manager.h"
#include "calls/tapi_call.h"
#include "tests/provider/manager_fixture_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

constexpr struct {
    DWORD state;
    DWORD features;
} kFeatures[] = {
    {0x1, 0},              // idle
    {0x2, 0x80},           // offering
    {0x4, 0x20084},        // accepted, with both connections up
    {0x8, 0xC0},           // dial tone
    {0x10, 0x80},          // dialing
    {0x20, 0x80},          // ringback
    {0x40, 0x80},          // busy
    {0x80, 0x80},          // special information
    {0x100, 0x06000AA8},   // connected
    {0x200, 0x80},         // proceeding
    {0x400, 0x0C0000A0},   // on hold
    {0x800, 0x80},         // conferenced
    {0x1000, 0x0C0000A0},  // on hold pending conference
    {0x2000, 0x0C0000A0},  // on hold pending transfer
    {0x4000, 0x80},        // disconnected
    {0x8000, 0x80},        // unknown
};

// States whose calls do not count as active.
constexpr DWORD kInactive = 0x1 | 0x400 | 0x1000 | 0x2000;

class call_features : public manager_fixture {
  protected:
    void SetUp() override {
        manager_ = MakeManager();
        ASSERT_EQ(telephony_manager::LineOpen(manager_, 5, AsHandle<HTAPILINE>(0xA1), &line_, kTspiVersion,
                                              tapi_.Procedure()),
                  0);
    }

    /// A new call in this state.
    HDRVCALL CallIn(DWORD state, DWORD mode = 0) {
        HDRVCALL const handle = MakeCall(*manager_);
        Found(lines_->Calls().FindCall(reinterpret_cast<std::uintptr_t>(handle)))
            ->SetState(state, mode, false);
        return handle;
    }

    std::shared_ptr<telephony_manager> manager_;
    HDRVLINE line_ = nullptr;
};

TEST_F(call_features, follow_the_state) {
    for (const auto& row : kFeatures) {
        HDRVCALL const call = CallIn(row.state, 0x20);
        LINECALLSTATUS status = {};
        EXPECT_EQ(manager_->LineGetCallStatus(call, &status), 0);
        EXPECT_EQ(status.dwCallState, row.state);
        EXPECT_EQ(status.dwCallStateMode, 0x20U);
        EXPECT_EQ(status.dwCallFeatures, row.features) << std::hex << row.state;
    }
}

TEST_F(call_features, follow_the_state_in_the_numbers_of_calls_too) {
    DWORD active = 0;
    DWORD on_hold = 0;
    for (const auto& row : kFeatures) {
        (void)CallIn(row.state);
        active += (row.state & kInactive) == 0;
        on_hold += row.state == 0x400;
        LINEDEVSTATUS status = {};
        status.dwTotalSize = sizeof status;
        EXPECT_EQ(manager_->LineGetLineDevStatus(line_, &status), 0);
        EXPECT_EQ(status.dwNumActiveCalls, active) << std::hex << row.state;
        EXPECT_EQ(status.dwNumOnHoldCalls, on_hold) << std::hex << row.state;
        EXPECT_EQ(status.dwNumOnHoldPendCalls, 0U);
    }
    EXPECT_EQ(active, 12U);
}

TEST_F(call_features, of_a_call_in_no_known_state_are_to_drop_it) {
    HDRVCALL const call = CallIn(0x10000);
    LINECALLSTATUS status = {};
    EXPECT_EQ(manager_->LineGetCallStatus(call, &status), 0);
    EXPECT_EQ(status.dwCallFeatures, 0x80U);
}

TEST_F(call_features, let_a_call_be_dialled_in_dial_tone_alone) {
    for (const auto& row : kFeatures) {
        const LONG result = manager_->LineDial(77, CallIn(row.state), L"4712", 0);
        EXPECT_EQ(result, row.state == 0x8 ? 77 : static_cast<LONG>(LINEERR_DIALDIALTONE))
            << std::hex << row.state;
    }
}

}  // namespace
}  // namespace brivelnox::test
