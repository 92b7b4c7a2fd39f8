// LINECALLINFO, byte by byte.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "tests/dll/byte_pattern_helper.h"
#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;

constexpr std::size_t kFixedSize = 324;
constexpr DWORD kAddress = LINECALLPARTYID_ADDRESS;
constexpr DWORD kAddressAndName = LINECALLPARTYID_ADDRESS | LINECALLPARTYID_NAME;
constexpr DWORD kUnknown = LINECALLPARTYID_UNKNOWN;

// Where the five fields of a party begin: its flags, then size and offset of the number, then of the name.
constexpr std::size_t kCaller = 108;
constexpr std::size_t kCalled = 128;
constexpr std::size_t kConnected = 148;
constexpr std::size_t kRedirection = 168;
constexpr std::size_t kRedirecting = 188;

struct expected_party {
    std::wstring number;
    std::wstring name;
};

struct expected_call {
    DWORD device = 0;
    DWORD call = 0;
    DWORD origin = 0;
    DWORD reason = LINECALLREASON_DIRECT;
    expected_party caller;
    expected_party redirecting;
    expected_party called;
    expected_party connected;
};

DWORD FlagsOf(const expected_party& who) {
    DWORD flags = who.number.empty() ? 0 : DWORD{LINECALLPARTYID_ADDRESS};
    if (!who.name.empty()) {
        flags |= LINECALLPARTYID_NAME;
    }
    return flags != 0 ? flags : kUnknown;
}

/// The structure with its fixed fields and flags, without any size.
patterned_structure WithoutStrings(std::size_t size, const expected_call& call) {
    patterned_structure info(size);
    info.Set(16, call.device).Set(20, 0);  // address id
    info.Set(24, LINEBEARERMODE_SPEECH).Set(32, LINEMEDIAMODE_INTERACTIVEVOICE);
    info.Set(40, call.call);
    info.Set(80, call.origin).Set(84, call.reason).Set(88, 0);  // completion id
    info.Set(100, 0).Set(104, 0xFFFFFFFF);                      // country code, trunk
    info.Set(kCaller, FlagsOf(call.caller)).Set(kCalled, FlagsOf(call.called));
    info.Set(kConnected, FlagsOf(call.connected)).Set(kRedirecting, FlagsOf(call.redirecting));
    info.Set(kRedirection, LINECALLPARTYID_UNAVAIL);
    return info;
}

/// The structure when everything fits.
patterned_structure WithStrings(std::size_t size, const expected_call& call) {
    patterned_structure info = WithoutStrings(size, call);
    std::size_t at = kFixedSize;
    const auto append = [&](std::size_t field, const std::wstring& text) {
        if (!text.empty()) {
            const std::size_t bytes = 2 * text.size() + 2;
            info.Set(field, static_cast<DWORD>(bytes)).Set(field + 4, static_cast<DWORD>(at));
            info.SetText(at, text);
            at += bytes;
        }
    };
    const auto append_party = [&](std::size_t party, const expected_party& who) {
        append(party + 4, who.number);
        append(party + 12, who.name);
    };
    append_party(kCaller, call.caller);
    append_party(kRedirecting, call.redirecting);
    append_party(kCalled, call.called);
    append_party(kConnected, call.connected);
    return info.Set(4, static_cast<DWORD>(at)).Set(8, static_cast<DWORD>(at));
}

class call_info : public open_line {
  protected:
    LONG Get(HTAPICALL call, patterned_structure& info) {
        return module_.TSPI_lineGetCallInfo(host_.Driver(call), info.As<LINECALLINFO>());
    }

    /// A call that the softphone reports in this state with these parties.
    HTAPICALL Report(const simulator::call_state_event& event) {
        const std::uint64_t mark = host_.Mark();
        service_.Send(simulator::CallStateEvent(event));
        HTAPICALL const call = host_.WaitForNewCall(line_, kSoon, mark);
        EXPECT_TRUE(Settled(kPhone));
        log_.Skip();
        return call;
    }

    simulator::call_state_event Event(const std::string& state, bool is_caller) const {
        simulator::call_state_event event;
        event.permanent_line_id = kPhone;
        event.client_call_id = "id-1";
        event.call_state = state;
        event.is_caller = is_caller;
        event.self = self_;
        event.peer = peer_;
        return event;
    }

    expected_call Inbound() const {
        expected_call call;
        call.device = device_;
        call.call = 1;
        call.origin = LINECALLORIGIN_INBOUND;
        call.caller = {L"4711", L"Anna"};
        call.called = {L"1001", L"Desk 1001"};
        call.connected = {L"4711", L"Anna"};
        return call;
    }
};

