// The call requests of a line: what each sends and logs, and the states in which it is refused.

#include <windows.h>
#include <tspi.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "calls/call_manager.h"
#include "calls/tapi_call.h"
#include "platform/ansi_text.h"
#include "tests/support/as_handle.h"
#include "tests/support/line_fixture.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kAllStates[] = {0x1,   0x2,   0x4,   0x8,   0x10,   0x20,   0x40,   0x80,
                                        0x100, 0x200, 0x400, 0x800, 0x1000, 0x2000, 0x4000, 0x8000};
constexpr char kPrefix[] = " Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005";

/// One request that leaves the state of the call alone.
struct operation_row {
    const char* name;
    std::function<LONG(line&, tapi_call&)> run;  // returns what the operation does, or 0
    std::vector<std::uint32_t> allowed;
    std::string log_line;
    std::string request;
    std::string refusal;
    LONG refusal_result;
};

const operation_row kOperations[] = {
    {"answer",
     [](line& on, tapi_call& call) {
         on.Calls().AnswerCall(call);
         return LONG{0};
     },
     {0x2, 0x4},
     std::string("Answer call") + kPrefix + ", client_call_id: call-1",
     "acceptCall 7 call-1",
     "Call cannot be answered due to current call/line state.",
     0},
    {"hold",
     [](line& on, tapi_call& call) {
         on.Calls().HoldCall(call);
         return LONG{0};
     },
     {0x100},
     std::string("Hold call") + kPrefix + ", client_call_id: call-1",
     "holdCall 7 call-1",
     "Call cannot be put on hold due to current call/line state.",
     0},
    {"resume",
     [](line& on, tapi_call& call) {
         on.Calls().ResumeCall(call);
         return LONG{0};
     },
     {0x400},
     std::string("Resume call") + kPrefix + ", client_call_id: call-1",
     "resumeCall 7 call-1",
     "Call cannot be resumed due to current call/line state.",
     0},
    {"forward",
     [](line& on, tapi_call& call) {
         on.Calls().ForwardCall(call, L"+49 30 55");
         return LONG{0};
     },
     {0x2, 0x4, 0x100},
     std::string("Forward call") + kPrefix + ", client_call_id: call-1 -> number +49 30 55",
     "forwardCall 7 call-1 +49 30 55",
     "Call cannot be forwarded due to current call/line state.",
     0},
    {"generate_digits",
     [](line& on, tapi_call& call) { return on.Calls().GenerateDigits(call, LINEDIGITMODE_DTMF, L"0123#*"); },
     {0x100},
     std::string("Generate digits") + kPrefix + ", client_call_id: call-1 digits 0123#*",
     "playDtmf 7 call-1 0123#*",
     "Call cannot dial digits due to current call/line state.",
     static_cast<LONG>(0x80000048)},
};

class call_operation : public line_fixture, public testing::WithParamInterface<operation_row> {};

