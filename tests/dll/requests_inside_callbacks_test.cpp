// TAPI asks back from inside the messages that it is told, and applications act there.

#include <windows.h>
#include <winsock2.h>

#include <string>

#include <tapi.h>
#include <tspi.h>

#include "tests/dll/provider_fixture_helper.h"

namespace brivelnox::dll_test {
namespace {

using testing::ElementsAre;

class requests_inside_callbacks : public open_line {
  protected:
    void TearDown() override {
        if (host_.Running()) {
            (void)host_.Shutdown();
        }
        host_.SetEventHook({});
        open_line::TearDown();
    }

    /// What happens inside each message about this state.
    void InState(DWORD state, std::function<void(HTAPICALL)> act) {
        host_.SetEventHook([state, act = std::move(act)](const host::tapi_event& event) {
            if (event.IsMessage(LINE_CALLSTATE) && event.param1 == state) {
                act(event.call);
            }
        });
    }
};

TEST_F(requests_inside_callbacks, information_and_status_are_told) {
    std::optional<host::call_information> information;
    std::optional<host::call_status> status;
    InState(LINECALLSTATE_CONNECTED, [&](HTAPICALL call) {
        information = host_.GetCallInfo(call);
        status = host_.GetCallStatus(call);
    });
    ConnectedCall();
    ASSERT_EQ(host_.Shutdown(), 0);
    ASSERT_TRUE(information);
    EXPECT_EQ(information->caller.number, L"4711");
    ASSERT_TRUE(status);
    EXPECT_EQ(status->state, DWORD{LINECALLSTATE_CONNECTED});
}

TEST_F(requests_inside_callbacks, a_call_is_closed_inside_its_last_state) {
    InState(LINECALLSTATE_IDLE, [&](HTAPICALL call) { (void)host_.CloseCall(call); });
    HTAPICALL const call = ConnectedCall("in-1");
    const HDRVCALL driver = host_.Driver(call);
    simulator::call_state_event changed;
    Play("in-1", "Hangup", false, 200);
    service_.Send(simulator::CallRemovedEvent(kPhone, "in-1"));
    ASSERT_TRUE(Settled(kPhone));
    EXPECT_EQ(
        log_.Count("CallManager", Text("CloseCall: LineCloseCall (driverCallHandle: 0x%08X)", Low(driver))),
        1u);
    EXPECT_TRUE(host_.Calls().empty());
    // The softphone's id is free again.
    AcceptedCall("in-1");
}

TEST_F(requests_inside_callbacks, calls_are_closed_while_the_reset_of_a_line_walks_over_them) {
    for (const char* const id : {"in-1", "in-2", "in-3", "in-4", "in-5"}) {
        ConnectedCall(id);
    }
    InState(LINECALLSTATE_IDLE, [&](HTAPICALL call) { (void)host_.CloseCall(call); });
    ASSERT_TRUE(service_.RemoveSoftphone(kPhone));
    ASSERT_TRUE(Settled(kPhone));
    EXPECT_TRUE(host_.Calls().empty());
    EXPECT_EQ(log_.CountStarting("Line", "Reset call Desk 1001, "), 5u);
}

TEST_F(requests_inside_callbacks, all_calls_of_a_line_are_closed_at_the_first_end_of_one_of_them) {
    for (const char* const id : {"in-1", "in-2", "in-3"}) {
        ConnectedCall(id);
    }
    bool closed = false;
    InState(LINECALLSTATE_DISCONNECTED, [&](HTAPICALL) {
        if (!std::exchange(closed, true)) {
            for (const host::call_view& each : host_.Calls()) {
                (void)host_.CloseCall(each.call);
            }
        }
    });
    EXPECT_EQ(host_.CloseLine(line_), 0);
    EXPECT_TRUE(host_.Calls().empty());
    EXPECT_EQ(host_.Shutdown(), 0);
}

TEST_F(requests_inside_callbacks, the_line_is_closed_inside_a_call_state) {
    InState(LINECALLSTATE_ACCEPTED, [&](HTAPICALL) { (void)host_.CloseLine(line_); });
    const std::uint64_t mark = host_.Mark();
    Play("in-1", "Ringing");
    HTAPICALL const call = host_.WaitForNewCall(line_, kSoon, mark);
    ASSERT_TRUE(host_.WaitForCurrentState(call, LINECALLSTATE_IDLE, kSoon));
    ASSERT_TRUE(Settled(kPhone));
    EXPECT_THAT(host_.States(call),
                ElementsAre(DWORD{LINECALLSTATE_OFFERING}, DWORD{LINECALLSTATE_ACCEPTED},
                            DWORD{LINECALLSTATE_DISCONNECTED}, DWORD{LINECALLSTATE_IDLE}));
}

TEST_F(requests_inside_callbacks, a_call_is_placed_inside_the_completion_of_another) {
    HTAPICALL second = nullptr;
    host_.SetEventHook([&](const host::tapi_event& event) {
        if (event.kind == host::event_kind::kCompletion && second == nullptr) {
            second = AsHandle<HTAPICALL>(1);  // only once
            second = host_.MakeCall(line_, L"4712").call;
        }
    });
    HTAPICALL const first = host_.MakeCall(line_, L"4711").call;
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(host_.States(first), host_.States(second));
}

TEST_F(requests_inside_callbacks, the_answer_is_sent_from_inside_the_state_that_allows_it) {
    phone_->SetAutomatic(true);
    InState(LINECALLSTATE_ACCEPTED, [&](HTAPICALL call) { (void)host_.Answer(call); });
    const std::uint64_t mark = host_.Mark();
    phone_->Ring({"4711", "Anna"});
    HTAPICALL const call = host_.WaitForNewCall(line_, kSoon, mark);
    EXPECT_TRUE(Becomes(call, LINECALLSTATE_CONNECTED));
}

}  // namespace
}  // namespace brivelnox::dll_test