TEST_F(call_info, of_an_incoming_call_are_these_bytes_and_no_others) {
    HTAPICALL const call = Report(Event("Connected", false));
    patterned_structure info(600);
    ASSERT_EQ(Get(call, info), 0);
    EXPECT_TRUE(SameBytes(WithStrings(600, Inbound()), info));
    EXPECT_THAT(ManagerLog(),
                ElementsAre("GetCallInfo",
                            "GetCallInfo: LINECALLORIGIN_INBOUND. Caller: 4711 / Anna. Called: 1001 / Desk "
                            "1001. Connected: 4711 / Anna. Forwarder:  / "));
}

TEST_F(call_info, of_an_outgoing_call_swap_caller_and_called) {
    HTAPICALL const call = Report(Event("Connected", true));
    patterned_structure info(600);
    ASSERT_EQ(Get(call, info), 0);
    expected_call expected = Inbound();
    expected.origin = LINECALLORIGIN_OUTBOUND;
    std::swap(expected.caller, expected.called);
    EXPECT_TRUE(SameBytes(WithStrings(600, expected), info));
    EXPECT_THAT(ManagerLog(),
                ElementsAre("GetCallInfo",
                            "GetCallInfo: LINECALLORIGIN_OUTBOUND. Caller: 1001 / Desk 1001. Called: 4711 / "
                            "Anna. Connected: 4711 / Anna. Forwarder:  / "));
}

TEST_F(call_info, of_a_call_placed_by_tapi_know_no_party_before_the_softphone_tells) {
    HTAPICALL const call = host_.MakeCall(line_, L"4711").call;
    patterned_structure info(kFixedSize);
    ASSERT_EQ(Get(call, info), 0);
    expected_call expected;
    expected.device = device_;
    expected.call = 1;
    expected.origin = LINECALLORIGIN_OUTBOUND;
    EXPECT_TRUE(SameBytes(WithStrings(kFixedSize, expected), info));
    EXPECT_EQ(info.At(8), kFixedSize) << "without a string the fixed part is all that is used";
}

TEST_F(call_info, tell_the_redirecting_party_between_caller_and_called) {
    simulator::call_state_event event = Event("Ringing", false);
    event.forwarded_by.emplace();
    event.forwarded_by->phone_number = "1009";
    event.forwarded_by->name = "Reception";
    event.forwarded_by->forward_type = "CFB";
    HTAPICALL const call = Report(event);
    patterned_structure info(600);
    ASSERT_EQ(Get(call, info), 0);
    expected_call expected = Inbound();
    expected.redirecting = {L"1009", L"Reception"};
    expected.reason = LINECALLREASON_FWDBUSY;
    EXPECT_TRUE(SameBytes(WithStrings(600, expected), info));
    EXPECT_EQ(info.At(kRedirecting + 8), 324u + 10u + 10u) << "behind the caller";
    EXPECT_THAT(Last(ManagerLog()), testing::EndsWith("Forwarder: 1009 / Reception"));
}

TEST_F(call_info, of_parties_without_names_or_numbers_say_so) {
    simulator::call_state_event event = Event("Connected", false);
    event.self = simulator::party{"", "Desk 1001"};
    event.peer = simulator::party{"4711", ""};
    HTAPICALL const call = Report(event);
    patterned_structure info(600);
    ASSERT_EQ(Get(call, info), 0);
    expected_call expected = Inbound();
    expected.caller = expected.connected = {L"4711", L""};
    expected.called = {L"", L"Desk 1001"};
    EXPECT_TRUE(SameBytes(WithStrings(600, expected), info));
    EXPECT_EQ(info.At(kCaller), kAddress);
    EXPECT_EQ(info.At(kCalled), DWORD{LINECALLPARTYID_NAME});
    EXPECT_EQ(info.At(kRedirecting), kUnknown);
}

TEST_F(call_info, of_a_held_call_hide_the_connected_party_which_the_log_still_shows) {
    simulator::call_state_event event = Event("Parked", false);
    HTAPICALL const call = Report(event);
    // On hold the connected party is cleared; the next event stores it again, and the call is still on hold.
    service_.Send(simulator::CallStateEvent(event));
    ASSERT_TRUE(Settled(kPhone));
    event.call_state = "None";
    service_.Send(simulator::CallStateEvent(event));
    ASSERT_TRUE(Settled(kPhone));
    ASSERT_EQ(Last(host_.States(call)), DWORD{LINECALLSTATE_ONHOLD});
    log_.Skip();
    patterned_structure info(600);
    ASSERT_EQ(Get(call, info), 0);
    expected_call expected = Inbound();
    expected.connected = {};
    EXPECT_TRUE(SameBytes(WithStrings(600, expected), info));
    EXPECT_EQ(info.At(kConnected), kUnknown);
    EXPECT_THAT(Last(ManagerLog()), testing::HasSubstr("Connected: 4711 / Anna."));
}

