// A line's identities, its opening and closing, and its gate to TAPI.

#include "lines/line.h"

#include <windows.h>
#include <tspi.h>

#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/version_numbers.h"
#include "tests/support/as_handle.h"
#include "tests/support/line_fixture.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class line_identity : public line_fixture {};

TEST_F(line_identity, creation_is_logged_with_name_and_driver_line_handle) {
    const auto created = MakeLine(0x1F, Registration(9, L"Reception"), kUnknownDeviceId);
    EXPECT_THAT(
        log_.Lines(),
        ElementsAre(testing::AllOf(
            testing::Field(&log_line::category, "Line"),
            testing::Field(&log_line::text, "Reception created with driver line handle 0x0000001F"))));
}

TEST_F(line_identity, registration_without_a_name_makes_a_brivelnox_line) {
    const auto first = MakeLine(1, Registration(9, L""), kUnknownDeviceId);
    const auto second = MakeLine(2, Registration(10, L""), kUnknownDeviceId);
    EXPECT_EQ(first->Name(), L"Brivelnox Line");
    EXPECT_EQ(second->Name(), L"Brivelnox Line");
    EXPECT_THAT(log_.Texts("Line"), ElementsAre("Brivelnox Line created with driver line handle 0x00000001",
                                                "Brivelnox Line created with driver line handle 0x00000002"));
}

TEST_F(line_identity, a_new_line_has_what_its_registration_says_and_is_closed) {
    const auto created = MakeLine(0x1F, Registration(-5, L"Reception", 5061), 12);
    EXPECT_EQ(created->Name(), L"Reception");
    EXPECT_EQ(created->PermanentLineId(), -5);
    EXPECT_EQ(created->DriverLineHandle(), 0x1FU);
    EXPECT_EQ(created->DeviceId(), 12U);
    EXPECT_EQ(created->TapiLineHandle(), nullptr);
    EXPECT_FALSE(created->IsOpen());
    // The connections of the client are not taken from the registration but reported separately.
    EXPECT_FALSE(created->ClientConnected());
    EXPECT_FALSE(created->CanAnswer());
}

TEST_F(line_identity, first_device_identifier_is_taken_and_logged) {
    const auto created = MakeLine(4, Registration(9, L"Reception"), kUnknownDeviceId);
    log_.Skip();
    created->InitializeDeviceId(6);
    EXPECT_EQ(created->DeviceId(), 6U);
    EXPECT_THAT(log_.Texts("Line"), ElementsAre("Initialize deviceId of Reception to 0x00000006"));
}

TEST_F(line_identity, line_that_has_a_device_identifier_keeps_it_silently) {
    const auto created = MakeLine(4, Registration(9, L"Reception"), 7);
    log_.Skip();
    created->InitializeDeviceId(8);
    EXPECT_EQ(created->DeviceId(), 7U);
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(line_identity, device_identifier_is_replaced_unconditionally) {
    log_.Skip();
    line_.UpdateDeviceId(12);
    EXPECT_EQ(line_.DeviceId(), 12U);
    EXPECT_THAT(log_.Texts("Line"), ElementsAre("Update deviceId of Desk 7 from 0x00000005 to 0x0000000C"));
}

class opening_a_line : public line_fixture {};

TEST_F(opening_a_line, is_logged_with_handles_and_version) {
    log_.Skip();
    Open();
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("LineOpen Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005, "
                            "driverLineHandle: 0x00000003, v" BRIVELNOX_VERSION));
    EXPECT_TRUE(line_.IsOpen());
    EXPECT_EQ(line_.TapiLineHandle(), AsHandle<HTAPILINE>(kTapiLine));
}

TEST_F(opening_a_line, again_replaces_handle_and_procedure) {
    Open();
    log_.Skip();
    line_.Open(AsHandle<HTAPILINE>(0xA2), tapi_.OtherProcedure());
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("LineOpen Desk 7, tapiLineHandle: 0x000000A2, deviceId: 0x00000005, "
                            "driverLineHandle: 0x00000003, v" BRIVELNOX_VERSION));
    line_.SendEvent(AsHandle<HTAPICALL>(0xC1), LINE_CALLINFO, 0x200, 0, 0);
    EXPECT_THAT(tapi_.OtherEvents(), ElementsAre(CallInfo(0xA2, 0xC1, 0x200)));
    EXPECT_EQ(tapi_.Count(), 1U);
}

TEST_F(opening_a_line, after_closing_works_again) {
    Open();
    line_.Close();
    line_.Open(AsHandle<HTAPILINE>(0xA2), tapi_.Procedure());
    tapi_.Clear();
    line_.SendEvent(AsHandle<HTAPICALL>(0xC1), LINE_CALLINFO, 0x200, 0, 0);
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallInfo(0xA2, 0xC1, 0x200)));
}

TEST_F(opening_a_line, logs_the_low_half_of_a_handle_that_is_wider_than_32_bits) {
    log_.Skip();
    line_.Open(AsHandle<HTAPILINE>(0x1234567890ABCDEF), tapi_.Procedure());
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("LineOpen Desk 7, tapiLineHandle: 0x90ABCDEF, deviceId: 0x00000005, "
                            "driverLineHandle: 0x00000003, v" BRIVELNOX_VERSION));
    EXPECT_EQ(line_.TapiLineHandle(), AsHandle<HTAPILINE>(0x1234567890ABCDEF));
}

