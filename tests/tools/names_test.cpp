// The symbolic names against the numbers of the telephony headers.

#include "tools/telephony_host/names.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include <gtest/gtest.h>

#include "tools/telephony_host/event_text.h"

namespace brivelnox::test {
namespace {

using host::CallFeatureName;
using host::CallInfoName;
using host::CallStateName;
using host::DisconnectModeName;
using host::event_kind;
using host::EventText;
using host::IsCallState;
using host::MessageName;
using host::OriginName;
using host::ReasonName;
using host::ResultName;
using host::tapi_event;

TEST(names, call_states_are_the_sixteen_of_the_header) {
    constexpr auto kStates = std::to_array<std::pair<DWORD, const char*>>({
        {0x1, "IDLE"},
        {0x2, "OFFERING"},
        {0x4, "ACCEPTED"},
        {0x8, "DIALTONE"},
        {0x10, "DIALING"},
        {0x20, "RINGBACK"},
        {0x40, "BUSY"},
        {0x80, "SPECIALINFO"},
        {0x100, "CONNECTED"},
        {0x200, "PROCEEDING"},
        {0x400, "ONHOLD"},
        {0x800, "CONFERENCED"},
        {0x1000, "ONHOLDPENDCONF"},
        {0x2000, "ONHOLDPENDTRANSFER"},
        {0x4000, "DISCONNECTED"},
        {0x8000, "UNKNOWN"},
    });
    for (const auto& [state, name] : kStates) {
        EXPECT_EQ(CallStateName(state), name);
        EXPECT_TRUE(IsCallState(state)) << name;
    }
    for (const DWORD none : {0U, 0x10000U, 0x101U}) {
        EXPECT_FALSE(IsCallState(none)) << none;
    }
    EXPECT_EQ(CallStateName(0x10000), "0x10000");
}

TEST(names, disconnect_modes_are_the_bits_one_by_one) {
    constexpr auto kModes = std::to_array<const char*>({"NORMAL",       "UNKNOWN",       "REJECT",
                                                        "PICKUP",       "FORWARDED",     "BUSY",
                                                        "NOANSWER",     "BADADDRESS",    "UNREACHABLE",
                                                        "CONGESTION",   "INCOMPATIBLE",  "UNAVAIL",
                                                        "NODIALTONE",   "NUMBERCHANGED", "OUTOFORDER",
                                                        "TEMPFAILURE",  "QOSUNAVAIL",    "BLOCKED",
                                                        "DONOTDISTURB", "CANCELLED",     "DESTINATIONBARRED",
                                                        "FDNRESTRICT"});
    for (std::size_t bit = 0; bit < kModes.size(); ++bit) {
        EXPECT_EQ(DisconnectModeName(1U << bit), kModes[bit]);
    }
    EXPECT_EQ(DisconnectModeName(0), "none");
    EXPECT_EQ(DisconnectModeName(0x3), "0x3");
}

TEST(names, messages_are_the_ones_of_the_headers) {
    EXPECT_EQ(MessageName(1), "LINE_CALLINFO");
    EXPECT_EQ(MessageName(2), "LINE_CALLSTATE");
    EXPECT_EQ(MessageName(8), "LINE_LINEDEVSTATE");
    EXPECT_EQ(MessageName(19), "LINE_CREATE");
    EXPECT_EQ(MessageName(23), "LINE_APPNEWCALL");
    EXPECT_EQ(MessageName(500), "LINE_NEWCALL");
    EXPECT_EQ(MessageName(99), "message 99");
}

TEST(names, call_information_is_taken_apart_into_bits) {
    EXPECT_EQ(CallInfoName(0x8000), "CALLERID");
    EXPECT_EQ(CallInfoName(0x10000), "CALLEDID");
    EXPECT_EQ(CallInfoName(0x20000), "CONNECTEDID");
    EXPECT_EQ(CallInfoName(0x80000), "REDIRECTINGID");
    EXPECT_EQ(CallInfoName(0x200), "REASON");
    EXPECT_EQ(CallInfoName(0xA8200), "REASON|CALLERID|CONNECTEDID|REDIRECTINGID");
    EXPECT_EQ(CallInfoName(0), "none");
    EXPECT_EQ(CallInfoName(0x80008000), "CALLERID|0x80000000");
}

TEST(names, results_are_errors_by_name) {
    EXPECT_EQ(ResultName(0), "0");
    EXPECT_EQ(ResultName(static_cast<LONG>(0x80000048)), "LINEERR_OPERATIONFAILED");
    EXPECT_EQ(ResultName(static_cast<LONG>(0x80000049)), "LINEERR_OPERATIONUNAVAIL");
    EXPECT_EQ(ResultName(static_cast<LONG>(0x80000050)), "LINEERR_UNINITIALIZED");
    EXPECT_EQ(ResultName(static_cast<LONG>(0x8000004D)), "LINEERR_STRUCTURETOOSMALL");
    EXPECT_EQ(ResultName(static_cast<LONG>(0x8FFFFFFF)), "0x8FFFFFFF");
    EXPECT_EQ(ResultName(5), "0x5");
}

TEST(names, origins_reasons_and_features) {
    EXPECT_EQ(OriginName(0x1), "OUTBOUND");
    EXPECT_EQ(OriginName(0x80), "INBOUND");
    EXPECT_EQ(ReasonName(0x1), "DIRECT");
    EXPECT_EQ(ReasonName(0x2), "FWDBUSY");
    EXPECT_EQ(ReasonName(0x100), "TRANSFER");
    EXPECT_EQ(CallFeatureName(0x20084), "ANSWER|DROP|REDIRECT");
    EXPECT_EQ(CallFeatureName(0x0C0000A0), "COMPLETETRANSF|DROP|SWAPHOLD|UNHOLD");
    EXPECT_EQ(CallFeatureName(0), "none");
}

TEST(event_text, shows_each_kind_of_event) {
    tapi_event event;
    event.line = reinterpret_cast<HTAPILINE>(std::uintptr_t{0x10001});
    event.call = reinterpret_cast<HTAPICALL>(std::uintptr_t{0x1000001});
    event.message = 2;
    event.param1 = LINECALLSTATE_DISCONNECTED;
    event.param2 = LINEDISCONNECTMODE_BUSY;
    event.param3 = 4;
    EXPECT_EQ(EventText(event), "LINE_CALLSTATE 0x01000001 DISCONNECTED BUSY");
    event.param2 = 0;
    EXPECT_EQ(EventText(event), "LINE_CALLSTATE 0x01000001 DISCONNECTED none");
    event.param1 = LINECALLSTATE_CONNECTED;
    EXPECT_EQ(EventText(event), "LINE_CALLSTATE 0x01000001 CONNECTED");
    event.message = 1;
    event.param1 = 0x18000;
    EXPECT_EQ(EventText(event), "LINE_CALLINFO 0x01000001 CALLERID|CALLEDID");
    event.message = 500;
    event.param1 = 3;
    event.new_call = event.call;
    EXPECT_EQ(EventText(event), "LINE_NEWCALL 0x01000001 on line 0x00010001 (driver call 3)");
    event.message = 19;
    event.param2 = 8;
    EXPECT_EQ(EventText(event), "LINE_CREATE temporary id 8");
    event.message = 3;
    EXPECT_EQ(EventText(event),
              "LINE_CLOSE line 0x00010001 call 0x01000001 0x00000003 0x00000008 0x00000004");
    event.kind = event_kind::kCompletion;
    event.request_id = 12;
    event.result = 0;
    EXPECT_EQ(EventText(event), "request 12 completed: 0");
}

}  // namespace
}  // namespace brivelnox::test
