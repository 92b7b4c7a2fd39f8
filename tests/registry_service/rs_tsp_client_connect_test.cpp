// Finding the service and staying connected with it.

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

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

TEST_F(rs_tsp_client_connect, ProductWaits20SecondsForAListAndTicksEvery30) {
    EXPECT_EQ(rs_tsp_client_timing().list_wait, 20000u);
    EXPECT_EQ(rs_tsp_client_timing().keep_alive_period, 30000u);
}

TEST_F(rs_tsp_client_connect, ConstructionIsLoggedAndConnectsToNothing) {
    key_.Publish(server_.Port());
    Make();
    EXPECT_THAT(Logged(), ElementsAre("()"));
    EXPECT_FALSE(Client().IsConnected());
    EXPECT_FALSE(server_.HasWaitingConnection());
}

TEST_F(rs_tsp_client_connect, StartConnectsToThePublishedPortAndAsksForNothing) {
    server_connection service = StartConnected();
    EXPECT_THAT(Logged(), ElementsAre("()", "Connect to port " + std::to_string(server_.Port())));
    EXPECT_EQ(service.ReceiveAvailable(), "");
}

TEST_F(rs_tsp_client_connect, MissingKeyIsLogged) {
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", kNoKey));
    EXPECT_FALSE(Client().IsConnected());
}

TEST_F(rs_tsp_client_connect, ServiceThatIsNotRunningIsLoggedAndNotConnectedTo) {
    key_.SetUpAndRunning(0);
    key_.SetPort(server_.Port());
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", kNotRunning));
    EXPECT_FALSE(server_.HasWaitingConnection());
}

TEST_F(rs_tsp_client_connect, UpAndRunningOtherThanOneCountsAsNotRunning) {
    for (const DWORD value : {DWORD{2}, DWORD{0xFFFFFFFF}, DWORD{0x101}}) {
        log_.Skip();
        key_.Publish(server_.Port());
        key_.SetUpAndRunning(value);
        Start();
        EXPECT_THAT(Logged(), ElementsAre("()", kNotRunning)) << value;
        EXPECT_FALSE(server_.HasWaitingConnection()) << value;
    }
}

TEST_F(rs_tsp_client_connect, MissingUpAndRunningIsLoggedAndCountsAsNotRunning) {
    key_.SetPort(server_.Port());
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", kNoState, kNotRunning));
    EXPECT_FALSE(server_.HasWaitingConnection());
}