TEST_F(call_info, leave_the_strings_out_where_they_do_not_fit_but_tell_the_flags) {
    HTAPICALL const call = Report(Event("Connected", false));
    const DWORD needed = 324 + 10 + 10 + 10 + 20 + 10 + 10;
    for (const std::size_t size : {kFixedSize, std::size_t{325}, std::size_t{needed - 1}}) {
        log_.Skip();
        patterned_structure info(size);
        ASSERT_EQ(Get(call, info), 0) << size;
        patterned_structure expected = WithoutStrings(size, Inbound());
        expected.Set(4, needed).Set(8, 324);
        EXPECT_TRUE(SameBytes(expected, info)) << size;
        EXPECT_EQ(info.At(kCaller), kAddressAndName);
        EXPECT_EQ(info.At(kCaller + 4), 0xA5A5A5A5) << "the size of the caller's number is untouched";
        EXPECT_THAT(ManagerLog(),
                    ElementsAre("GetCallInfo",
                                Text("GetCallInfo: Buffer provided by TAPI application is too small. Struct "
                                     "size 324, Available buffer size %d, Required buffer size %d",
                                     static_cast<int>(size), static_cast<int>(needed)),
                                "TAPI application must call lineGetCallInfo with a larger buffer."));
    }
    patterned_structure fitting(needed);
    ASSERT_EQ(Get(call, fitting), 0);
    EXPECT_TRUE(SameBytes(WithStrings(needed, Inbound()), fitting));
}

TEST_F(call_info, in_the_fixed_part_alone_tell_that_the_caller_has_a_number) {
    simulator::call_state_event event = Event("Connected", false);
    event.self = simulator::party{"", ""};
    event.peer = simulator::party{"4711", ""};
    HTAPICALL const call = Report(event);
    patterned_structure info(kFixedSize);
    ASSERT_EQ(Get(call, info), 0);
    EXPECT_EQ(info.At(8), 324u) << "used";
    EXPECT_EQ(info.At(4), 324u + 10u + 10u) << "needed, for the caller and the connected party";
    EXPECT_EQ(info.At(kCaller), kAddress);
    EXPECT_EQ(info.At(kCaller + 4), 0xA5A5A5A5) << "the size of the number is untouched";
    EXPECT_THAT(ManagerLog(),
                ElementsAre("GetCallInfo",
                            "GetCallInfo: Buffer provided by TAPI application is too small. Struct size 324, "
                            "Available buffer size 324, Required buffer size 344",
                            "TAPI application must call lineGetCallInfo with a larger buffer."));
}

TEST_F(call_info, do_not_write_behind_a_buffer_that_is_smaller_than_their_fixed_part) {
    // TAPI never does this. There is no success to tell where the fixed part has no room.
    HTAPICALL const call = Report(Event("Connected", false));
    for (const std::size_t size : {std::size_t{323}, std::size_t{100}, std::size_t{12}}) {
        patterned_structure info(size);
        EXPECT_EQ(Get(call, info), kStructureTooSmall) << size;
        patterned_structure expected(size);
        expected.Set(4, 324 + 70);
        EXPECT_TRUE(SameBytes(expected, info)) << size;
    }
}

TEST_F(call_info, of_an_unknown_call_fail_without_a_log_line) {
    log_.Skip();
    patterned_structure info(600);
    EXPECT_EQ(module_.TSPI_lineGetCallInfo(AsHandle<HDRVCALL>(4711), info.As<LINECALLINFO>()),
              kOperationFailed);
    EXPECT_TRUE(SameBytes(patterned_structure(600), info));
    EXPECT_THAT(log_.Lines(), testing::IsEmpty());
}

TEST_F(call_info, tell_the_reason_for_each_kind_of_forwarding) {
    struct {
        const char* forward_type;
        DWORD reason;
    } const kReasons[] = {
        {"NONE", LINECALLREASON_DIRECT},
        {"CFI", LINECALLREASON_REDIRECT},
        {"CFU", LINECALLREASON_FWDUNCOND},
        {"CFB", LINECALLREASON_FWDBUSY},
        {"CFNR", LINECALLREASON_FWDNOANSWER},
        {"PICKUP", LINECALLREASON_PICKUP},
        {"BLINDTRANSFER", LINECALLREASON_TRANSFER},
        {"TRANSFER", LINECALLREASON_TRANSFER},
        {"BL_BACK", LINECALLREASON_TRANSFER},
        {"", LINECALLREASON_DIRECT},
        {"cfu", LINECALLREASON_DIRECT},
        {"CFU ", LINECALLREASON_DIRECT},
        {"SOMETHING", LINECALLREASON_DIRECT},
    };
    int number = 0;
    for (const auto& row : kReasons) {
        simulator::call_state_event event = Event("Ringing", false);
        event.client_call_id = Text("reason-%d", ++number);
        event.forwarded_by.emplace();
        event.forwarded_by->forward_type = row.forward_type;
        HTAPICALL const call = Report(event);
        patterned_structure info(600);
        ASSERT_EQ(Get(call, info), 0);
        EXPECT_EQ(info.At(84), row.reason) << row.forward_type;
    }
}

}  // namespace
}  // namespace brivelnox::test
