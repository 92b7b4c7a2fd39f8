// The exact bytes of every request.

#include "registry_service/protocol_requests.h"

#include <cstddef>
#include <limits>
#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace brivelnox::test {
namespace {

constexpr int kTopBitSet = std::numeric_limits<int>::min();  // 0x80000000

TEST(protocol_requests, get_client_registrations) {
    EXPECT_EQ(FormatRequest(kGetClientRegistrationsRequest, 0),
              "<msg><request id='0'><GetClientRegistrations/></request></msg>");
    EXPECT_EQ(FormatRequest(kGetClientRegistrationsRequest, 10000),
              "<msg><request id='10000'><GetClientRegistrations/></request></msg>");
}

TEST(protocol_requests, keep_alive) {
    EXPECT_EQ(FormatRequest(kKeepAliveRequest, 1), "<msg><request id='1'><KeepAlive/></request></msg>");
}

TEST(protocol_requests, place_call) {
    EXPECT_EQ(FormatRequest(kPlaceCallRequest, 17, "+49123", "0a-1b"),
              "<msg><request><placeCall permanentLineId='17' phoneNumber='+49123' "
              "requestedClientCallId='0a-1b'/></request></msg>");
}

TEST(protocol_requests, accept_call) {
    EXPECT_EQ(FormatRequest(kAcceptCallRequest, 17, "c1"),
              "<msg><request><acceptCall permanentLineId='17' clientCallId='c1'/></request></msg>");
}

TEST(protocol_requests, hold_call) {
    EXPECT_EQ(FormatRequest(kHoldCallRequest, 17, "c1"),
              "<msg><request><holdCall permanentLineId='17' clientCallId='c1'/></request></msg>");
}

TEST(protocol_requests, resume_call) {
    EXPECT_EQ(FormatRequest(kResumeCallRequest, 17, "c1"),
              "<msg><request><resumeCall permanentLineId='17' clientCallId='c1'/></request></msg>");
}

TEST(protocol_requests, transfer_call) {
    EXPECT_EQ(FormatRequest(kTransferCallRequest, 17, "c1", "c2"),
              "<msg><request><transferCall permanentLineId='17' clientCallId='c1' "
              "clientCallOnHoldId='c2'/></request></msg>");
}

TEST(protocol_requests, forward_call) {
    EXPECT_EQ(FormatRequest(kForwardCallRequest, 17, "c1", "200"),
              "<msg><request><forwardCall permanentLineId='17' clientCallId='c1' "
              "phoneNumber='200'/></request></msg>");
}

TEST(protocol_requests, play_dtmf) {
    EXPECT_EQ(FormatRequest(kPlayDtmfRequest, 17, "c1", "12#*"),
              "<msg><request><playDtmf permanentLineId='17' clientCallId='c1' "
              "digits='12#*'/></request></msg>");
}

TEST(protocol_requests, hangup_call) {
    EXPECT_EQ(FormatRequest(kHangupCallRequest, 17, "c1"),
              "<msg><request><hangupCall permanentLineId='17' clientCallId='c1'/></request></msg>");
}

TEST(protocol_requests, line_id_with_the_top_bit_set_is_written_negative) {
    EXPECT_EQ(FormatRequest(kHoldCallRequest, kTopBitSet, "c1"),
              "<msg><request><holdCall permanentLineId='-2147483648' clientCallId='c1'/></request></msg>");
}

TEST(protocol_requests, values_are_inserted_without_escaping) {
    EXPECT_EQ(FormatRequest(kPlayDtmfRequest, 1, "a'b", "<&>\""),
              "<msg><request><playDtmf permanentLineId='1' clientCallId='a'b' "
              "digits='<&>\"'/></request></msg>");
}

TEST(protocol_requests, values_keep_their_bytes) {
    EXPECT_EQ(FormatRequest(kHangupCallRequest, 1, "\xFC%d"),
              "<msg><request><hangupCall permanentLineId='1' clientCallId='\xFC%d'/></request></msg>");
}

TEST(protocol_requests, empty_values_are_sent_empty) {
    EXPECT_EQ(FormatRequest(kForwardCallRequest, 0, "", ""),
              "<msg><request><forwardCall permanentLineId='0' clientCallId='' "
              "phoneNumber=''/></request></msg>");
}

class protocol_request_length : public testing::Test {
  protected:
    /// A hang-up whose whole text has the given length.
    static std::optional<std::string> RequestOfLength(std::size_t length) {
        const std::string frame =
            "<msg><request><hangupCall permanentLineId='1' clientCallId=''/></request></msg>";
        return FormatRequest(kHangupCallRequest, 1, std::string(length - frame.size(), 'x').c_str());
    }
};

TEST_F(protocol_request_length, text_of_1023_bytes_fits) {
    const std::optional<std::string> request = RequestOfLength(1023);
    ASSERT_TRUE(request);
    EXPECT_EQ(request->size(), 1023u);
    EXPECT_TRUE(request->ends_with("xxx'/></request></msg>"));
}

TEST_F(protocol_request_length, text_of_1024_bytes_is_none) {
    EXPECT_EQ(RequestOfLength(1024), std::nullopt);
}

TEST_F(protocol_request_length, much_longer_text_is_none) {
    EXPECT_EQ(RequestOfLength(100000), std::nullopt);
}

}  // namespace
}  // namespace brivelnox::test
