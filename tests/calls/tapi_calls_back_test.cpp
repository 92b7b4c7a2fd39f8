// TAPI calls back into the provider from inside its event procedures.

#include <windows.h>
#include <tspi.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "calls/call_manager.h"
#include "calls/tapi_call.h"
#include "tests/support/as_handle.h"
#include "tests/support/line_fixture.h"
#include "tests/support/looked_up.h"
#include "tests/support/worker.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr std::uintptr_t kNewCall = tapi_recorder::kFirstCallHandle;
constexpr DWORD kCancelled = 0x80000;

class calling_back : public line_fixture {
  protected:
    calling_back() {
        Open();
        Forget();
    }

    /// What TAPI does inside the procedure when a call has this state.
    void InsideState(DWORD state, std::function<void()> act) {
        tapi_.SetReaction([state, act](const tapi_event& event) {
            if (event.message == LINE_CALLSTATE && event.param1 == state) {
                act();
            }
        });
    }
    static tapi_event State(std::uintptr_t call, DWORD state, DWORD mode = 0) {
        return CallState(kTapiLine, call, state, mode);
    }
};

using asking_inside_an_event = calling_back;

TEST_F(asking_inside_an_event, shows_the_state_that_is_being_told) {
    std::vector<std::uint32_t> states;
    std::vector<std::uint32_t> active;
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.message == LINE_CALLSTATE) {
            states.push_back(Found(calls_.FindCall(1))->Details().tapi_call_state);
            active.push_back(line_.Calls().CountCalls().active);
        }
    });
    client_call_state ringing = StateOf(L"id-1", L"Ringing");
    ringing.peerName = L"Caller";
    line_.Calls().OnClientCallState(ringing);
    line_.Calls().OnCallRemoved(L"id-1");
    EXPECT_THAT(states, ElementsAre(0x2, 0x4, 0x4000, 0x1));
    EXPECT_THAT(active, ElementsAre(1, 1, 1, 0));
}

TEST_F(asking_inside_an_event, shows_the_parties) {
    std::wstring name;
    InsideState(LINECALLSTATE_OFFERING, [&] { name = Found(calls_.FindCall(1))->Details().peer_name; });
    client_call_state ringing = StateOf(L"id-1", L"Ringing");
    ringing.peerName = L"Caller";
    line_.Calls().OnClientCallState(ringing);
    EXPECT_EQ(name, L"Caller");
}

using closing_inside_an_event = calling_back;

TEST_F(closing_inside_an_event, of_idle_after_a_removal_frees_the_record_afterwards) {
    const std::weak_ptr<tapi_call> call = CallInState(LINECALLSTATE_CONNECTED);
    bool alive_inside = false;
    InsideState(LINECALLSTATE_IDLE, [&] {
        calls_.CloseCall(1);
        alive_inside = !call.expired();
    });
    line_.Calls().OnCallRemoved(L"call-1");
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(State(0xC1, LINECALLSTATE_DISCONNECTED), State(0xC1, LINECALLSTATE_IDLE)));
    // The interrupted code still had it in hand.
    EXPECT_TRUE(alive_inside);
    EXPECT_TRUE(call.expired());
    EXPECT_EQ(calls_.FindCall(1), nullptr);
}

TEST_F(closing_inside_an_event, of_disconnected_makes_that_the_last_word) {
    (void)CallInState(LINECALLSTATE_CONNECTED);
    InsideState(LINECALLSTATE_DISCONNECTED, [&] { calls_.CloseCall(1); });
    line_.Calls().OnCallRemoved(L"call-1");
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(0xC1, LINECALLSTATE_DISCONNECTED)));
    EXPECT_EQ(calls_.FindCall(1), nullptr);
}

TEST_F(closing_inside_an_event, of_idle_after_busy_works) {
    (void)CallInState(LINECALLSTATE_CONNECTED);
    InsideState(LINECALLSTATE_IDLE, [&] { calls_.CloseCall(1); });
    client_call_state busy = StateOf(L"call-1", L"Hangup", true, 486);
    busy.peerName = L"Called";
    line_.Calls().OnClientCallState(busy);
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(State(0xC1, LINECALLSTATE_BUSY), CallInfo(kTapiLine, 0xC1, 0x38000),
                            State(0xC1, LINECALLSTATE_IDLE)));
    EXPECT_EQ(calls_.FindCall(1), nullptr);
}

TEST_F(closing_inside_an_event, of_idle_after_a_drop_works) {
    (void)CallInState(LINECALLSTATE_CONNECTED);
    InsideState(LINECALLSTATE_IDLE, [&] { calls_.CloseCall(1); });
    calls_.DropCall(1);
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(State(0xC1, LINECALLSTATE_DISCONNECTED, 0x1), State(0xC1, LINECALLSTATE_IDLE)));
    EXPECT_EQ(calls_.FindCall(1), nullptr);
}