TEST_P(call_operation, is_sent_in_its_states_and_refused_in_all_others) {
    Open();
    const operation_row& row = GetParam();
    for (const std::uint32_t state : kAllStates) {
        SCOPED_TRACE(state);
        const auto call = CallInState(state);
        const bool allowed = std::find(row.allowed.begin(), row.allowed.end(), state) != row.allowed.end();
        EXPECT_EQ(row.run(line_, *call), allowed ? 0 : row.refusal_result);
        if (allowed) {
            EXPECT_THAT(requests_.Requests(), ElementsAre(row.request));
            EXPECT_THAT(log_.Texts(), ElementsAre(row.log_line));
        } else {
            EXPECT_THAT(requests_.Requests(), IsEmpty());
            EXPECT_THAT(log_.Texts(), ElementsAre(row.log_line, row.refusal));
        }
        EXPECT_EQ(log_.Lines("Line").size(), allowed ? 1U : 2U);
        EXPECT_EQ(call->State(), state);
        EXPECT_THAT(tapi_.Events(), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(each, call_operation, testing::ValuesIn(kOperations),
                         [](const testing::TestParamInfo<operation_row>& row) {
                             return std::string(row.param.name);
                         });

class call_control : public line_fixture {
  protected:
    call_control() {
        Open();
        Forget();
    }
};

TEST_F(call_control, transfer_needs_a_connected_and_a_held_call) {
    for (const std::uint32_t active_state : kAllStates) {
        for (const std::uint32_t held_state : kAllStates) {
            SCOPED_TRACE(testing::Message() << active_state << " with " << held_state);
            const auto active = CallInState(active_state, L"active");
            const auto held = CallInState(held_state, L"held");
            line_.Calls().TransferCall(*active, *held);
            const std::string logged =
                std::string("Transfer call") + kPrefix + ", client_call_id: active -> held";
            if (active_state == 0x100 && held_state == 0x400) {
                EXPECT_THAT(requests_.Requests(), ElementsAre("transferCall 7 active held"));
                EXPECT_THAT(log_.Texts("Line"), ElementsAre(logged));
            } else {
                EXPECT_THAT(requests_.Requests(), IsEmpty());
                EXPECT_THAT(
                    log_.Texts("Line"),
                    ElementsAre(logged, "Calls cannot be transferred due to current call/line state."));
            }
            EXPECT_EQ(active->State(), active_state);
            EXPECT_EQ(held->State(), held_state);
            EXPECT_THAT(tapi_.Events(), IsEmpty());
        }
    }
}

TEST_F(call_control, drop_ends_a_call_in_every_state_but_idle_disconnected_and_unknown) {
    for (const std::uint32_t state : kAllStates) {
        SCOPED_TRACE(state);
        const auto call = CallInState(state);
        line_.Calls().DropCall(*call);
        const std::string logged = std::string("Drop call") + kPrefix + ", client_call_id: call-1";
        EXPECT_EQ(log_.Texts().at(0), logged);
        if (state == 0x1 || state == 0x4000 || state == 0x8000) {
            // The same words as for a refused hold.
            EXPECT_THAT(log_.Texts(),
                        ElementsAre(logged, "Call cannot be put on hold due to current call/line state."));
            EXPECT_THAT(requests_.Requests(), IsEmpty());
            EXPECT_THAT(tapi_.Events(), IsEmpty());
            EXPECT_EQ(call->State(), state);
        } else {
            EXPECT_THAT(requests_.Requests(), ElementsAre("hangupCall 7 call-1"));
            EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(kTapiLine, 0xC1, 0x4000, 0x1),
                                                    CallState(kTapiLine, 0xC1, 0x1)));
            EXPECT_EQ(call->State(), 0x1U);
        }
    }
}

TEST_F(call_control, drop_sends_the_hangup_before_tapi_is_told) {
    const auto call = CallInState(LINECALLSTATE_PROCEEDING);
    std::size_t told_when_sent = 99;
    requests_.SetReaction([&](const std::string&) { told_when_sent = tapi_.Count(); });
    line_.Calls().DropCall(*call);
    EXPECT_EQ(told_when_sent, 0U);
    EXPECT_EQ(tapi_.Count(), 2U);
}

TEST_F(call_control, drop_stands_whatever_becomes_of_the_request) {
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    requests_.SetResult(false);
    line_.Calls().DropCall(*call);
    EXPECT_EQ(call->State(), 0x1U);
    EXPECT_EQ(tapi_.Count(), 2U);
}

TEST_F(call_control, what_the_client_reports_of_a_dropped_call_is_not_told) {
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    line_.Calls().DropCall(*call);
    Forget();
    line_.Calls().OnClientCallState(StateOf(L"call-1", L"Hangup", false, 404));
    line_.Calls().OnCallRemoved(L"call-1");
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(log_.CountStarting("VekTapiCall", "Call client_call_id: call-1, "), 2U);
}

TEST_F(call_control, make_call_places_it_and_tells_proceeding) {
    std::uint64_t handle = 0;
    line_.Calls().MakeCall(AsHandle<HTAPICALL>(0xC1), 49, L"4711", handle);
    EXPECT_EQ(handle, 1U);
    const auto call = calls_.FindCall(1);
    ASSERT_NE(call, nullptr);
    const std::string id = ToAnsi(call->ClientCallId());
    EXPECT_EQ(id.size(), 36U);
    EXPECT_THAT(requests_.Requests(), ElementsAre("placeCall 7 4711 " + id));
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(kTapiLine, 0xC1, LINECALLSTATE_PROCEEDING)));
    EXPECT_EQ(call->CallOrigin(), 1U);
    EXPECT_EQ(call->TapiCallHandle(), AsHandle<HTAPICALL>(0xC1));
    EXPECT_TRUE(call->StartedByTapi());
    EXPECT_EQ(call->State(), 0x200U);
    EXPECT_THAT(log_.Texts(),
                ElementsAre("MakeCall Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005, "
                            "tapiCallHandle: 0x000000C1, number: 4711, country code: 49",
                            "New call created client_call_id: " + id +
                                ", tapiCallHandle: 0x000000C1, driverCallHandle: 0x00000001, outbound: 1",
                            std::string("Add call") + kPrefix + ", client_call_id: " + id,
                            "SetState: client_call_id: " + id +
                                ", tapiCallHandle: 0x000000C1, driverCallHandle: 0x00000001, state: "
                                "Proceeding, mode: 0x00000000.",
                            "Send event to TAPI: LINE_CALLSTATE. Desk 7, tapiLineHandle: 0x000000A1, "
                            "tapiCallHandle: 0x000000C1, Proceeding, , LINEMEDIAMODE_INTERACTIVEVOICE"));
}

