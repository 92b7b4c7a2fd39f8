// The call manager: identities of calls, its index, and the way of TAPI's requests to a call's line.

#include "calls/call_manager.h"

#include <windows.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "calls/tapi_call.h"
#include "tests/support/as_handle.h"
#include "tests/support/line_fixture.h"
#include "tests/support/looked_up.h"
#include "tests/support/worker.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class call_manager_fixture : public line_fixture {
  protected:
    call_manager_fixture() {
        Open();
        Forget();
    }

    std::shared_ptr<tapi_call> IncomingCall(const std::wstring& id) {
        return Found(calls_.GetNewTapiCallHandle(line_, StateOf(id, L"Ringing"), LINECALLORIGIN_INBOUND));
    }
};

using new_incoming_call = call_manager_fixture;

TEST_F(new_incoming_call, is_announced_and_takes_tapis_handle) {
    const auto call = IncomingCall(L"id-1");
    EXPECT_THAT(tapi_.Events(), ElementsAre(NewCall(kTapiLine, 1, 0x1001)));
    EXPECT_EQ(call->TapiCallHandle(), AsHandle<HTAPICALL>(0x1001));
    EXPECT_EQ(call->DriverCallHandle(), 1U);
    EXPECT_EQ(call->CallOrigin(), 0x80U);
    EXPECT_EQ(call->ClientCallId(), L"id-1");
    EXPECT_EQ(call->State(), static_cast<std::uint32_t>(LINECALLSTATE_UNKNOWN));
    EXPECT_EQ(calls_.FindCall(1), call);
    EXPECT_EQ(log_.CountStarting("CallManager", "GetNewTapiCallHandle"), 0U);
}

TEST_F(new_incoming_call, is_logged_from_the_announcement_to_the_index_of_its_line) {
    (void)IncomingCall(L"id-1");
    EXPECT_THAT(log_.Lines(),
                ElementsAre(testing::Field(&log_line::text,
                                           "Send event to TAPI: LINE_NEWCALL.   Desk 7, tapiLineHandle: "
                                           "0x000000A1,  driverCallHandle=0x00000001"),
                            testing::Field(&log_line::text,
                                           "New call created client_call_id: id-1, tapiCallHandle: "
                                           "0x00001001, driverCallHandle: 0x00000001, outbound: 128"),
                            testing::Field(&log_line::text,
                                           "Add call Desk 7, tapiLineHandle: 0x000000A1, deviceId: "
                                           "0x00000005, client_call_id: id-1")));
}

TEST_F(new_incoming_call, exists_without_a_handle_on_a_closed_line) {
    line_.Close();
    Forget();
    const auto call = IncomingCall(L"id-1");
    EXPECT_THAT(log_.Texts("CallManager"), ElementsAre("GetNewTapiCallHandle: Line not open"));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_EQ(call->TapiCallHandle(), nullptr);
    EXPECT_EQ(calls_.FindCall(1), call);
}

TEST_F(new_incoming_call, exists_without_a_handle_when_tapi_gives_none_and_its_messages_carry_zero) {
    tapi_.SetAnswersNewCalls(false);
    const auto call = IncomingCall(L"id-1");
    EXPECT_TRUE(log_.Has("CallManager", "GetNewTapiCallHandle: Line not open"));
    call->SetState(LINECALLSTATE_OFFERING, 0, true);
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(NewCall(kTapiLine, 1, 0), CallState(kTapiLine, 0, LINECALLSTATE_OFFERING)));
}

TEST_F(new_incoming_call, has_the_origin_that_it_is_given) {
    const auto call =
        calls_.GetNewTapiCallHandle(line_, StateOf(L"id-1", L"Ringback", true), LINECALLORIGIN_OUTBOUND);
    EXPECT_EQ(call->CallOrigin(), 1U);
}

using driver_call_handles = call_manager_fixture;

TEST_F(driver_call_handles, count_from_one_over_calls_of_every_kind) {
    EXPECT_EQ(calls_.CreateOutboundCall(line_, L"id-1", AsHandle<HTAPICALL>(0xC1))->DriverCallHandle(), 1U);
    std::uint64_t consultation = 0;
    calls_.PrepareConsultationCall(1, AsHandle<HTAPICALL>(0xC2), consultation);
    EXPECT_EQ(consultation, 2U);
    EXPECT_EQ(IncomingCall(L"id-3")->DriverCallHandle(), 3U);
}

