// Requests from inside the messages of a shutdown, for calls whose line it has closed already.

#include <functional>
#include <memory>
#include <utility>

#include "calls/tapi_call.h"
#include "tests/provider/manager_fixture_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class retired_lines : public manager_fixture {
  protected:
    retired_lines() {
        service_.SetLists({RegistrationElement(7, "Desk 7") + RegistrationElement(8, "Desk 8")});
    }

    void SetUp() override {
        manager_ = MakeManager();
        // On a line that is not open, so that closing leaves the calls in their states.
        first_ = MakeCall(*manager_);
        ASSERT_EQ(manager_->LineSetupTransfer(2, first_, nullptr, &consultation_), 2);
        // The second line's call has messages for the shutdown to tell.
        HDRVLINE second_line = nullptr;
        ASSERT_EQ(telephony_manager::LineOpen(manager_, 6, AsHandle<HTAPILINE>(0xA2), &second_line,
                                              kTspiVersion, tapi_.Procedure()),
                  0);
        HDRVCALL second = nullptr;
        ASSERT_EQ(manager_->LineMakeCall(3, second_line, AsHandle<HTAPICALL>(0xC2), &second, L"4711", 0), 3);
    }

    /// Does this from inside the shutdown's first message, with only that in the log.
    void DuringTheShutdown(const std::function<void()>& request) {
        bool is_done = false;
        tapi_.SetReaction([&](const tapi_event&) {
            if (!std::exchange(is_done, true)) {
                log_.Skip();
                request();
            }
        });
        lines_->Stop();
        EXPECT_TRUE(is_done);
        tapi_.SetReaction({});
    }

    std::shared_ptr<telephony_manager> manager_;
    HDRVCALL first_ = nullptr;
    HDRVCALL consultation_ = nullptr;
};

TEST_F(retired_lines, are_missed_by_dial) {
    DuringTheShutdown([&] {
        EXPECT_EQ(manager_->LineDial(77, consultation_, L"4712", 0), kInvalidAddress);
        EXPECT_THAT(log_.Texts(), ElementsAre("LineMakeCallAsync: No line related to call."));
        EXPECT_EQ(ManagerLog(), log_.Texts());
    });
}

TEST_F(retired_lines, are_missed_by_dial_after_everything_else) {
    DuringTheShutdown([&] {
        EXPECT_EQ(manager_->LineDial(77, consultation_, nullptr, 0), kInvalidAddress);
        EXPECT_EQ(manager_->LineDial(77, first_, L"4712", 0), static_cast<LONG>(LINEERR_DIALDIALTONE));
        EXPECT_THAT(log_.Texts(), ElementsAre("LineMakeCallAsync: Invalid destination address was given.",
                                              "LineMakeCallAsync: Call is not in state dialtone"));
    });
}

TEST_F(retired_lines, get_no_requests) {
    DuringTheShutdown([&] {
        for (const LONG result :
             {manager_->Request(kAnswer, 77, first_), manager_->Request(kHold, 77, first_),
              manager_->Request(kDrop, 77, first_), manager_->Forward(L"any text", 77, first_, L"4712")}) {
            EXPECT_EQ(result, 77) << "as for any call that is not known";
        }
        EXPECT_THAT(log_.Texts("Line"), IsEmpty());
        EXPECT_EQ(manager_->LineGenerateDigits(first_, 0, L"1"), kOperationFailed);
    });
}

TEST_F(retired_lines, are_not_opened) {
    DuringTheShutdown([&] {
        HDRVLINE line = AsHandle<HDRVLINE>(0x77);
        EXPECT_EQ(telephony_manager::LineOpen(manager_, 5, AsHandle<HTAPILINE>(0xA1), &line, kTspiVersion,
                                              tapi_.Procedure()),
                  kOperationFailed);
        EXPECT_EQ(line, AsHandle<HDRVLINE>(0x77));
        EXPECT_EQ(Last(ManagerLog()), "LineOpen: Caught Exception!");
    });
}

TEST_F(retired_lines, leave_call_information_complete) {
    DuringTheShutdown([&] {
        LINECALLINFO info = {};
        info.dwTotalSize = sizeof info;
        EXPECT_EQ(manager_->LineGetCallInfo(first_, &info), 0);
        EXPECT_EQ(info.dwLineDeviceID, 5U);
        EXPECT_EQ(info.dwOrigin, DWORD{LINECALLORIGIN_OUTBOUND});
    });
}

TEST_F(retired_lines, leave_call_status_and_closing_calls_as_they_were) {
    DuringTheShutdown([&] {
        LINECALLSTATUS status = {};
        EXPECT_EQ(manager_->LineGetCallStatus(consultation_, &status), 0);
        EXPECT_EQ(status.dwCallState, DWORD{LINECALLSTATE_DIALTONE});
        EXPECT_EQ(manager_->LineCloseCall(consultation_), 0);
        EXPECT_EQ(manager_->LineGetCallStatus(consultation_, &status), 0);
        EXPECT_EQ(status.dwCallState, DWORD{LINECALLSTATE_UNKNOWN});
    });
}

}  // namespace
}  // namespace brivelnox::test