TEST_F(call_control, make_call_on_a_closed_line_still_places_it) {
    line_.Close();
    Forget();
    std::uint64_t handle = 0;
    line_.Calls().MakeCall(AsHandle<HTAPICALL>(0xC1), 0, L"4711", handle);
    EXPECT_EQ(requests_.Requests().size(), 1U);
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(Found(calls_.FindCall(handle))->State(), 0x200U);
}

TEST_F(call_control, dial_gives_a_consultation_call_a_new_id_and_tells_proceeding) {
    std::uint64_t handle = 0;
    (void)CallInState(LINECALLSTATE_CONNECTED);
    calls_.PrepareConsultationCall(1, AsHandle<HTAPICALL>(0xC2), handle);
    const auto call = calls_.FindCall(handle);
    ASSERT_NE(call, nullptr);
    call->SetState(LINECALLSTATE_DIALTONE, 0, false);
    const std::string old_id = ToAnsi(call->ClientCallId());
    Forget();
    line_.Calls().Dial(call, 49, L"4712");
    const std::string id = ToAnsi(call->ClientCallId());
    EXPECT_NE(id, old_id);
    EXPECT_EQ(id.size(), 36U);
    EXPECT_THAT(requests_.Requests(), ElementsAre("placeCall 7 4712 " + id));
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(kTapiLine, 0xC2, LINECALLSTATE_PROCEEDING)));
    EXPECT_FALSE(call->StartedByTapi());
    EXPECT_THAT(log_.Texts(),
                ElementsAre(std::string("Dial") + kPrefix + ", number: 4712, country code: 49",
                            std::string("Removed call") + kPrefix + ", client_call_id: " + old_id,
                            "Call id changed : id = " + old_id + " -> " + id,
                            std::string("Add call") + kPrefix + ", client_call_id: " + id,
                            "SetState: client_call_id: " + id +
                                ", tapiCallHandle: 0x000000C2, driverCallHandle: 0x00000002, state: "
                                "Proceeding, mode: 0x00000000.",
                            "Send event to TAPI: LINE_CALLSTATE. Desk 7, tapiLineHandle: 0x000000A1, "
                            "tapiCallHandle: 0x000000C2, Proceeding, , LINEMEDIAMODE_INTERACTIVEVOICE"));
    // The softphone's events find the call by the new id only.
    line_.Calls().OnCallRemoved(ToWide(old_id));
    EXPECT_EQ(call->State(), 0x200U);
    line_.Calls().OnCallRemoved(ToWide(id));
    EXPECT_EQ(call->State(), 0x1U);
}

TEST_F(call_control, texts_are_sent_in_the_ansi_code_page) {
    const auto call = CallInState(LINECALLSTATE_CONNECTED,
                                  L"b\x00FC"
                                  L"ro");
    line_.Calls().ForwardCall(*call, L"\x00E4");
    EXPECT_THAT(requests_.Requests(), ElementsAre("forwardCall 7 b\xFCro \xE4"));
}

TEST_F(call_control, unescaped_text_is_passed_on_as_it_is) {
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    EXPECT_EQ(line_.Calls().GenerateDigits(*call, LINEDIGITMODE_DTMF, L"'<&"), 0);
    EXPECT_THAT(requests_.Requests(), ElementsAre("playDtmf 7 call-1 '<&"));
}

TEST_F(call_control, digit_mode_does_not_matter) {
    const auto call = CallInState(LINECALLSTATE_CONNECTED);
    for (const std::uint32_t mode : {0U, 1U, 2U, 0xFFFFFFFFU}) {
        EXPECT_EQ(line_.Calls().GenerateDigits(*call, mode, L"1"), 0) << mode;
    }
    EXPECT_EQ(requests_.Requests().size(), 4U);
}

}  // namespace
}  // namespace brivelnox::test