TEST_F(driver_call_handles, are_not_used_again) {
    (void)IncomingCall(L"id-1");
    calls_.CloseCall(1);
    EXPECT_EQ(IncomingCall(L"id-1")->DriverCallHandle(), 2U);
    EXPECT_EQ(calls_.FindCall(1), nullptr);
}

TEST_F(driver_call_handles, of_several_threads_at_once_are_all_different) {
    constexpr std::size_t kPerThread = 50;
    std::mutex mutex;
    std::set<std::uint64_t> handles;
    {
        const auto create = [&](const std::wstring& prefix, std::uintptr_t handle) {
            for (std::size_t i = 0; i < kPerThread; ++i) {
                const auto call = calls_.CreateOutboundCall(line_, prefix + std::to_wstring(i),
                                                            AsHandle<HTAPICALL>(handle));
                const std::lock_guard guard(mutex);
                handles.insert(call->DriverCallHandle());
            }
        };
        worker first([&] { create(L"a", 0xA); });
        worker second([&] { create(L"b", 0xB); });
        worker third([&] { create(L"c", 0xC); });
        worker fourth([&] { create(L"d", 0xD); });
    }
    ASSERT_EQ(handles.size(), 4 * kPerThread);
    EXPECT_EQ(*handles.begin(), 1U);
    EXPECT_EQ(*handles.rbegin(), 4 * kPerThread);
    for (const std::uint64_t handle : handles) {
        const auto call = calls_.FindCall(handle);
        ASSERT_NE(call, nullptr);
        EXPECT_EQ(call->DriverCallHandle(), handle);
    }
}

using call_index = call_manager_fixture;

TEST_F(call_index, finds_a_call_by_its_whole_handle_only) {
    const auto call = IncomingCall(L"id-1");
    EXPECT_EQ(calls_.FindCall(1), call);
    EXPECT_EQ(calls_.FindCall(0), nullptr);
    EXPECT_EQ(calls_.FindCall(2), nullptr);
    EXPECT_EQ(calls_.FindCall(0x100000001), nullptr);
}

TEST_F(call_index, removed_call_is_not_found_and_removing_it_again_does_nothing) {
    const auto call = IncomingCall(L"id-1");
    const auto other = IncomingCall(L"id-2");
    calls_.RemoveCall(*call);
    calls_.RemoveCall(*call);
    EXPECT_EQ(calls_.FindCall(1), nullptr);
    EXPECT_EQ(calls_.FindCall(2), other);
}

TEST_F(call_index, creation_time_is_the_managers_clock) {
    manual_clock::Set(123456);
    const auto call = IncomingCall(L"id-1");
    EXPECT_EQ(call->CreatedAt(), manual_clock::Now());
}

TEST(call_manager_without_a_clock, goes_by_the_systems_utc) {
    FILETIME before = {};
    GetSystemTimeAsFileTime(&before);
    const std::uint64_t units = (std::uint64_t{before.dwHighDateTime} << 32) | before.dwLowDateTime;
    const std::int64_t elapsed = call_manager().Now() - static_cast<std::int64_t>(units / 10000);
    EXPECT_LT(elapsed, 10000);
    EXPECT_GT(elapsed, -1000);
}

using closing_a_call = call_manager_fixture;

TEST_F(closing_a_call, makes_it_idle_without_a_word_to_tapi_and_forgets_it) {
    const auto call = IncomingCall(L"id-1");
    call->SetState(LINECALLSTATE_CONNECTED, 0, true);
    Forget();
    calls_.CloseCall(1);
    EXPECT_THAT(log_.Texts(),
                ElementsAre("CloseCall: LineCloseCall (driverCallHandle: 0x00000001)",
                            "SetState: client_call_id: id-1, tapiCallHandle: 0x00001001, driverCallHandle: "
                            "0x00000001, state: Idle, mode: 0x00000000.",
                            "Removed call Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005, "
                            "client_call_id: id-1"));
    EXPECT_EQ(log_.Lines().at(0).category, "CallManager");
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_THAT(requests_.Requests(), IsEmpty());
    EXPECT_EQ(call->State(), static_cast<std::uint32_t>(LINECALLSTATE_IDLE));
    EXPECT_EQ(calls_.FindCall(1), nullptr);
    EXPECT_EQ(line_.Calls().CountCalls().active, 0U);
}

