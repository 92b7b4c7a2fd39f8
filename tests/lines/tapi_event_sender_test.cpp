// What the sender writes to the log and hands to TAPI's event procedure.

#include "lines/tapi_event_sender.h"

#include <windows.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/event_lock.h"
#include "platform/locks.h"
#include "tests/support/as_handle.h"
#include "tests/support/log_reader.h"
#include "tests/support/process_log.h"
#include "tests/support/tapi_recorder.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

constexpr std::uintptr_t kLine = 0xA1;
constexpr std::uintptr_t kCall = 0xC1;

class tapi_event_sender : public testing::Test {
  protected:
    void Send(DWORD message, DWORD_PTR param1, DWORD_PTR param2, DWORD_PTR param3,
              std::uintptr_t line = kLine, std::uintptr_t call = kCall) {
        Send(tapi_.Procedure(), L"Desk 7", message, param1, param2, param3, line, call);
    }
    void Send(LINEEVENT procedure, const std::wstring& name, DWORD message, DWORD_PTR param1,
              DWORD_PTR param2, DWORD_PTR param3, std::uintptr_t line, std::uintptr_t call) {
        const lock_guard guard(events_);
        SendTapiEvent(events_, procedure, name, AsHandle<HTAPILINE>(line), AsHandle<HTAPICALL>(call), message,
                      param1, param2, param3);
    }

    log_reader log_ = StartProcessLog();
    tapi_recorder tapi_;
    event_lock events_;
};

TEST_F(tapi_event_sender, call_info_is_logged_with_its_bits_and_their_names) {
    Send(LINE_CALLINFO, 0x18000, 0, 0);
    EXPECT_THAT(log_.Lines(),
                ElementsAre(testing::Field(
                    &log_line::text,
                    "Send event to TAPI: LINE_CALLINFO.  Desk 7, tapiLineHandle: 0x000000A1, tapiCallHandle: "
                    "0x000000C1, 0x00018000, LINECALLINFOSTATE_CALLERID LINECALLINFOSTATE_CALLEDID ")));
    EXPECT_EQ(log_.Lines().at(0).category, "Line");
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallInfo(kLine, kCall, 0x18000)));
}

TEST_F(tapi_event_sender, call_info_names_five_bits_with_redirecting_before_connected) {
    Send(LINE_CALLINFO, 0xB8200, 0, 0);
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Send event to TAPI: LINE_CALLINFO.  Desk 7, tapiLineHandle: 0x000000A1, "
                            "tapiCallHandle: 0x000000C1, 0x000B8200, LINECALLINFOSTATE_CALLERID "
                            "LINECALLINFOSTATE_CALLEDID LINECALLINFOSTATE_REDIRECTINGID "
                            "LINECALLINFOSTATE_CONNECTEDID LINECALLINFOSTATE_REASON "));
}

TEST_F(tapi_event_sender, call_info_without_called_id_names_the_other_four) {
    Send(LINE_CALLINFO, 0xA8200, 0, 0);
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Send event to TAPI: LINE_CALLINFO.  Desk 7, tapiLineHandle: 0x000000A1, "
                            "tapiCallHandle: 0x000000C1, 0x000A8200, LINECALLINFOSTATE_CALLERID "
                            "LINECALLINFOSTATE_REDIRECTINGID LINECALLINFOSTATE_CONNECTEDID "
                            "LINECALLINFOSTATE_REASON "));
}

TEST_F(tapi_event_sender, call_info_with_other_bits_only_has_no_names_and_is_sent_all_the_same) {
    Send(LINE_CALLINFO, 0x40, 0, 0);
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Send event to TAPI: LINE_CALLINFO.  Desk 7, tapiLineHandle: 0x000000A1, "
                            "tapiCallHandle: 0x000000C1, 0x00000040, "));
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallInfo(kLine, kCall, 0x40)));
}

TEST_F(tapi_event_sender, each_call_info_bit_has_its_name) {
    constexpr struct {
        DWORD_PTR bits;
        const char* names;
    } kRows[] = {
        {0x8000, ", LINECALLINFOSTATE_CALLERID "},       {0x10000, ", LINECALLINFOSTATE_CALLEDID "},
        {0x80000, ", LINECALLINFOSTATE_REDIRECTINGID "}, {0x20000, ", LINECALLINFOSTATE_CONNECTEDID "},
        {0x200, ", LINECALLINFOSTATE_REASON "},          {0, "0x00000000, "},
        {~DWORD_PTR{0xB8200}, "0xFFF47DFF, "},
    };
    for (const auto& row : kRows) {
        log_.Skip();
        Send(LINE_CALLINFO, row.bits, 0, 0);
        EXPECT_THAT(log_.Texts("Line"), ElementsAre(EndsWith(row.names)));
    }
}

