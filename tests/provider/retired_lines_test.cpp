// Requests that come while the lines have been taken away, but before their manager is gone.

#include "calls/tapi_call.h"
#include "tests/provider/manager_fixture_helper.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class retired_lines : public manager_fixture {
  protected:
    void SetUp() override {
        manager_ = MakeManager();
        // On a line that is not open, so that stopping leaves the calls in their states.
        first_ = MakeCall(*manager_);
        ASSERT_EQ(manager_->LineSetupTransfer(2, first_, nullptr, &consultation_), 2);
        lines_->Stop();
        log_.Skip();
    }

    std::shared_ptr<telephony_manager> manager_;
    HDRVCALL first_ = nullptr;
    HDRVCALL consultation_ = nullptr;
};

TEST_F(retired_lines, are_missed_by_dial) {
    EXPECT_EQ(manager_->LineDial(77, consultation_, L"4712", 0), kInvalidAddress);
    EXPECT_THAT(log_.Texts(), ElementsAre("LineMakeCallAsync: No line related to call."));
    EXPECT_EQ(ManagerLog(), log_.Texts());
}

TEST_F(retired_lines, are_missed_by_dial_after_everything_else) {
    EXPECT_EQ(manager_->LineDial(77, consultation_, nullptr, 0), kInvalidAddress);
    EXPECT_EQ(manager_->LineDial(77, first_, L"4712", 0), static_cast<LONG>(LINEERR_DIALDIALTONE));
    EXPECT_THAT(log_.Texts(), ElementsAre("LineMakeCallAsync: Invalid destination address was given.",
                                          "LineMakeCallAsync: Call is not in state dialtone"));
}

TEST_F(retired_lines, get_no_requests) {
    for (const LONG result : {manager_->LineAnswer(77, first_), manager_->LineHold(77, first_),
                              manager_->LineDrop(77, first_), manager_->LineRedirect(77, first_, L"4712")}) {
        EXPECT_EQ(result, kOperationFailed);
    }
    EXPECT_THAT(log_.Texts("Line"), IsEmpty());
    EXPECT_EQ(manager_->LineGenerateDigits(first_, 0, L"1"), kOperationFailed);
}

TEST_F(retired_lines, leave_call_information_without_a_device) {
    LINECALLINFO info = {};
    info.dwTotalSize = sizeof info;
    EXPECT_EQ(manager_->LineGetCallInfo(first_, &info), kOperationFailed);
    EXPECT_EQ(ManagerLog().back(), "LineGetCallInfo: Caught Exception!");
}

TEST_F(retired_lines, leave_call_status_and_closing_calls_as_they_were) {
    LINECALLSTATUS status = {};
    EXPECT_EQ(manager_->LineGetCallStatus(consultation_, &status), 0);
    EXPECT_EQ(status.dwCallState, DWORD{LINECALLSTATE_DIALTONE});
    EXPECT_EQ(manager_->LineCloseCall(consultation_), 0);
    EXPECT_EQ(manager_->LineGetCallStatus(consultation_, &status), 0);
    EXPECT_EQ(status.dwCallState, DWORD{LINECALLSTATE_UNKNOWN});
}

}  // namespace
}  // namespace brivelnox::test