TEST_F(closing_a_call, that_is_unknown_writes_its_log_line_only) {
    calls_.CloseCall(0x99);
    EXPECT_THAT(log_.Texts(), ElementsAre("CloseCall: LineCloseCall (driverCallHandle: 0x00000099)"));
}

TEST_F(closing_a_call, twice_finds_nothing_the_second_time) {
    (void)IncomingCall(L"id-1");
    calls_.CloseCall(1);
    log_.Skip();
    calls_.CloseCall(1);
    EXPECT_THAT(log_.Texts(), ElementsAre("CloseCall: LineCloseCall (driverCallHandle: 0x00000001)"));
}

TEST_F(closing_a_call, leaves_a_record_that_is_still_held_usable) {
    auto call = IncomingCall(L"id-1");
    const std::weak_ptr<tapi_call> watched = call;
    calls_.CloseCall(1);
    EXPECT_EQ(call->ClientCallId(), L"id-1");
    EXPECT_EQ(call->Details().tapi_call_state, static_cast<std::uint32_t>(LINECALLSTATE_IDLE));
    call = nullptr;
    EXPECT_TRUE(watched.expired());
}

using consultation_call = call_manager_fixture;

TEST_F(consultation_call, is_created_locally_on_the_same_line) {
    const auto first = CallInState(LINECALLSTATE_CONNECTED);
    std::uint64_t handle = 0;
    calls_.PrepareConsultationCall(1, AsHandle<HTAPICALL>(0xC2), handle);
    ASSERT_EQ(handle, 2U);
    const auto consultation = calls_.FindCall(2);
    ASSERT_NE(consultation, nullptr);
    EXPECT_EQ(consultation->TapiCallHandle(), AsHandle<HTAPICALL>(0xC2));
    EXPECT_EQ(consultation->CallOrigin(), 1U);
    EXPECT_EQ(&consultation->Line(), &line_);
    EXPECT_EQ(consultation->ClientCallId().size(), 36U);
    EXPECT_NE(consultation->ClientCallId(), first->ClientCallId());
    EXPECT_EQ(consultation->State(), static_cast<std::uint32_t>(LINECALLSTATE_UNKNOWN));
    EXPECT_FALSE(consultation->StartedByTapi());
    EXPECT_EQ(first->State(), static_cast<std::uint32_t>(LINECALLSTATE_CONNECTED));
    EXPECT_THAT(requests_.Requests(), IsEmpty());
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    const auto texts = log_.Texts();
    ASSERT_EQ(texts.size(), 3U);
    EXPECT_EQ(texts[0], "PrepareConsultationCall: LineSetupTransfer (driverCallHandle: 0x00000001)");
    EXPECT_EQ(texts[2],
              "Add call Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005, client_call_id: " +
                  ToAnsi(consultation->ClientCallId()));
}

TEST_F(consultation_call, of_an_unknown_call_has_handle_zero) {
    std::uint64_t handle = 77;
    calls_.PrepareConsultationCall(0x99, AsHandle<HTAPICALL>(0xC2), handle);
    EXPECT_EQ(handle, 0U);
    EXPECT_THAT(log_.Texts(),
                ElementsAre("PrepareConsultationCall: LineSetupTransfer (driverCallHandle: 0x00000099)"));
}

using call_request = call_manager_fixture;

TEST_F(call_request, reaches_the_call_with_its_own_log_line_first) {
    const auto call = CallInState(LINECALLSTATE_OFFERING);
    calls_.AnswerCall(1);
    call->SetState(LINECALLSTATE_CONNECTED, 0, false);
    calls_.HoldCall(1);
    calls_.ForwardCall(1, L"55");
    EXPECT_EQ(calls_.GenerateDigits(1, LINEDIGITMODE_DTMF, L"12#"), 0);
    call->SetState(LINECALLSTATE_ONHOLD, 0, false);
    calls_.ResumeCall(1);
    calls_.DropCall(1);
    EXPECT_THAT(requests_.Requests(),
                ElementsAre("acceptCall 7 call-1", "holdCall 7 call-1", "forwardCall 7 call-1 55",
                            "playDtmf 7 call-1 12#", "resumeCall 7 call-1", "hangupCall 7 call-1"));
    EXPECT_THAT(log_.Texts("CallManager"),
                ElementsAre("AnswerCall: LineAnswer (driverCallHandle: 0x00000001)",
                            "HoldCall: LineHold (driverCallHandle: 0x00000001)",
                            "ForwardCall: LineBlindTransfer / LineRedirect (driverCallHandle: 0x00000001, "
                            "destination: 55)",
                            "GenerateDigits: LineGenerateDigits (driverCallHandle: 0x00000001, digits: 12#)",
                            "ResumeCall: LineUnHold (driverCallHandle: 0x00000001)",
                            "DropCall: LineDropCallAsync (driverCallHandle: 0x00000001)"));
    EXPECT_EQ(log_.Lines().at(0).category, "CallManager");
}