TEST_F(tapi_event_sender, call_state_is_logged_with_state_mode_and_media) {
    Send(LINE_CALLSTATE, 0x4000, 0x80000, 4);
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Send event to TAPI: LINE_CALLSTATE. Desk 7, tapiLineHandle: 0x000000A1, "
                            "tapiCallHandle: 0x000000C1, Disconnected, LINEDISCONNECTMODE_CANCELLED, "
                            "LINEMEDIAMODE_INTERACTIVEVOICE"));
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(kLine, kCall, 0x4000, 0x80000)));
}

TEST_F(tapi_event_sender, call_state_connected_has_an_empty_mode_text) {
    Send(LINE_CALLSTATE, 0x100, 0, 4);
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Send event to TAPI: LINE_CALLSTATE. Desk 7, tapiLineHandle: 0x000000A1, "
                            "tapiCallHandle: 0x000000C1, Connected, , LINEMEDIAMODE_INTERACTIVEVOICE"));
}

TEST_F(tapi_event_sender, call_state_with_two_mode_bits_has_an_empty_mode_text) {
    Send(LINE_CALLSTATE, 0x4000, 0x21, 4);
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Send event to TAPI: LINE_CALLSTATE. Desk 7, tapiLineHandle: 0x000000A1, "
                            "tapiCallHandle: 0x000000C1, Disconnected, , LINEMEDIAMODE_INTERACTIVEVOICE"));
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(kLine, kCall, 0x4000, 0x21)));
}

TEST_F(tapi_event_sender, call_state_with_another_media_mode_is_logged_with_its_number) {
    Send(LINE_CALLSTATE, 0x2, 0, 0x10);
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Send event to TAPI: LINE_CALLSTATE. Desk 7, tapiLineHandle: 0x000000A1, "
                            "tapiCallHandle: 0x000000C1, Offering, , mediaMode: 0x00000010"));
}

TEST_F(tapi_event_sender, call_state_that_is_none_has_an_empty_state_text) {
    Send(LINE_CALLSTATE, 0x3, 0, 4);
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Send event to TAPI: LINE_CALLSTATE. Desk 7, tapiLineHandle: 0x000000A1, "
                            "tapiCallHandle: 0x000000C1, , , LINEMEDIAMODE_INTERACTIVEVOICE"));
}

TEST_F(tapi_event_sender, line_dev_state_caps_change_is_logged_by_name) {
    Send(LINE_LINEDEVSTATE, 0x100000, 0, 0);
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Send event to TAPI: LINEDEVSTATE_CAPSCHANGE. Desk 7, tapiLineHandle: "
                            "0x000000A1, LINEDEVSTATE_CAPSCHANGE"));
}

TEST_F(tapi_event_sender, other_line_dev_state_is_logged_by_number_under_the_same_heading) {
    Send(LINE_LINEDEVSTATE, 0x8, 2, 3);
    EXPECT_THAT(log_.Texts("Line"), ElementsAre("Send event to TAPI: LINEDEVSTATE_CAPSCHANGE. Desk 7, "
                                                "tapiLineHandle: 0x000000A1, 0x00000008"));
    EXPECT_THAT(tapi_.Events(), ElementsAre(tapi_event{kLine, kCall, 8, 8, 2, 3}));
}

TEST_F(tapi_event_sender, line_create_is_logged_with_provider_and_device_identifier) {
    Send(tapi_.Procedure(), {}, LINE_CREATE, 0xAB, 8, 0, 0, 0);
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Send event to TAPI: LINE_CREATE.    ProviderHandle: 0x000000AB, "
                            "driverLineHandle: 0x00000008"));
    EXPECT_THAT(tapi_.Events(), ElementsAre(LineCreate(0xAB, 8)));
}

TEST_F(tapi_event_sender, new_call_is_logged_with_two_blanks_before_the_driver_call_handle) {
    HTAPICALL call = nullptr;
    Send(LINE_NEWCALL, 17, reinterpret_cast<DWORD_PTR>(&call), 0, kLine, 0);
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Send event to TAPI: LINE_NEWCALL.   Desk 7, tapiLineHandle: 0x000000A1,  "
                            "driverCallHandle=0x00000011"));
    EXPECT_EQ(call, AsHandle<HTAPICALL>(tapi_recorder::kFirstCallHandle));
}

TEST_F(tapi_event_sender, other_messages_are_sent_without_a_log_line) {
    Send(LINE_REPLY, 1, 2, 3);
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_THAT(tapi_.Events(), ElementsAre(tapi_event{kLine, kCall, LINE_REPLY, 1, 2, 3}));
}

TEST_F(tapi_event_sender, null_procedure_is_logged_and_nothing_is_sent) {
    Send(nullptr, L"Desk 7", LINE_CALLSTATE, 0x100, 0, 4, kLine, kCall);
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Cannot send event to TAPI, event_procedure is null. Desk 7, tapiLineHandle: "
                            "0x000000A1"));
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