TEST_F(closing_inside_an_event, of_offering_ends_the_call_that_is_just_being_created) {
    InsideState(LINECALLSTATE_OFFERING, [&] { calls_.CloseCall(1); });
    client_call_state connected = StateOf(L"id-1", L"Connected");
    connected.peerName = L"Caller";
    line_.Calls().OnClientCallState(connected);
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(NewCall(kTapiLine, 1, kNewCall), State(kNewCall, LINECALLSTATE_OFFERING)));
    EXPECT_EQ(calls_.FindCall(1), nullptr);
    EXPECT_EQ(line_.Calls().CountCalls().active, 0U);
}

TEST_F(closing_inside_an_event, of_its_information_is_the_last_word) {
    (void)CallInState(LINECALLSTATE_CONNECTED);
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.message == LINE_CALLINFO) {
            calls_.CloseCall(1);
        }
    });
    client_call_state parked = StateOf(L"call-1", L"Parked");
    parked.peerName = L"Caller";
    line_.Calls().OnClientCallState(parked);
    line_.Calls().OnClientCallState(parked);
    EXPECT_EQ(tapi_.EventsOf(0xC1).size(), 2U);
    EXPECT_EQ(calls_.FindCall(1), nullptr);
}

TEST_F(closing_inside_an_event, of_a_call_that_is_just_being_announced_is_the_last_word) {
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.message == LINE_NEWCALL) {
            calls_.CloseCall(static_cast<std::uint64_t>(event.param1));
        }
    });
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Ringing"));
    EXPECT_THAT(tapi_.Events(), ElementsAre(NewCall(kTapiLine, 1, kNewCall)));
    EXPECT_EQ(calls_.FindCall(1), nullptr);
    EXPECT_EQ(line_.Calls().CountCalls().active, 0U);
}

class closing_the_line_inside_new_call : public line_fixture {
  protected:
    closing_the_line_inside_new_call() { Open(); }

    /// The softphone's call rings, and TAPI does this from inside LINE_NEWCALL.
    void Ring(const std::function<void()>& react) {
        tapi_.SetReaction([&](const tapi_event& event) {
            if (event.message == LINE_NEWCALL) {
                react();
            }
        });
        line_.Calls().OnClientCallState(StateOf(L"id-1", L"Ringing"));
        tapi_.SetReaction({});
        EXPECT_THAT(tapi_.Events(), ElementsAre(NewCall(kTapiLine, 1, tapi_recorder::kFirstCallHandle)));
    }
    /// Everything that the softphone can still report of that call.
    void ReportTheRest() {
        for (const wchar_t* const state : {L"Connected", L"Parked", L"Hangup"}) {
            line_.Calls().OnClientCallState(StateOf(L"id-1", state));
        }
        line_.Calls().OnCallRemoved(L"id-1");
    }
    void ExpectNoTraceOfTheCall() {
        EXPECT_EQ(tapi_.Count(), 1U) << "TAPI has forgotten the call with the line";
        EXPECT_EQ(line_.Calls().CountCalls().active, 0U);
        EXPECT_EQ(line_.Calls().CountCalls().on_hold, 0U);
    }
};

TEST_F(closing_the_line_inside_new_call, ends_the_call_without_a_word) {
    Ring([&] { line_.Close(); });
    Open();
    ExpectNoTraceOfTheCall();
    ReportTheRest();
    ExpectNoTraceOfTheCall();
}

TEST_F(closing_the_line_inside_new_call, ends_it_also_when_the_line_is_opened_again_there) {
    Ring([&] {
        line_.Close();
        Open();
    });
    ExpectNoTraceOfTheCall();
    ReportTheRest();
    ExpectNoTraceOfTheCall();
}

TEST_F(closing_the_line_inside_new_call, leaves_the_next_call_as_it_should_be) {
    Ring([&] { line_.Close(); });
    Open();
    tapi_.Clear();
    line_.Calls().OnClientCallState(StateOf(L"id-2", L"Ringing"));
    constexpr std::uintptr_t kNext = tapi_recorder::kFirstCallHandle + 1;
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(NewCall(kTapiLine, 2, kNext), CallState(kTapiLine, kNext, LINECALLSTATE_OFFERING),
                            CallState(kTapiLine, kNext, LINECALLSTATE_ACCEPTED)));
    EXPECT_EQ(line_.Calls().CountCalls().active, 1U);
}

using requests_inside_an_event = calling_back;