class closing_a_line : public line_fixture {};

TEST_F(closing_a_line, is_logged_and_keeps_tapis_handle_for_the_log) {
    Open();
    log_.Skip();
    line_.Close();
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("LineClose Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005",
                            "Reset calls Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005"));
    EXPECT_FALSE(line_.IsOpen());
    EXPECT_EQ(line_.TapiLineHandle(), AsHandle<HTAPILINE>(kTapiLine));
}

TEST_F(closing_a_line, that_is_closed_logs_and_changes_nothing_else) {
    Open();
    line_.Close();
    log_.Skip();
    line_.Close();
    EXPECT_THAT(log_.Texts(),
                ElementsAre("LineClose Desk 7, tapiLineHandle: 0x000000A1, deviceId: 0x00000005"));
    EXPECT_FALSE(line_.IsOpen());
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

TEST_F(closing_a_line, ends_a_connected_call_before_it_is_closed_and_skips_an_idle_one) {
    Open();
    const auto idle = CallInState(LINECALLSTATE_IDLE, L"a", 0xC1);
    const auto connected = CallInState(LINECALLSTATE_CONNECTED, L"b", 0xC2);
    std::vector<bool> open_when_told;
    tapi_.SetReaction([&](const tapi_event&) { open_when_told.push_back(line_.IsOpen()); });
    line_.Close();
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(kTapiLine, 0xC2, LINECALLSTATE_DISCONNECTED, 0x80000),
                                            CallState(kTapiLine, 0xC2, LINECALLSTATE_IDLE)));
    EXPECT_THAT(open_when_told, ElementsAre(true, true));
    EXPECT_FALSE(line_.IsOpen());
    EXPECT_EQ(connected->State(), LINECALLSTATE_IDLE);
    EXPECT_FALSE(idle->FinalStateSignalled());
}

class gate_to_tapi : public line_fixture {};

TEST_F(gate_to_tapi, sends_through_the_lines_procedure_with_its_handle_and_name) {
    Open();
    log_.Skip();
    line_.SendEvent(AsHandle<HTAPICALL>(0xC1), LINE_CALLSTATE, LINECALLSTATE_OFFERING, 0, 4);
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(kTapiLine, 0xC1, LINECALLSTATE_OFFERING)));
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Send event to TAPI: LINE_CALLSTATE. Desk 7, tapiLineHandle: 0x000000A1, "
                            "tapiCallHandle: 0x000000C1, Offering, , LINEMEDIAMODE_INTERACTIVEVOICE"));
}

TEST_F(gate_to_tapi, line_that_was_never_open_skips_the_message) {
    log_.Skip();
    line_.SendEvent(AsHandle<HTAPICALL>(0xC1), LINE_CALLSTATE, LINECALLSTATE_OFFERING, 0, 4);
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_THAT(log_.Texts("Line"), ElementsAre("Skip sending event to TAPI. Desk 7, tapiLineHandle: "
                                                "0x00000000, line not open"));
}

TEST_F(gate_to_tapi, closed_line_skips_the_message_and_still_logs_its_old_handle) {
    Open();
    line_.Close();
    Forget();
    line_.SendEvent(AsHandle<HTAPICALL>(0xC1), LINE_CALLSTATE, LINECALLSTATE_OFFERING, 0, 4);
    EXPECT_THAT(tapi_.Events(), IsEmpty());
    EXPECT_THAT(log_.Texts("Line"), ElementsAre("Skip sending event to TAPI. Desk 7, tapiLineHandle: "
                                                "0x000000A1, line not open"));
}

TEST_F(gate_to_tapi, closed_line_skips_a_new_call_too_so_that_it_gets_no_handle) {
    HTAPICALL handle = nullptr;
    line_.SendEvent(nullptr, LINE_NEWCALL, 1, reinterpret_cast<DWORD_PTR>(&handle), 0);
    EXPECT_EQ(handle, nullptr);
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

TEST_F(gate_to_tapi, open_line_without_a_procedure_logs_and_sends_nothing) {
    line_.Open(AsHandle<HTAPILINE>(kTapiLine), nullptr);
    log_.Skip();
    line_.SendEvent(AsHandle<HTAPICALL>(0xC1), LINE_CALLSTATE, LINECALLSTATE_OFFERING, 0, 4);
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Cannot send event to TAPI. Desk 7, tapiLineHandle: 0x000000A1, "
                            "event_procedure is invalid: 0x00000000"));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

TEST_F(gate_to_tapi, swallows_what_the_procedure_throws_and_lets_go_of_the_lock) {
    Open();
    tapi_.SetReaction([](const tapi_event&) { throw std::runtime_error("from the application"); });
    EXPECT_NO_THROW(line_.SendEvent(AsHandle<HTAPICALL>(0xC1), LINE_CALLINFO, 0x200, 0, 0));
    tapi_.SetReaction({});
    line_.SendEvent(AsHandle<HTAPICALL>(0xC1), LINE_CALLINFO, 0x8000, 0, 0);
    EXPECT_THAT(tapi_.Events(),
                ElementsAre(CallInfo(kTapiLine, 0xC1, 0x200), CallInfo(kTapiLine, 0xC1, 0x8000)));
}

}  // namespace
}  // namespace brivelnox::test