TEST_F(tapi_event_sender, handles_are_logged_as_their_low_half_and_sent_whole) {
    Send(LINE_CALLSTATE, 0x100, 0, 4, 0x1234567890ABCDEF, 0xFFFFFFFF00000042);
    EXPECT_THAT(log_.Texts("Line"),
                ElementsAre("Send event to TAPI: LINE_CALLSTATE. Desk 7, tapiLineHandle: 0x90ABCDEF, "
                            "tapiCallHandle: 0x00000042, Connected, , LINEMEDIAMODE_INTERACTIVEVOICE"));
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(0x1234567890ABCDEF, 0xFFFFFFFF00000042, 0x100)));
}

TEST_F(tapi_event_sender, the_log_line_stands_before_the_message_is_sent) {
    std::size_t lines_when_told = 0;
    tapi_.SetReaction([&](const tapi_event&) { lines_when_told = log_.Lines().size(); });
    Send(LINE_CALLSTATE, 0x100, 0, 4);
    EXPECT_EQ(lines_when_told, 1U);
}

TEST_F(tapi_event_sender, nothing_is_logged_or_sent_once_the_way_is_shut) {
    events_.Shut();
    Send(LINE_CALLSTATE, 0x100, 0, 4);
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_THAT(tapi_.Events(), IsEmpty());
}

TEST_F(tapi_event_sender, what_the_procedure_throws_is_dropped) {
    tapi_.SetReaction([](const tapi_event&) { throw std::runtime_error("from the application"); });
    Send(LINE_CALLSTATE, 0x100, 0, 4);
    EXPECT_THAT(tapi_.Events(), ElementsAre(CallState(kLine, kCall, 0x100)));
}

struct disconnect_mode_row {
    DWORD value;
    const char* name;
};

class disconnect_mode_names : public tapi_event_sender,
                              public testing::WithParamInterface<disconnect_mode_row> {};

TEST_P(disconnect_mode_names, value_has_its_name) {
    Send(LINE_CALLSTATE, LINECALLSTATE_DISCONNECTED, GetParam().value, LINEMEDIAMODE_INTERACTIVEVOICE);
    EXPECT_THAT(log_.Texts("Line"), ElementsAre(EndsWith(std::string("Disconnected, ") + GetParam().name +
                                                         ", LINEMEDIAMODE_INTERACTIVEVOICE")));
}

INSTANTIATE_TEST_SUITE_P(each, disconnect_mode_names,
                         testing::Values(disconnect_mode_row{0x1, "LINEDISCONNECTMODE_NORMAL"},
                                         disconnect_mode_row{0x2, "LINEDISCONNECTMODE_UNKNOWN"},
                                         disconnect_mode_row{0x4, "LINEDISCONNECTMODE_REJECT"},
                                         disconnect_mode_row{0x8, "LINEDISCONNECTMODE_PICKUP"},
                                         disconnect_mode_row{0x10, "LINEDISCONNECTMODE_FORWARDED"},
                                         disconnect_mode_row{0x20, "LINEDISCONNECTMODE_BUSY"},
                                         disconnect_mode_row{0x40, "LINEDISCONNECTMODE_NOANSWER"},
                                         disconnect_mode_row{0x80, "LINEDISCONNECTMODE_BADADDRESS"},
                                         disconnect_mode_row{0x100, "LINEDISCONNECTMODE_UNREACHABLE"},
                                         disconnect_mode_row{0x200, "LINEDISCONNECTMODE_CONGESTION"},
                                         disconnect_mode_row{0x400, "LINEDISCONNECTMODE_INCOMPATIBLE"},
                                         disconnect_mode_row{0x800, "LINEDISCONNECTMODE_UNAVAIL"},
                                         disconnect_mode_row{0x1000, "LINEDISCONNECTMODE_NODIALTONE"},
                                         disconnect_mode_row{0x2000, "LINEDISCONNECTMODE_NUMBERCHANGED"},
                                         disconnect_mode_row{0x4000, "LINEDISCONNECTMODE_OUTOFORDER"},
                                         disconnect_mode_row{0x8000, "LINEDISCONNECTMODE_TEMPFAILURE"},
                                         disconnect_mode_row{0x10000, "LINEDISCONNECTMODE_QOSUNAVAIL"},
                                         disconnect_mode_row{0x20000, "LINEDISCONNECTMODE_BLOCKED"},
                                         disconnect_mode_row{0x40000, "LINEDISCONNECTMODE_DONOTDISTURB"},
                                         disconnect_mode_row{0x80000, "LINEDISCONNECTMODE_CANCELLED"},
                                         disconnect_mode_row{0x100000,
                                                             "LINEDISCONNECTMODE_DESTINATIONBARRED"},
                                         disconnect_mode_row{0x200000, "LINEDISCONNECTMODE_FDNRESTRICT"},
                                         disconnect_mode_row{0, ""}, disconnect_mode_row{0x400000, ""},
                                         disconnect_mode_row{0x3, ""}, disconnect_mode_row{0x3FFFFF, ""}),
                         [](const testing::TestParamInfo<disconnect_mode_row>& row) {
                             return "mode_" + std::to_string(row.param.value);
                         });

}  // namespace
}  // namespace brivelnox::test
