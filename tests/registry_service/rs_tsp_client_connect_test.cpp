// Finding the service and staying connected with it.

#include <chrono>
#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/registry_service/client_fixture_helper.h"
#include "tests/registry_service/link_internals_helper.h"

namespace brivelnox::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kNoKey[] = "Could not open SOFTWARE\\Brivelnox\\TspRegistryService";
constexpr char kNoState[] = "Could not read UpAndRunning";
constexpr char kNoPort[] = "Could not read RegistryServiceTcpPort";
constexpr char kNotRunning[] = "Registry service not yet running";
constexpr char kPortUnknown[] = "Registry service listening port not known";

using rs_tsp_client_connect = rs_tsp_client_fixture;

TEST_F(rs_tsp_client_connect, product_waits_20_seconds_for_a_list_and_ticks_every_30) {
    EXPECT_EQ(rs_tsp_client_timing().list_wait, 20000u);
    EXPECT_EQ(rs_tsp_client_timing().keep_alive_period, 30000u);
}

TEST_F(rs_tsp_client_connect, construction_is_logged_and_connects_to_nothing) {
    key_.Publish(server_.Port());
    Make();
    EXPECT_THAT(Logged(), ElementsAre("()"));
    EXPECT_FALSE(Client().IsConnected());
    EXPECT_FALSE(server_.HasWaitingConnection());
}

TEST_F(rs_tsp_client_connect, start_connects_to_the_published_port_and_asks_for_nothing) {
    server_connection service = StartConnected();
    EXPECT_THAT(Logged(), ElementsAre("()", "Connect to port " + std::to_string(server_.Port())));
    EXPECT_EQ(service.ReceiveAvailable(), "");
}

TEST_F(rs_tsp_client_connect, missing_key_is_logged) {
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", kNoKey));
    EXPECT_FALSE(Client().IsConnected());
}

TEST_F(rs_tsp_client_connect, service_that_is_not_running_is_logged_and_not_connected_to) {
    key_.SetUpAndRunning(0);
    key_.SetPort(server_.Port());
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", kNotRunning));
    EXPECT_FALSE(server_.HasWaitingConnection());
}

TEST_F(rs_tsp_client_connect, up_and_running_other_than_one_counts_as_not_running) {
    for (const DWORD value : {DWORD{2}, DWORD{0xFFFFFFFF}, DWORD{0x101}}) {
        log_.Skip();
        key_.Publish(server_.Port());
        key_.SetUpAndRunning(value);
        Start();
        EXPECT_THAT(Logged(), ElementsAre("()", kNotRunning)) << value;
        EXPECT_FALSE(server_.HasWaitingConnection()) << value;
    }
}

TEST_F(rs_tsp_client_connect, missing_up_and_running_is_logged_and_counts_as_not_running) {
    key_.SetPort(server_.Port());
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", kNoState, kNotRunning));
    EXPECT_FALSE(server_.HasWaitingConnection());
}

TEST_F(rs_tsp_client_connect, up_and_running_of_the_wrong_size_is_logged_and_counts_as_not_running) {
    const std::uint64_t one = 1;
    key_.SetPort(server_.Port());
    for (const DWORD size : {2, 8}) {
        log_.Skip();
        key_.SetUpAndRunning(REG_BINARY, &one, size);
        Start();
        EXPECT_THAT(Logged(), ElementsAre("()", kNoState, kNotRunning)) << size;
        EXPECT_FALSE(server_.HasWaitingConnection()) << size;
    }
}

TEST_F(rs_tsp_client_connect, missing_port_is_logged_and_leaves_it_unknown) {
    key_.SetUpAndRunning(1);
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", kNoPort, kPortUnknown));
    EXPECT_FALSE(Client().IsConnected());
}

TEST_F(rs_tsp_client_connect, port_of_the_wrong_size_is_logged_and_leaves_it_unknown) {
    const std::uint16_t port = server_.Port();
    key_.SetUpAndRunning(1);
    key_.SetPort(REG_BINARY, &port, sizeof(port));
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", kNoPort, kPortUnknown));
    EXPECT_FALSE(server_.HasWaitingConnection());
}

TEST_F(rs_tsp_client_connect, port_zero_is_unknown) {
    key_.Publish(0);
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", kPortUnknown));
}

TEST_F(rs_tsp_client_connect, both_values_are_read_before_the_state_is_looked_at) {
    key_.Create();
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", kNoState, kNoPort, kNotRunning));
}

TEST_F(rs_tsp_client_connect, refused_connection_adds_no_further_line) {
    key_.Publish(UnusedPort());
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", "Connect to port " + std::to_string(UnusedPort())));
    EXPECT_FALSE(Client().IsConnected());
}

