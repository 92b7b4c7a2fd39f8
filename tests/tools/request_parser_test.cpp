// What the service takes for a request: exactly the texts of its protocol.

#include "tools/service_simulator/request_parser.h"

#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brivelnox::test {
namespace {

using simulator::message_splitter;
using simulator::ParseRequest;
using simulator::request;
using simulator::request_kind;
using simulator::RequestName;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(request_parser, reads_get_client_registrations) {
    const request parsed = ParseRequest("<msg><request id='10000'><GetClientRegistrations/></request></msg>");
    EXPECT_EQ(parsed.kind, request_kind::kGetClientRegistrations);
    EXPECT_EQ(parsed.id, 10000);
}

TEST(request_parser, reads_keep_alive) {
    const request parsed = ParseRequest("<msg><request id='7'><KeepAlive/></request></msg>");
    EXPECT_EQ(parsed.kind, request_kind::kKeepAlive);
    EXPECT_EQ(parsed.id, 7);
}

TEST(request_parser, reads_place_call) {
    const request parsed = ParseRequest(
        "<msg><request><placeCall permanentLineId='-2147483648' phoneNumber='+49 30 1' "
        "requestedClientCallId='a-b'/></request></msg>");
    EXPECT_EQ(parsed.kind, request_kind::kPlaceCall);
    EXPECT_EQ(parsed.permanent_line_id, -2147483647 - 1);
    EXPECT_EQ(parsed.phone_number, "+49 30 1");
    EXPECT_EQ(parsed.client_call_id, "a-b");
}

TEST(request_parser, reads_transfer_call_with_both_calls) {
    const request parsed = ParseRequest(
        "<msg><request><transferCall permanentLineId='4' clientCallId='active' "
        "clientCallOnHoldId='held'/></request></msg>");
    EXPECT_EQ(parsed.kind, request_kind::kTransferCall);
    EXPECT_EQ(parsed.permanent_line_id, 4);
    EXPECT_EQ(parsed.client_call_id, "active");
    EXPECT_EQ(parsed.client_call_on_hold_id, "held");
}

TEST(request_parser, reads_forward_call_and_play_dtmf) {
    const request forwarded = ParseRequest(
        "<msg><request><forwardCall permanentLineId='4' clientCallId='c' "
        "phoneNumber='203'/></request></msg>");
    EXPECT_EQ(forwarded.kind, request_kind::kForwardCall);
    EXPECT_EQ(forwarded.phone_number, "203");
    const request played = ParseRequest(
        "<msg><request><playDtmf permanentLineId='4' clientCallId='c' digits='1*#'/></request></msg>");
    EXPECT_EQ(played.kind, request_kind::kPlayDtmf);
    EXPECT_EQ(played.digits, "1*#");
}

TEST(request_parser, reads_the_requests_that_name_a_call_only) {
    const std::array<std::pair<request_kind, std::string>, 4> requests{{
        {request_kind::kAcceptCall, "acceptCall"},
        {request_kind::kHoldCall, "holdCall"},
        {request_kind::kResumeCall, "resumeCall"},
        {request_kind::kHangupCall, "hangupCall"},
    }};
    for (const auto& [kind, name] : requests) {
        const request parsed = ParseRequest("<msg><request><" + name +
                                            " permanentLineId='12' clientCallId='c1'/></request></msg>");
        EXPECT_EQ(parsed.kind, kind) << name;
        EXPECT_EQ(parsed.permanent_line_id, 12) << name;
        EXPECT_EQ(parsed.client_call_id, "c1") << name;
        EXPECT_EQ(RequestName(kind), name);
    }
}

TEST(request_parser, takes_empty_values) {
    const request parsed = ParseRequest(
        "<msg><request><playDtmf permanentLineId='0' clientCallId='' digits=''/></request></msg>");
    EXPECT_EQ(parsed.kind, request_kind::kPlayDtmf);
    EXPECT_EQ(parsed.digits, "");
}

TEST(request_parser, takes_every_character_that_xml_allows_in_a_value) {
    const request parsed = ParseRequest(
        "<msg><request><forwardCall permanentLineId='4' clientCallId=' c ' "
        "phoneNumber='\"\xFC\">/= '/></request></msg>");
    EXPECT_EQ(parsed.kind, request_kind::kForwardCall);
    EXPECT_EQ(parsed.client_call_id, " c ");
    EXPECT_EQ(parsed.phone_number, "\"\xFC\">/= ");
}

TEST(request_parser, finds_everything_else_malformed) {
    constexpr auto kMalformed = std::to_array<std::string_view>({
        "",
        "<msg></msg>",
        "<msg><request id='1'><KeepAlive/></request></msg> ",
        " <msg><request id='1'><KeepAlive/></request></msg>",
        "<msg><request id=\"1\"><KeepAlive/></request></msg>",
        "<msg><request id='01'><KeepAlive/></request></msg>",
        "<msg><request id='+1'><KeepAlive/></request></msg>",
        "<msg><request id='-0'><KeepAlive/></request></msg>",
        "<msg><request id='4294967296'><KeepAlive/></request></msg>",
        "<msg><request id=''><KeepAlive/></request></msg>",
        "<msg><request id='1'><keepAlive/></request></msg>",
        "<msg><request id='1'><GetClientRegistrations /></request></msg>",
        "<msg><request id='1'><acceptCall permanentLineId='1' clientCallId='c'/></request></msg>",
        "<msg><request><acceptCall clientCallId='c' permanentLineId='1'/></request></msg>",
        "<msg><request><acceptCall permanentLineId='x' clientCallId='c'/></request></msg>",
        "<msg><request><acceptCall permanentLineId='1' clientCallId='it's'/></request></msg>",
        "<msg><request><acceptCall permanentLineId='1' clientCallId='a<b'/></request></msg>",
        "<msg><request><acceptCall permanentLineId='1' clientCallId='a&b'/></request></msg>",
        "<msg><request><acceptCall permanentLineId='1' clientCallId='a&amp;b'/></request></msg>",
        "<msg><request><acceptCall permanentLineId='1' clientCallId='c' x='y'/></request></msg>",
        "<msg><request><acceptCall permanentLineId='1' clientCallId='c'></acceptCall></request></msg>",
        "<msg><request><acceptCall permanentLineId='1'/></request></msg>",
        "<msg><request id='1'><KeepAlive/><KeepAlive/></request></msg>",
        "<msg><request id='1'><KeepAlive/></request></msg><msg/>",
        "<msg><!-- --><request id='1'><KeepAlive/></request></msg>",
        "<msg><request><parkCall permanentLineId='1' clientCallId='c'/></request></msg>",
    });
    for (const std::string_view text : kMalformed) {
        const request parsed = ParseRequest(text);
        EXPECT_EQ(parsed.kind, request_kind::kMalformed) << text;
        EXPECT_EQ(parsed.client_call_id, "") << text;
    }
    EXPECT_EQ(RequestName(request_kind::kMalformed), "malformed");
}

TEST(message_splitter, keeps_an_unfinished_message_until_its_end) {
    message_splitter splitter;
    EXPECT_THAT(splitter.Add("<msg><a"), IsEmpty());
    EXPECT_THAT(splitter.Add("/></ms"), IsEmpty());
    EXPECT_EQ(splitter.Rest(), "<msg><a/></ms");
    EXPECT_THAT(splitter.Add("g>"), ElementsAre("<msg><a/></msg>"));
    EXPECT_EQ(splitter.Rest(), "");
}

TEST(message_splitter, divides_merged_messages_and_keeps_the_beginning_of_the_next) {
    message_splitter splitter;
    EXPECT_THAT(splitter.Add("<msg>1</msg><msg>2</msg><m"), ElementsAre("<msg>1</msg>", "<msg>2</msg>"));
    EXPECT_THAT(splitter.Add("sg>3</msg>"), ElementsAre("<msg>3</msg>"));
}

TEST(message_splitter, gives_bytes_between_messages_as_items_of_their_own) {
    message_splitter splitter;
    EXPECT_THAT(splitter.Add("x<msg>1</msg>\r\n<msg>2</msg>yz"),
                ElementsAre("x", "<msg>1</msg>", "\r\n", "<msg>2</msg>", "yz"));
    EXPECT_EQ(splitter.Rest(), "");
}

TEST(message_splitter, takes_messages_byte_by_byte) {
    message_splitter splitter;
    const std::string_view text = "<msg><request id='1'><KeepAlive/></request></msg>";
    std::vector<std::string> all;
    for (const char c : text) {
        for (const std::string& each : splitter.Add({&c, 1})) {
            all.push_back(each);
        }
    }
    EXPECT_THAT(all, ElementsAre(text));
}

TEST(message_splitter, bears_zero_bytes) {
    message_splitter splitter;
    const std::string text("<msg>\0</msg>", 12);
    EXPECT_THAT(splitter.Add(text), ElementsAre(text));
}

}  // namespace
}  // namespace brivelnox::test