TEST_F(requests_inside_an_event, drop_inside_offering_ends_the_call_for_tapi_at_once) {
    InsideState(LINECALLSTATE_OFFERING, [&] { calls_.DropCall(1); });
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Ringing"));
    EXPECT_THAT(
        tapi_.Events(),
        ElementsAre(NewCall(kTapiLine, 1, kNewCall), State(kNewCall, LINECALLSTATE_OFFERING),
                    State(kNewCall, LINECALLSTATE_DISCONNECTED, 0x1), State(kNewCall, LINECALLSTATE_IDLE)));
    EXPECT_THAT(requests_.Requests(), ElementsAre("hangupCall 7 id-1"));
    EXPECT_EQ(Found(calls_.FindCall(1))->State(), static_cast<std::uint32_t>(LINECALLSTATE_IDLE));
}

TEST_F(requests_inside_an_event, drop_inside_offering_and_close_inside_idle_leave_nothing) {
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.message == LINE_CALLSTATE && event.param1 == LINECALLSTATE_OFFERING) {
            calls_.DropCall(1);
        } else if (event.message == LINE_CALLSTATE && event.param1 == LINECALLSTATE_IDLE) {
            calls_.CloseCall(1);
        }
    });
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Connected"));
    EXPECT_EQ(Last(tapi_.Events()), State(kNewCall, LINECALLSTATE_IDLE));
    EXPECT_EQ(tapi_.Count(), 4U);
    EXPECT_EQ(calls_.FindCall(1), nullptr);
}

TEST_F(requests_inside_an_event, answer_inside_offering_is_sent) {
    InsideState(LINECALLSTATE_OFFERING, [&] { calls_.AnswerCall(1); });
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Ringing"));
    EXPECT_THAT(requests_.Requests(), ElementsAre("acceptCall 7 id-1"));
    EXPECT_EQ(Last(tapi_.Events()), State(kNewCall, LINECALLSTATE_ACCEPTED));
}

TEST_F(requests_inside_an_event, make_call_inside_an_event_places_it) {
    (void)CallInState(LINECALLSTATE_CONNECTED);
    std::uint64_t placed = 0;
    InsideState(LINECALLSTATE_ONHOLD,
                [&] { line_.Calls().MakeCall(AsHandle<HTAPICALL>(0xC2), 0, L"4711", placed); });
    line_.Calls().OnClientCallState(StateOf(L"call-1", L"Parked"));
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(State(0xC1, LINECALLSTATE_ONHOLD), State(0xC2, LINECALLSTATE_PROCEEDING)));
    EXPECT_NE(calls_.FindCall(placed), nullptr);
}

TEST_F(requests_inside_an_event, closing_the_line_inside_an_event_ends_its_messages) {
    InsideState(LINECALLSTATE_OFFERING, [&] { line_.Close(); });
    line_.Calls().OnClientCallState(StateOf(L"id-1", L"Connected"));
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(NewCall(kTapiLine, 1, kNewCall), State(kNewCall, LINECALLSTATE_OFFERING),
                            State(kNewCall, LINECALLSTATE_DISCONNECTED, kCancelled),
                            State(kNewCall, LINECALLSTATE_IDLE)));
    EXPECT_FALSE(line_.IsOpen());
    EXPECT_EQ(Found(calls_.FindCall(1))->State(), static_cast<std::uint32_t>(LINECALLSTATE_IDLE));
}

TEST_F(requests_inside_an_event, line_stays_usable_for_others_after_a_request_that_throws) {
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    requests_.SetReaction([](const std::string&) { throw std::runtime_error("no memory"); });
    EXPECT_THROW(line_.Calls().HoldCall(*call), std::runtime_error);
    EXPECT_THROW(line_.Calls().DropCall(*call), std::runtime_error);
    requests_.SetReaction({});
    worker other([&] { line_.Calls().DropCall(*call); });
    EXPECT_TRUE(other.FinishesWithin(kSoon));
    EXPECT_EQ(call->State(), static_cast<std::uint32_t>(LINECALLSTATE_IDLE));
}

using reset_under_changes = calling_back;

TEST_F(reset_under_changes, each_call_that_is_closed_inside_its_idle_leaves_the_index) {
    for (int i = 0; i < 5; ++i) {
        (void)CallInState(LINECALLSTATE_CONNECTED, L"call-" + std::to_wstring(i),
                          0xC1 + static_cast<std::uintptr_t>(i));
    }
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.param1 == LINECALLSTATE_IDLE) {
            calls_.CloseCall(event.call - 0xC0);
        }
    });
    line_.Calls().ResetCalls();
    EXPECT_EQ(tapi_.Count(), 10U);
    for (std::uint64_t handle = 1; handle <= 5; ++handle) {
        EXPECT_EQ(calls_.FindCall(handle), nullptr);
    }
    EXPECT_EQ(log_.CountStarting("Line", "Removed call "), 5U);
}