TEST_F(rs_tsp_client_connect, port_70000_is_connected_to_4464) {
    loopback_server server(4464);
    key_.Publish(70000);
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", "Connect to port 70000"));
    ASSERT_TRUE(Client().IsConnected());
    server_connection service = server.Accept();
    EXPECT_TRUE(Client().SendText("hello"));
    EXPECT_EQ(service.Receive(5), "hello");
    // Ends here first, so that the port can be listened on again at once.
    Client().Stop();
    EXPECT_TRUE(service.WaitForPeerToClose());
}

TEST_F(rs_tsp_client_connect, low_half_of_the_port_is_what_counts) {
    key_.Publish(0xABCD0000u + server_.Port());
    Start();
    EXPECT_TRUE(Client().IsConnected());
    EXPECT_TRUE(server_.TryAccept(kSoon));
}

TEST_F(rs_tsp_client_connect, connect_without_the_list_sends_nothing) {
    key_.Publish(server_.Port());
    Make();
    Client().ConnectToService(false);
    server_connection service = server_.Accept();
    EXPECT_TRUE(Client().IsConnected());
    EXPECT_EQ(service.ReceiveAvailable(), "");
}

TEST_F(rs_tsp_client_connect, connect_with_the_list_asks_for_it_without_waiting) {
    key_.Publish(server_.Port());
    Make();
    const stopwatch watch;
    Client().ConnectToService(true);
    EXPECT_LT(watch.Elapsed(), milliseconds(10000)) << "has waited for the list";
    server_connection service = server_.Accept();
    EXPECT_EQ(service.ReceiveThrough("</msg>"),
              "<msg><request id='1'><GetClientRegistrations/></request></msg>");
}

TEST_F(rs_tsp_client_connect, connect_with_the_list_asks_nobody_when_it_is_refused) {
    key_.Publish(UnusedPort());
    Make();
    Client().ConnectToService(true);
    // The number of the request was not used up.
    key_.Publish(server_.Port());
    Client().ConnectToService(true);
    EXPECT_EQ(server_.Accept().ReceiveThrough("</msg>"),
              "<msg><request id='1'><GetClientRegistrations/></request></msg>");
}

// What the timer does.

