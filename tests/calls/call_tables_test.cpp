// The tables of the calls: names, numbers, reasons; call ids.

#include "calls/call_tables.h"

#include <windows.h>
#include <tspi.h>

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "calls/client_call_id.h"
#include "tests/support/log_reader.h"
#include "tests/support/process_log.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A test's name from a row's text: letters and digits stay.
std::string NameOf(const std::wstring& text) {
    std::string name;
    for (const wchar_t character : text) {
        const bool is_plain = character < 128 && std::isalnum(static_cast<unsigned char>(character)) != 0;
        name += is_plain ? static_cast<char>(character) : '_';
    }
    return name.empty() ? "empty" : name;
}

struct forward_row {
    const wchar_t* text;
    std::int32_t value;
    DWORD reason;
};

class forward_types : public testing::TestWithParam<forward_row> {};

TEST_P(forward_types, text_has_its_number_and_its_call_reason) {
    const forward_type type = ParseForwardType(GetParam().text);
    EXPECT_EQ(static_cast<std::int32_t>(type), GetParam().value);
    EXPECT_EQ(CallReasonOf(type), GetParam().reason);
}

INSTANTIATE_TEST_SUITE_P(known, forward_types,
                         testing::Values(forward_row{L"NONE", 0, LINECALLREASON_DIRECT},
                                         forward_row{L"CFI", 1, LINECALLREASON_REDIRECT},
                                         forward_row{L"CFU", 2, LINECALLREASON_FWDUNCOND},
                                         forward_row{L"CFB", 3, LINECALLREASON_FWDBUSY},
                                         forward_row{L"CFNR", 4, LINECALLREASON_FWDNOANSWER},
                                         forward_row{L"PICKUP", 5, LINECALLREASON_PICKUP},
                                         forward_row{L"BLINDTRANSFER", 6, LINECALLREASON_TRANSFER},
                                         forward_row{L"TRANSFER", 7, LINECALLREASON_TRANSFER},
                                         forward_row{L"BL_BACK", 8, LINECALLREASON_TRANSFER}),
                         [](const testing::TestParamInfo<forward_row>& row) {
                             return NameOf(row.param.text);
                         });

INSTANTIATE_TEST_SUITE_P(other, forward_types,
                         testing::Values(forward_row{L"", 0, LINECALLREASON_DIRECT},
                                         forward_row{L"cfu", 0, LINECALLREASON_DIRECT},
                                         forward_row{L"CFU ", 0, LINECALLREASON_DIRECT},
                                         forward_row{L" CFU", 0, LINECALLREASON_DIRECT},
                                         forward_row{L"CF", 0, LINECALLREASON_DIRECT},
                                         forward_row{L"CFUX", 0, LINECALLREASON_DIRECT},
                                         forward_row{L"Transfer", 0, LINECALLREASON_DIRECT}),
                         [](const testing::TestParamInfo<forward_row>& row) {
                             return NameOf(row.param.text);
                         });

TEST(forward_type_reasons, number_beyond_the_table_counts_as_a_direct_call) {
    EXPECT_EQ(CallReasonOf(static_cast<forward_type>(9)), static_cast<DWORD>(LINECALLREASON_DIRECT));
    EXPECT_EQ(CallReasonOf(static_cast<forward_type>(-1)), static_cast<DWORD>(LINECALLREASON_DIRECT));
}

struct state_name_row {
    std::uint32_t state;
    const wchar_t* name;
};

class tapi_call_state_names : public testing::TestWithParam<state_name_row> {};

TEST_P(tapi_call_state_names, state_has_its_name) {
    EXPECT_STREQ(CallStateName(GetParam().state), GetParam().name);
    EXPECT_TRUE(IsCallState(GetParam().state));
}

INSTANTIATE_TEST_SUITE_P(
    each, tapi_call_state_names,
    testing::Values(state_name_row{0x1, L"Idle"}, state_name_row{0x2, L"Offering"},
                    state_name_row{0x4, L"Accepted"}, state_name_row{0x8, L"DialTone"},
                    state_name_row{0x10, L"Dialing"}, state_name_row{0x20, L"RingBack"},
                    state_name_row{0x40, L"Busy"}, state_name_row{0x80, L"SpecialInfo"},
                    state_name_row{0x100, L"Connected"}, state_name_row{0x200, L"Proceeding"},
                    state_name_row{0x400, L"OnHold"}, state_name_row{0x800, L"Conferenced"},
                    state_name_row{0x1000, L"OnHoldPendConf"}, state_name_row{0x2000, L"OnHoldPendTransfer"},
                    state_name_row{0x4000, L"Disconnected"}, state_name_row{0x8000, L"Unknown"}),
    [](const testing::TestParamInfo<state_name_row>& row) { return NameOf(row.param.name); });

TEST(tapi_call_state_values, anything_else_has_no_name_and_is_no_state) {
    for (const std::uint32_t value : {0U, 3U, 0x5U, 0x10000U, 0xFFFFU, 0xFFFFFFFFU}) {
        EXPECT_STREQ(CallStateName(value), L"") << value;
        EXPECT_FALSE(IsCallState(value)) << value;
    }
}