TEST_F(reset_under_changes, calls_that_are_closed_before_their_turn_are_not_told_of) {
    (void)CallInState(LINECALLSTATE_CONNECTED, L"a", 0xC1);
    (void)CallInState(LINECALLSTATE_CONNECTED, L"b", 0xC2);
    (void)CallInState(LINECALLSTATE_CONNECTED, L"c", 0xC3);
    InsideState(LINECALLSTATE_DISCONNECTED, [&] {
        calls_.CloseCall(2);
        calls_.CloseCall(3);
    });
    line_.Calls().ResetCalls();
    EXPECT_THAT(tapi_.Events(), ElementsAre(State(0xC1, LINECALLSTATE_DISCONNECTED, kCancelled),
                                            State(0xC1, LINECALLSTATE_IDLE)));
}

TEST_F(reset_under_changes, closing_the_line_again_inside_it_ends_every_call_once) {
    (void)CallInState(LINECALLSTATE_CONNECTED, L"a", 0xC1);
    (void)CallInState(LINECALLSTATE_CONNECTED, L"b", 0xC2);
    bool closed = false;
    tapi_.SetReaction([&](const tapi_event&) {
        if (!closed) {
            closed = true;
            line_.Close();
        }
    });
    line_.Close();
    for (const std::uintptr_t call : {0xC1U, 0xC2U}) {
        EXPECT_THAT(tapi_.EventsOf(call), ElementsAre(State(call, LINECALLSTATE_DISCONNECTED, kCancelled),
                                                      State(call, LINECALLSTATE_IDLE)));
    }
    EXPECT_FALSE(line_.IsOpen());
}

TEST_F(reset_under_changes, no_call_is_made_or_dialled_inside_the_closing_of_its_line) {
    (void)CallInState(LINECALLSTATE_CONNECTED);
    const auto consultation = CallInState(LINECALLSTATE_DIALTONE, L"later", 0xC9);
    std::uint64_t made = 0;
    InsideState(LINECALLSTATE_DISCONNECTED, [&] {
        EXPECT_THROW(line_.Calls().MakeCall(AsHandle<HTAPICALL>(0xC2), 0, L"4711", made), std::runtime_error);
        EXPECT_THROW(calls_.PrepareConsultationCall(1, AsHandle<HTAPICALL>(0xC3), made), std::runtime_error);
        EXPECT_THROW(line_.Calls().Dial(consultation, 0, L"4711"), std::runtime_error);
    });
    line_.Close();
    // Nothing is left that TAPI would wait for to end.
    EXPECT_THAT(
        tapi_.Events(),
        ElementsAre(State(0xC1, LINECALLSTATE_DISCONNECTED, kCancelled), State(0xC1, LINECALLSTATE_IDLE),
                    State(0xC9, LINECALLSTATE_DISCONNECTED, kCancelled), State(0xC9, LINECALLSTATE_IDLE)));
    EXPECT_THAT(requests_.Requests(), IsEmpty());
    EXPECT_EQ(made, 0u);
    // Open again it takes calls again.
    tapi_.SetReaction({});
    Open();
    line_.Calls().MakeCall(AsHandle<HTAPICALL>(0xC2), 0, L"4711", made);
    EXPECT_NE(made, 0u);
}

TEST_F(reset_under_changes, no_call_is_made_inside_a_closing_that_was_done_again_inside_itself) {
    (void)CallInState(LINECALLSTATE_CONNECTED);
    std::uint64_t made = 0;
    InsideState(LINECALLSTATE_DISCONNECTED, [&] {
        line_.Close();
        EXPECT_THROW(Open(), std::runtime_error);
        EXPECT_THROW(line_.Calls().MakeCall(AsHandle<HTAPICALL>(0xC2), 0, L"4711", made), std::runtime_error);
    });
    line_.Close();
    EXPECT_THAT(requests_.Requests(), IsEmpty());
    EXPECT_EQ(made, 0u);
    EXPECT_FALSE(line_.IsOpen());
}

TEST_F(reset_under_changes, a_call_that_appears_inside_it_does_not_disturb_the_others) {
    (void)CallInState(LINECALLSTATE_CONNECTED, L"a", 0xC1);
    (void)CallInState(LINECALLSTATE_CONNECTED, L"b", 0xC2);
    std::uint64_t placed = 0;
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.call == 0xC1 && event.param1 == LINECALLSTATE_IDLE) {
            line_.Calls().MakeCall(AsHandle<HTAPICALL>(0xC3), 0, L"4711", placed);
        }
    });
    line_.Calls().ResetCalls();
    EXPECT_EQ(tapi_.EventsOf(0xC2).size(), 2U);
    ASSERT_FALSE(tapi_.EventsOf(0xC3).empty());
    EXPECT_EQ(tapi_.EventsOf(0xC3).at(0), State(0xC3, LINECALLSTATE_PROCEEDING));
    EXPECT_NE(calls_.FindCall(placed), nullptr);
}

}  // namespace
}  // namespace brivelnox::test