TEST_F(rs_tsp_client_connect, tick_sends_a_keep_alive_when_connected) {
    server_connection service = StartConnected();
    log_.Skip();
    Client().KeepAliveTick();
    EXPECT_EQ(service.ReceiveThrough("</msg>"), "<msg><request id='1'><KeepAlive/></request></msg>");
    Client().KeepAliveTick();
    EXPECT_EQ(service.ReceiveThrough("</msg>"), "<msg><request id='2'><KeepAlive/></request></msg>");
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(rs_tsp_client_connect, tick_reconnects_and_asks_for_the_list_when_disconnected) {
    server_connection first = StartConnected();
    Disconnect(first);
    log_.Skip();
    Client().KeepAliveTick();
    EXPECT_THAT(Logged(), ElementsAre("ReConnect", "Connect to port " + std::to_string(server_.Port())));
    server_connection second = server_.Accept();
    EXPECT_EQ(second.ReceiveThrough("</msg>"),
              "<msg><request id='1'><GetClientRegistrations/></request></msg>");
    EXPECT_EQ(second.ReceiveAvailable(), "");
    second.Send("<msg><response id='1'><RegistrationList/></response></msg>");
    EXPECT_THAT(Handler().WaitForEvents(1), ElementsAre("list "));
}

TEST_F(rs_tsp_client_connect, keep_alive_numbers_go_on_after_a_reconnect) {
    server_connection first = StartConnected();
    Client().KeepAliveTick();
    Client().KeepAliveTick();
    EXPECT_EQ(first.ReceiveThrough("'2'><KeepAlive/></request></msg>"),
              "<msg><request id='1'><KeepAlive/></request></msg>"
              "<msg><request id='2'><KeepAlive/></request></msg>");
    Disconnect(first);
    Client().KeepAliveTick();
    server_connection second = server_.Accept();
    (void)second.ReceiveThrough("</msg>");
    Client().KeepAliveTick();
    EXPECT_EQ(second.ReceiveThrough("</msg>"), "<msg><request id='3'><KeepAlive/></request></msg>");
}

TEST_F(rs_tsp_client_connect, reconnect_uses_the_port_that_is_published_then) {
    server_connection first = StartConnected();
    Disconnect(first);
    loopback_server other;
    key_.Publish(other.Port());
    log_.Skip();
    Client().KeepAliveTick();
    EXPECT_THAT(Logged(), ElementsAre("ReConnect", "Connect to port " + std::to_string(other.Port())));
    EXPECT_TRUE(other.TryAccept(kSoon));
    EXPECT_FALSE(server_.HasWaitingConnection());
}

TEST_F(rs_tsp_client_connect, every_tick_tries_again_while_the_service_is_away) {
    Start();
    for (int tick = 0; tick < 3; ++tick) {
        log_.Skip();
        Client().KeepAliveTick();
        EXPECT_THAT(Logged(), ElementsAre("ReConnect", kNoKey));
    }
    key_.Publish(server_.Port());
    Client().KeepAliveTick();
    EXPECT_TRUE(Client().IsConnected());
}

TEST_F(rs_tsp_client_connect, missing_answers_to_keep_alives_do_not_end_the_connection) {
    server_connection service = StartConnected();
    for (int tick = 0; tick < 20; ++tick) {
        Client().KeepAliveTick();
    }
    EXPECT_TRUE(Client().IsConnected());
    EXPECT_FALSE(server_.HasWaitingConnection());
}

TEST_F(rs_tsp_client_connect,
       keep_alive_that_cannot_be_sent_ends_the_connection_and_the_next_tick_connects_again) {
    server_connection first = StartConnected();
    ASSERT_EQ(shutdown(SocketOf(*CurrentConnectionOf(Client())).get(), SD_SEND), 0);
    log_.Skip();
    Client().KeepAliveTick();
    EXPECT_FALSE(Client().IsConnected());
    EXPECT_THAT(Logged(), IsEmpty()) << "this tick has done its work";
    EXPECT_FALSE(server_.HasWaitingConnection());

    Client().KeepAliveTick();
    EXPECT_THAT(Logged(), ElementsAre("ReConnect", "Connect to port " + std::to_string(server_.Port())));
    server_connection second = server_.Accept();
    EXPECT_EQ(second.ReceiveThrough("</msg>"),
              "<msg><request id='1'><GetClientRegistrations/></request></msg>");
    // The number of the keep-alive that was lost is used up.
    Client().KeepAliveTick();
    EXPECT_EQ(second.ReceiveThrough("</msg>"), "<msg><request id='2'><KeepAlive/></request></msg>");
}

TEST_F(rs_tsp_client_connect, dropped_connection_is_not_reported_until_the_next_tick) {
    server_connection service = StartConnected();
    log_.Skip();
    Disconnect(service);
    EXPECT_THAT(Logged(), IsEmpty());
    EXPECT_THAT(Handler().Events(), IsEmpty());
    EXPECT_FALSE(server_.HasWaitingConnection());
}

// The timer itself.

TEST_F(rs_tsp_client_connect, timer_ticks_first_after_its_period_and_then_again_and_again) {
    constexpr DWORD kPeriod = 300;
    const stopwatch watch;
    server_connection service = StartConnected({.keep_alive_period = kPeriod});
    EXPECT_EQ(service.ReceiveThrough("</msg>"), "<msg><request id='1'><KeepAlive/></request></msg>");
    EXPECT_GE(watch.Elapsed(), milliseconds(kPeriod - 50));
    EXPECT_EQ(service.ReceiveThrough("</msg>"), "<msg><request id='2'><KeepAlive/></request></msg>");
    EXPECT_GE(watch.Elapsed(), milliseconds(2 * kPeriod - 50));
    EXPECT_EQ(service.ReceiveThrough("</msg>"), "<msg><request id='3'><KeepAlive/></request></msg>");
}

TEST_F(rs_tsp_client_connect,
       service_that_comes_later_is_found_by_the_timer_and_its_list_arrives_as_a_later_one) {
    key_.SetUpAndRunning(0);
    key_.SetPort(server_.Port());
    Start({.list_wait = 1, .keep_alive_period = 50});
    EXPECT_THAT(Logged(), ElementsAre("()", kNotRunning));
    EXPECT_THAT(Client().RequestClientRegistrations(true), IsEmpty());
    ASSERT_TRUE(log_.WaitFor("RsTspClient", "ReConnect", kSoon));
    key_.Publish(server_.Port());
    server_connection service = server_.Accept();
    EXPECT_EQ(service.ReceiveThrough("</msg>"),
              "<msg><request id='1'><GetClientRegistrations/></request></msg>");
    service.Send(
        "<msg><response id='1'><RegistrationList><Registration permanentLineId='17' "
        "tapiLineName='Alice'/></RegistrationList></response></msg>");
    EXPECT_THAT(Handler().WaitForEvents(1), ElementsAre("list [17 Alice 0 0 0]"));
}

TEST_F(rs_tsp_client_connect, service_that_goes_away_and_comes_back_on_another_port_is_found_by_the_timer) {
    server_connection first = StartConnected({.keep_alive_period = 50});
    loopback_server other;
    key_.Publish(other.Port());
    first.Close();
    server_connection second = other.Accept();
    EXPECT_EQ(second.ReceiveThrough("</msg>"),
              "<msg><request id='1'><GetClientRegistrations/></request></msg>");
    EXPECT_THAT(second.ReceiveThrough("</msg>"), testing::HasSubstr("<KeepAlive/>"));
    EXPECT_TRUE(log_.Has("RsTspClient", "ReConnect"));
}

}  // namespace
}  // namespace brivelnox::test
