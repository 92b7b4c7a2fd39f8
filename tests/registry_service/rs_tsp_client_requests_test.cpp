// What the client sends.

#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/registry_service/client_fixture_helper.h"

namespace brivelnox::test {
namespace {

using testing::IsEmpty;

class rs_tsp_client_requests : public rs_tsp_client_fixture {
  protected:
    /// What the service has received by the end of the next message.
    std::string NextMessage() { return service_.ReceiveThrough("</msg>"); }

    server_connection service_ = StartConnected();
};

TEST_F(rs_tsp_client_requests, place_call) {
    Client().PlaceCall(17, "+49123", "0a-1b");
    EXPECT_EQ(NextMessage(),
              "<msg><request><placeCall permanentLineId='17' phoneNumber='+49123' "
              "requestedClientCallId='0a-1b'/></request></msg>");
}

TEST_F(rs_tsp_client_requests, accept_call) {
    Client().AcceptCall(17, "c1");
    EXPECT_EQ(NextMessage(),
              "<msg><request><acceptCall permanentLineId='17' clientCallId='c1'/></request></msg>");
}

TEST_F(rs_tsp_client_requests, hold_call) {
    Client().HoldCall(17, "c1");
    EXPECT_EQ(NextMessage(),
              "<msg><request><holdCall permanentLineId='17' clientCallId='c1'/></request></msg>");
}

TEST_F(rs_tsp_client_requests, resume_call) {
    Client().ResumeCall(17, "c1");
    EXPECT_EQ(NextMessage(),
              "<msg><request><resumeCall permanentLineId='17' clientCallId='c1'/></request></msg>");
}

TEST_F(rs_tsp_client_requests, transfer_call_tells_that_it_was_sent) {
    EXPECT_TRUE(Client().TransferCall(17, "c1", "c2"));
    EXPECT_EQ(NextMessage(),
              "<msg><request><transferCall permanentLineId='17' clientCallId='c1' "
              "clientCallOnHoldId='c2'/></request></msg>");
}

TEST_F(rs_tsp_client_requests, forward_call) {
    Client().ForwardCall(17, "c1", "200");
    EXPECT_EQ(NextMessage(),
              "<msg><request><forwardCall permanentLineId='17' clientCallId='c1' "
              "phoneNumber='200'/></request></msg>");
}

TEST_F(rs_tsp_client_requests, play_dtmf) {
    Client().PlayDtmf(17, "c1", "12#*");
    EXPECT_EQ(NextMessage(),
              "<msg><request><playDtmf permanentLineId='17' clientCallId='c1' "
              "digits='12#*'/></request></msg>");
}

TEST_F(rs_tsp_client_requests, hangup_call_tells_that_it_was_sent) {
    EXPECT_TRUE(Client().HangupCall(17, "c1"));
    EXPECT_EQ(NextMessage(),
              "<msg><request><hangupCall permanentLineId='17' clientCallId='c1'/></request></msg>");
}

TEST_F(rs_tsp_client_requests, line_id_with_the_top_bit_set_is_written_negative) {
    Client().HoldCall(std::numeric_limits<std::int32_t>::min(), "c1");
    EXPECT_EQ(NextMessage(),
              "<msg><request><holdCall permanentLineId='-2147483648' clientCallId='c1'/></request></msg>");
}

TEST_F(rs_tsp_client_requests, quote_in_an_argument_is_sent_unchanged) {
    Client().PlaceCall(17, "1'2", "c<&>");
    EXPECT_EQ(NextMessage(),
              "<msg><request><placeCall permanentLineId='17' phoneNumber='1'2' "
              "requestedClientCallId='c<&>'/></request></msg>");
}

TEST_F(rs_tsp_client_requests, no_byte_separates_the_messages) {
    Client().HoldCall(1, "a");
    Client().ResumeCall(1, "a");
    Client().HoldCall(1, "b");
    const std::string expected =
        "<msg><request><holdCall permanentLineId='1' clientCallId='a'/></request></msg>"
        "<msg><request><resumeCall permanentLineId='1' clientCallId='a'/></request></msg>"
        "<msg><request><holdCall permanentLineId='1' clientCallId='b'/></request></msg>";
    EXPECT_EQ(service_.Receive(expected.size()), expected);
    EXPECT_EQ(service_.ReceiveAvailable(), "");
}

TEST_F(rs_tsp_client_requests, text_of_1023_bytes_is_sent) {
    const std::string frame =
        "<msg><request><hangupCall permanentLineId='1' clientCallId=''/></request></msg>";
    EXPECT_TRUE(Client().HangupCall(1, std::string(1023 - frame.size(), 'x')));
    EXPECT_EQ(NextMessage().size(), 1023u);
}

TEST_F(rs_tsp_client_requests, text_of_1024_bytes_is_not_sent_and_says_so) {
    const std::string hang_up =
        "<msg><request><hangupCall permanentLineId='1' clientCallId=''/></request></msg>";
    EXPECT_FALSE(Client().HangupCall(1, std::string(1024 - hang_up.size(), 'x')));
    const std::string transfer =
        "<msg><request><transferCall permanentLineId='1' clientCallId='' "
        "clientCallOnHoldId=''/></request></msg>";
    EXPECT_FALSE(Client().TransferCall(1, "", std::string(1024 - transfer.size(), 'x')));
    EXPECT_TRUE(Client().IsConnected());
    Client().HoldCall(1, "c1");
    EXPECT_EQ(NextMessage(),
              "<msg><request><holdCall permanentLineId='1' clientCallId='c1'/></request></msg>");
}

TEST_F(rs_tsp_client_requests, no_request_with_a_too_long_argument_is_sent) {
    const std::string longest(1024, 'x');
    Client().PlaceCall(1, longest, "c1");
    Client().AcceptCall(1, longest);
    Client().HoldCall(1, longest);
    Client().ResumeCall(1, longest);
    Client().ForwardCall(1, "c1", longest);
    Client().PlayDtmf(1, "c1", longest);
    EXPECT_TRUE(Client().HangupCall(1, "c1"));
    EXPECT_EQ(NextMessage(),
              "<msg><request><hangupCall permanentLineId='1' clientCallId='c1'/></request></msg>");
}

TEST_F(rs_tsp_client_requests, requests_without_a_connection_are_lost_and_say_so) {
    Disconnect(service_);
    Client().PlaceCall(17, "200", "c1");
    Client().AcceptCall(17, "c1");
    EXPECT_FALSE(Client().TransferCall(17, "c1", "c2"));
    EXPECT_FALSE(Client().HangupCall(17, "c1"));
    // Nothing is queued: the next connection begins with what is asked then.
    Client().ConnectToService(false);
    server_connection next = server_.Accept();
    EXPECT_TRUE(Client().HangupCall(17, "c9"));
    EXPECT_EQ(next.ReceiveThrough("</msg>"),
              "<msg><request><hangupCall permanentLineId='17' clientCallId='c9'/></request></msg>");
}

TEST_F(rs_tsp_client_requests, requests_are_not_logged_whether_sent_or_too_long_or_lost) {
    log_.Skip();
    const std::string too_long(1024, 'x');
    EXPECT_TRUE(Client().HangupCall(17, "c1"));
    EXPECT_FALSE(Client().HangupCall(17, too_long));
    Client().PlaceCall(17, too_long, "c1");
    Disconnect(service_);
    EXPECT_FALSE(Client().TransferCall(17, "c1", "c2"));
    Client().PlayDtmf(17, "c1", "1");
    (void)Client().RequestClientRegistrations(false);
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(rs_tsp_client_requests, requests_of_several_threads_arrive_whole) {
    constexpr int kThreads = 4;
    constexpr int kRequestsEach = 100;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([this, thread] {
            for (int number = 0; number < kRequestsEach; ++number) {
                EXPECT_TRUE(Client().HangupCall(thread, "c" + std::to_string(number)));
            }
        });
    }
    std::vector<int> next(kThreads);
    for (int count = 0; count < kThreads * kRequestsEach; ++count) {
        const std::string message = NextMessage();
        const size_t line = static_cast<size_t>(message.find("Id='") + 4);
        ASSERT_LT(line, message.size());
        const size_t thread = static_cast<size_t>(message[line] - '0');
        ASSERT_LT(thread, next.size()) << message;
        ASSERT_EQ(message, "<msg><request><hangupCall permanentLineId='" + std::to_string(thread) +
                               "' clientCallId='c" + std::to_string(next[thread]++) + "'/></request></msg>");
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// The numbers of the list requests.

TEST_F(rs_tsp_client_requests, list_request_that_does_not_wait_has_the_next_number_and_returns_nothing) {
    EXPECT_THAT(Client().RequestClientRegistrations(false), IsEmpty());
    EXPECT_EQ(NextMessage(), "<msg><request id='1'><GetClientRegistrations/></request></msg>");
    EXPECT_THAT(Client().RequestClientRegistrations(false), IsEmpty());
    EXPECT_EQ(NextMessage(), "<msg><request id='2'><GetClientRegistrations/></request></msg>");
}

TEST_F(rs_tsp_client_requests, list_numbers_run_to_10000_and_begin_again_with_one) {
    // Most of them without a connection: a request that is lost uses up its number too.
    Disconnect(service_);
    for (int number = 1; number < 9999; ++number) {
        (void)Client().RequestClientRegistrations(false);
    }
    Client().ConnectToService(false);
    server_connection next = server_.Accept();
    for (const char* number : {"9999", "10000", "1", "2"}) {
        (void)Client().RequestClientRegistrations(false);
        EXPECT_EQ(next.ReceiveThrough("</msg>"),
                  "<msg><request id='" + std::string(number) + "'><GetClientRegistrations/></request></msg>");
    }
}

TEST_F(rs_tsp_client_requests, keep_alive_has_numbers_of_its_own) {
    (void)Client().RequestClientRegistrations(false);
    (void)Client().RequestClientRegistrations(false);
    Client().KeepAliveTick();
    EXPECT_EQ(service_.ReceiveThrough("<KeepAlive/></request></msg>"),
              "<msg><request id='1'><GetClientRegistrations/></request></msg>"
              "<msg><request id='2'><GetClientRegistrations/></request></msg>"
              "<msg><request id='1'><KeepAlive/></request></msg>");
}

}  // namespace
}  // namespace brivelnox::test