struct client_state_row {
    const wchar_t* text;
    std::int32_t number;
};

class client_call_state_texts : public testing::TestWithParam<client_state_row> {};

TEST_P(client_call_state_texts, text_has_its_number) {
    EXPECT_EQ(ParseClientCallState(GetParam().text), GetParam().number);
}

INSTANTIATE_TEST_SUITE_P(
    known, client_call_state_texts,
    testing::Values(client_state_row{L"Incoming", 0}, client_state_row{L"Outgoing", 1},
                    client_state_row{L"Ringing", 2}, client_state_row{L"Ringback", 3},
                    client_state_row{L"Connected", 4}, client_state_row{L"Parked", 5},
                    client_state_row{L"ConferenceActive", 6}, client_state_row{L"Consult", 11},
                    client_state_row{L"ConferenceConsult", 12}, client_state_row{L"ConferenceInactive", 13},
                    client_state_row{L"Hangup", 15}, client_state_row{L"None", -1}),
    [](const testing::TestParamInfo<client_state_row>& row) { return NameOf(row.param.text); });

INSTANTIATE_TEST_SUITE_P(other, client_call_state_texts,
                         testing::Values(client_state_row{L"", -1}, client_state_row{L"ringing", -1},
                                         client_state_row{L"RINGING", -1}, client_state_row{L"Ringing ", -1},
                                         client_state_row{L" Ringing", -1}, client_state_row{L"Ring", -1},
                                         client_state_row{L"RingingX", -1}, client_state_row{L"4", -1}),
                         [](const testing::TestParamInfo<client_state_row>& row) {
                             return NameOf(row.param.text);
                         });

struct reason_row {
    std::int32_t reason;
    DWORD mode;
    const char* first_line;
    const char* second_line;
};

class disconnect_modes_of_call_reasons : public testing::TestWithParam<reason_row> {};

TEST_P(disconnect_modes_of_call_reasons, reason_has_its_mode_and_two_log_lines) {
    log_reader log = StartProcessLog();
    EXPECT_EQ(DisconnectModeOf(GetParam().reason), GetParam().mode);
    EXPECT_THAT(log.Texts("Line"), ElementsAre(GetParam().first_line, GetParam().second_line));
    EXPECT_EQ(log.Lines().size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(
    each, disconnect_modes_of_call_reasons,
    testing::Values(
        reason_row{401, 0x20000,
                   "Hangup, call reason 401 -> signal disconnected state with cause 'blocked' 131072",
                   "Call reason 401 -> callStateMode 131072"},
        reason_row{403, 0x20000,
                   "Hangup, call reason 403 -> signal disconnected state with cause 'blocked' 131072",
                   "Call reason 403 -> callStateMode 131072"},
        reason_row{404, 0x80,
                   "Hangup, call reason 404 -> signal disconnected state with cause 'bad address' 128",
                   "Call reason 404 -> callStateMode 128"},
        reason_row{484, 0x80,
                   "Hangup, call reason 484 -> signal disconnected state with cause 'bad address' 128",
                   "Call reason 484 -> callStateMode 128"},
        reason_row{415, 0x400,
                   "Hangup, call reason 415 -> signal disconnected state with cause 'incompatible' 1024",
                   "Call reason 415 -> callStateMode 1024"},
        reason_row{480, 0x8000,
                   "Hangup, call reason 480 -> signal disconnected state with cause 'temp failure' 32768",
                   "Call reason 480 -> callStateMode 32768"},
        reason_row{486, 0x20, "Hangup, call reason 486 -> signal disconnected state with cause 'busy' 32",
                   "Call reason 486 -> callStateMode 32"},
        reason_row{600, 0x20, "Hangup, call reason 600 -> signal disconnected state with cause 'busy' 32",
                   "Call reason 600 -> callStateMode 32"}),
    [](const testing::TestParamInfo<reason_row>& row) {
        return "reason_" + std::to_string(row.param.reason);
    });

TEST(disconnect_mode_of_any_other_reason, is_normal_without_a_log_line) {
    log_reader log = StartProcessLog();
    for (const std::int32_t reason : {0, 1, 200, 400, 402, 405, 481, 483, 485, 487, 601, -486}) {
        EXPECT_EQ(DisconnectModeOf(reason), 0x1U) << reason;
    }
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(client_call_ids, are_uuids_in_lower_case_with_hyphens) {
    for (int i = 0; i < 20; ++i) {
        const std::wstring id = NewClientCallId();
        ASSERT_EQ(id.size(), 36U);
        for (std::size_t at = 0; at < id.size(); ++at) {
            const bool is_hyphen = at == 8 || at == 13 || at == 18 || at == 23;
            const std::wstring allowed = is_hyphen ? L"-" : L"0123456789abcdef";
            EXPECT_NE(allowed.find(id[at]), std::wstring::npos) << "place " << at;
        }
    }
}

TEST(client_call_ids, are_fresh_each_time) {
    std::set<std::wstring> ids;
    for (int i = 0; i < 1000; ++i) {
        ids.insert(NewClientCallId());
    }
    EXPECT_EQ(ids.size(), 1000U);
}

}  // namespace
}  // namespace brivelnox::test
