// TAPI asks back from inside the messages that it is told, and applications act there.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "tests/dll/byte_pattern_helper.h"
#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const HDRVLINE kNoLine = AsHandle<HDRVLINE>(0xA5A5A5A5);

void CALLBACK IgnoreEvent(HTAPILINE, HTAPICALL, DWORD, DWORD_PTR, DWORD_PTR, DWORD_PTR) {}

/// TSPI_lineOpen for what the host would not do. Nothing is told through the procedure.
LONG OpenPastHost(const host::provider_module& module, DWORD device, HDRVLINE& handle) {
    return module.TSPI_lineOpen(device, AsHandle<HTAPILINE>(0xBBBB0001), &handle, kVersion, &IgnoreEvent);
}

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

TEST_F(requests_inside_callbacks, a_line_is_not_opened_inside_its_own_closing) {
    ConnectedCall();
    HDRVLINE handle = kNoLine;
    std::vector<LONG> opened;
    host_.SetEventHook([&](const host::tapi_event& event) {
        if (event.IsMessage(LINE_CALLSTATE)) {
            opened.push_back(OpenPastHost(module_, device_, handle));
        }
    });
    log_.Skip();
    EXPECT_EQ(host_.CloseLine(line_), 0);
    host_.SetEventHook({});
    // Inside DISCONNECTED and inside IDLE.
    EXPECT_THAT(opened, ElementsAre(kOperationFailed, kOperationFailed));
    EXPECT_EQ(handle, kNoLine);
    EXPECT_EQ(log_.Count(kManagerCategory, "LineOpen: Caught Exception!"), 2u);
    EXPECT_EQ(log_.CountStarting("Line", "LineOpen "), 0u);
    // Closed, it is opened like any other.
    line_ = host_.OpenLine(device_);
    ASSERT_NE(line_, nullptr);
    AcceptedCall("in-2");
}