TEST_F(rs_tsp_client_connect, UpAndRunningOfTheWrongSizeIsLoggedAndCountsAsNotRunning) {
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

TEST_F(rs_tsp_client_connect, MissingPortIsLoggedAndLeavesItUnknown) {
    key_.SetUpAndRunning(1);
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", kNoPort, kPortUnknown));
    EXPECT_FALSE(Client().IsConnected());
}

TEST_F(rs_tsp_client_connect, PortOfTheWrongSizeIsLoggedAndLeavesItUnknown) {
    const std::uint16_t port = server_.Port();
    key_.SetUpAndRunning(1);
    key_.SetPort(REG_BINARY, &port, sizeof(port));
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", kNoPort, kPortUnknown));
    EXPECT_FALSE(server_.HasWaitingConnection());
}

TEST_F(rs_tsp_client_connect, PortZeroIsUnknown) {
    key_.Publish(0);
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", kPortUnknown));
}

TEST_F(rs_tsp_client_connect, BothValuesAreReadBeforeTheStateIsLookedAt) {
    key_.Create();
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", kNoState, kNoPort, kNotRunning));
}

TEST_F(rs_tsp_client_connect, RefusedConnectionAddsNoFurtherLine) {
    key_.Publish(UnusedPort());
    Start();
    EXPECT_THAT(Logged(), ElementsAre("()", "Connect to port " + std::to_string(UnusedPort())));
    EXPECT_FALSE(Client().IsConnected());
}

TEST_F(rs_tsp_client_connect, Port70000IsConnectedTo4464) {
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

TEST_F(rs_tsp_client_connect, LowHalfOfThePortIsWhatCounts) {
    key_.Publish(0xABCD0000u + server_.Port());
    Start();
    EXPECT_TRUE(Client().IsConnected());
    EXPECT_TRUE(server_.TryAccept(kSoon));
}

TEST_F(rs_tsp_client_connect, ConnectWithoutTheListSendsNothing) {
    key_.Publish(server_.Port());
    Make();
    Client().ConnectToService(false);
    server_connection service = server_.Accept();
    EXPECT_TRUE(Client().IsConnected());
    EXPECT_EQ(service.ReceiveAvailable(), "");
}

TEST_F(rs_tsp_client_connect, ConnectWithTheListAsksForItWithoutWaiting) {
    key_.Publish(server_.Port());
    Make();
    const stopwatch watch;
    Client().ConnectToService(true);
    EXPECT_LT(watch.Elapsed(), milliseconds(10000)) << "has waited for the list";
    server_connection service = server_.Accept();
    EXPECT_EQ(service.ReceiveThrough("</msg>"),
              "<msg><request id='1'><GetClientRegistrations/></request></msg>");
}

TEST_F(rs_tsp_client_connect, ConnectWithTheListAsksNobodyWhenItIsRefused) {
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

TEST_F(rs_tsp_client_connect, TickSendsAKeepAliveWhenConnected) {
    server_connection service = StartConnected();
    log_.Skip();
    Client().KeepAliveTick();
    EXPECT_EQ(service.ReceiveThrough("</msg>"), "<msg><request id='1'><KeepAlive/></request></msg>");
    Client().KeepAliveTick();
    EXPECT_EQ(service.ReceiveThrough("</msg>"), "<msg><request id='2'><KeepAlive/></request></msg>");
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(rs_tsp_client_connect, TickReconnectsAndAsksForTheListWhenDisconnected) {
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

TEST_F(rs_tsp_client_connect, KeepAliveNumbersGoOnAfterAReconnect) {
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

TEST_F(rs_tsp_client_connect, ReconnectUsesThePortThatIsPublishedThen) {
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

TEST_F(rs_tsp_client_connect, EveryTickTriesAgainWhileTheServiceIsAway) {
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

TEST_F(rs_tsp_client_connect, MissingAnswersToKeepAlivesDoNotEndTheConnection) {
    server_connection service = StartConnected();
    for (int tick = 0; tick < 20; ++tick) {
        Client().KeepAliveTick();
    }
    EXPECT_TRUE(Client().IsConnected());
    EXPECT_FALSE(server_.HasWaitingConnection());
}

TEST_F(rs_tsp_client_connect, KeepAliveThatCannotBeSentEndsTheConnectionAndTheNextTickConnectsAgain) {
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

TEST_F(rs_tsp_client_connect, DroppedConnectionIsNotReportedUntilTheNextTick) {
    server_connection service = StartConnected();
    log_.Skip();
    Disconnect(service);
    EXPECT_THAT(Logged(), IsEmpty());
    EXPECT_THAT(Handler().Events(), IsEmpty());
    EXPECT_FALSE(server_.HasWaitingConnection());
}

// The timer itself.

TEST_F(rs_tsp_client_connect, TimerTicksFirstAfterItsPeriodAndThenAgainAndAgain) {
    constexpr DWORD kPeriod = 300;
    const stopwatch watch;
    server_connection service = StartConnected({.keep_alive_period = kPeriod});
    EXPECT_EQ(service.ReceiveThrough("</msg>"), "<msg><request id='1'><KeepAlive/></request></msg>");
    EXPECT_GE(watch.Elapsed(), milliseconds(kPeriod - 50));
    EXPECT_EQ(service.ReceiveThrough("</msg>"), "<msg><request id='2'><KeepAlive/></request></msg>");
    EXPECT_GE(watch.Elapsed(), milliseconds(2 * kPeriod - 50));
    EXPECT_EQ(service.ReceiveThrough("</msg>"), "<msg><request id='3'><KeepAlive/></request></msg>");
}

TEST_F(rs_tsp_client_connect, ServiceThatComesLaterIsFoundByTheTimerAndItsListArrivesAsALaterOne) {
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

TEST_F(rs_tsp_client_connect, ServiceThatGoesAwayAndComesBackOnAnotherPortIsFoundByTheTimer) {
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