TEST_F(call_request, transfer_joins_the_active_call_with_the_one_on_hold) {
    (void)CallInState(LINECALLSTATE_CONNECTED, L"active");
    (void)CallInState(LINECALLSTATE_ONHOLD, L"held");
    calls_.TransferCall(1, 2);
    EXPECT_THAT(requests_.Requests(), ElementsAre("transferCall 7 active held"));
    EXPECT_EQ(log_.Texts().at(0),
              "TransferCall: LineCompleteTransfer (driverCallHandle: 0x00000001, driverCallHandleOnHold: "
              "0x00000002)");
}

TEST_F(call_request, transfer_with_an_unknown_call_logs_its_own_line_only) {
    (void)CallInState(LINECALLSTATE_CONNECTED, L"active");
    calls_.TransferCall(1, 0x99);
    calls_.TransferCall(0x99, 1);
    EXPECT_THAT(requests_.Requests(), IsEmpty());
    EXPECT_THAT(log_.Texts(), ElementsAre("TransferCall: LineCompleteTransfer (driverCallHandle: 0x00000001, "
                                          "driverCallHandleOnHold: 0x00000099)",
                                          "TransferCall: LineCompleteTransfer (driverCallHandle: 0x00000099, "
                                          "driverCallHandleOnHold: 0x00000001)"));
}

TEST_F(call_request, for_an_unknown_call_logs_its_own_line_only) {
    calls_.AnswerCall(0x99);
    calls_.HoldCall(0x99);
    calls_.ResumeCall(0x99);
    calls_.ForwardCall(0x99, L"55");
    calls_.DropCall(0x99);
    EXPECT_THAT(log_.Texts(),
                ElementsAre("AnswerCall: LineAnswer (driverCallHandle: 0x00000099)",
                            "HoldCall: LineHold (driverCallHandle: 0x00000099)",
                            "ResumeCall: LineUnHold (driverCallHandle: 0x00000099)",
                            "ForwardCall: LineBlindTransfer / LineRedirect (driverCallHandle: 0x00000099, "
                            "destination: 55)",
                            "DropCall: LineDropCallAsync (driverCallHandle: 0x00000099)"));
    EXPECT_THAT(requests_.Requests(), IsEmpty());
}

TEST_F(call_request, digits_for_an_unknown_call_fail) {
    EXPECT_EQ(static_cast<std::uint32_t>(calls_.GenerateDigits(0x99, LINEDIGITMODE_DTMF, L"1")), 0x80000048U);
    EXPECT_THAT(log_.Texts(),
                ElementsAre("GenerateDigits: LineGenerateDigits (driverCallHandle: 0x00000099, digits: 1)"));
}

TEST_F(call_request, for_a_call_whose_line_is_gone_does_nothing) {
    // On a line that is not open, so that the call keeps its state.
    const auto closed = MakeLine(4, Registration(8, L"Desk 8"), 6);
    const auto call = calls_.CreateOutboundCall(*closed, L"call-1", AsHandle<HTAPICALL>(0xC1));
    call->SetState(LINECALLSTATE_CONNECTED, 0, false);
    closed->Retire();
    Forget();
    calls_.HoldCall(1);
    calls_.ForwardCall(1, L"55");
    calls_.DropCall(1);
    calls_.TransferCall(1, 1);
    EXPECT_EQ(static_cast<std::uint32_t>(calls_.GenerateDigits(1, LINEDIGITMODE_DTMF, L"1")), 0x80000048U);
    std::uint64_t consultation = 77;
    calls_.PrepareConsultationCall(1, AsHandle<HTAPICALL>(0xC2), consultation);
    EXPECT_EQ(consultation, 0U);
    EXPECT_THAT(requests_.Requests(), IsEmpty());
    EXPECT_THAT(log_.Texts("Line"), IsEmpty());
    EXPECT_EQ(call->State(), static_cast<std::uint32_t>(LINECALLSTATE_CONNECTED));
}

}  // namespace
}  // namespace brivelnox::test