TEST_F(requests_inside_callbacks, no_number_is_dialled_on_a_line_that_is_being_closed) {
    // Its id is before that of the consultation call, which has hexadecimal digits and hyphens: a closing
    // ends the calls in the order of their ids.
    HTAPICALL const first = ConnectedCall("!in-1");
    HTAPICALL const consultation = host_.SetupTransfer(first).call;
    ASSERT_EQ(Last(host_.States(consultation)), DWORD{LINECALLSTATE_DIALTONE});
    std::optional<host::request_result> dialled;
    host_.SetEventHook([&](const host::tapi_event& event) {
        if (event.IsMessage(LINE_CALLSTATE) && event.call == first &&
            event.param1 == LINECALLSTATE_DISCONNECTED) {
            dialled = host_.Dial(consultation, L"4712");
        }
    });
    const std::size_t since = service_.ReceivedCount();
    const std::uint64_t mark = host_.Mark();
    log_.Skip();
    EXPECT_EQ(host_.CloseLine(line_), 0);
    host_.SetEventHook({});
    ASSERT_TRUE(dialled);
    EXPECT_EQ(dialled->returned, kOperationFailed);
    EXPECT_EQ(log_.Count(kManagerCategory, "LineMakeCallAsync: Caught Exception!"), 1u);
    EXPECT_THAT(host_.States(consultation),
                ElementsAre(DWORD{LINECALLSTATE_DIALTONE}, DWORD{LINECALLSTATE_DISCONNECTED},
                            DWORD{LINECALLSTATE_IDLE}));
    EXPECT_EQ(host_.History().Since(mark).size(), 4u) << "both calls end, and nothing completes";
    line_ = host_.OpenLine(device_);
    ASSERT_NE(line_, nullptr);
    EXPECT_THAT(RequestsSince(since), IsEmpty());
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

/// Two open lines with a connected call each. A shutdown closes the first line first.
class requests_inside_shutdown : public hosted_provider {
  protected:
    static constexpr std::int32_t kFirstPhone = 1001;
    static constexpr std::size_t kFirst = 0;
    static constexpr std::size_t kSecond = 1;

    void SetUp() override {
        for (const std::int32_t id : {kFirstPhone, kFirstPhone + 1}) {
            phones_.push_back(AddPhone(id, Text("Desk %d", static_cast<int>(id))));
        }
        StartAll();
        for (const std::size_t i : {kFirst, kSecond}) {
            devices_.push_back(host_.Devices().at(i).device_id);
            HTAPILINE const line = host_.OpenLine(devices_.back());
            (void)phones_[i]->Connect(phones_[i]->Ring({"4711", "Anna"}));
            HTAPICALL const call = host_.WaitForNewCall(line, kSoon);
            ASSERT_TRUE(host_.WaitForCurrentState(call, LINECALLSTATE_CONNECTED, kSoon));
            ASSERT_TRUE(Settled(kFirstPhone));
            calls_.push_back(host_.Driver(call));
            tapi_calls_.push_back(call);
        }
        log_.Skip();
    }

    /// Shuts the provider down. What happens inside the messages about the second line's call.
    void ShutDown(const std::function<void()>& act) {
        host_.SetEventHook([this, act](const host::tapi_event& event) {
            if (event.IsMessage(LINE_CALLSTATE) && event.call == tapi_calls_[kSecond]) {
                act();
            }
        });
        EXPECT_EQ(host_.Shutdown(), 0);
        host_.SetEventHook({});
    }

    std::vector<std::shared_ptr<simulator::softphone>> phones_;
    std::vector<DWORD> devices_;
    std::vector<HDRVCALL> calls_;
    std::vector<HTAPICALL> tapi_calls_;
};

TEST_F(requests_inside_shutdown, open_no_line_that_it_has_closed_or_is_closing) {
    HDRVLINE handle = kNoLine;
    std::vector<LONG> opened;
    ShutDown([&] {
        opened.push_back(OpenPastHost(module_, devices_[kFirst], handle));
        opened.push_back(OpenPastHost(module_, devices_[kSecond], handle));
    });
    EXPECT_THAT(opened, ElementsAre(kOperationFailed, kOperationFailed, kOperationFailed, kOperationFailed));
    EXPECT_EQ(handle, kNoLine);
    EXPECT_EQ(log_.Count(kManagerCategory, "LineOpen: Caught Exception!"), 4u);
    EXPECT_EQ(log_.CountStarting("Line", "LineOpen "), 0u);
}

TEST_F(requests_inside_shutdown, still_open_nothing_for_an_unknown_device) {
    HDRVLINE handle = kNoLine;
    std::vector<LONG> opened;
    ShutDown([&] { opened.push_back(OpenPastHost(module_, 4711, handle)); });
    EXPECT_THAT(opened, ElementsAre(0, 0));
    EXPECT_EQ(handle, kNoLine);
    EXPECT_EQ(log_.Count(kManagerCategory, "LineOpen: Caught Exception!"), 0u);
}

TEST_F(requests_inside_shutdown, are_told_all_about_the_call_of_a_line_that_it_has_closed) {
    constexpr std::size_t kSize = 1024;
    patterned_structure before(kSize);
    ASSERT_EQ(module_.TSPI_lineGetCallInfo(calls_[kFirst], before.As<LINECALLINFO>()), 0);
    ASSERT_EQ(before.As<LINECALLINFO>()->dwLineDeviceID, devices_[kFirst]);
    int asked = 0;
    ShutDown([&] {
        ++asked;
        patterned_structure inside(kSize);
        EXPECT_EQ(module_.TSPI_lineGetCallInfo(calls_[kFirst], inside.As<LINECALLINFO>()), 0);
        EXPECT_TRUE(SameBytes(before, inside));
    });
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(log_.Count(kManagerCategory, "LineGetCallInfo: Caught Exception!"), 0u);
}

}  // namespace
}  // namespace brivelnox::test
