// Stopping: within its bounds, whatever the client's threads are doing, and for good.

#include <chrono>
#include <future>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/registry_service/client_fixture_helper.h"

namespace brivelnox::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

/// The waits of a stop: for a running tick, again for the timer's queue, and for the reader.
constexpr milliseconds kTickWait{10000};
constexpr milliseconds kQueueWait{10000};
constexpr milliseconds kReaderWait{5000};
/// What a machine that is busy may add.
constexpr milliseconds kSlack{4000};

constexpr char kEvent[] = "<msg><event><CallRemoved clientCallId='c1' permanentLineId='17'/></event></msg>";

class rs_tsp_client_stop : public rs_tsp_client_fixture {
  protected:
    ~rs_tsp_client_stop() override { go_on_.Set(); }

    /// Connects, and has the handler enter an event that lasts until `go_on_`.
    server_connection StartAndEnterHandler(const rs_tsp_client_timing& timing = kNoTicks) {
        server_connection service = StartConnected(timing);
        Handler().on_event = [this](const std::string&) {
            in_handler_.Set();
            EXPECT_TRUE(go_on_.Wait(std::chrono::minutes(2)));
        };
        service.Send(kEvent);
        EXPECT_TRUE(in_handler_.Wait());
        return service;
    }

    signal in_handler_;
    signal go_on_;
};

TEST_F(rs_tsp_client_stop, stop_ends_the_connection_at_once) {
    server_connection service = StartConnected();
    const stopwatch watch;
    Client().Stop();
    EXPECT_LT(watch.Elapsed(), milliseconds(2500));
    EXPECT_FALSE(Client().IsConnected());
    EXPECT_TRUE(service.WaitForPeerToClose());
}

TEST_F(rs_tsp_client_stop, stop_is_idempotent_and_needs_no_start) {
    Make();
    Client().Stop();
    Client().Stop();
    EXPECT_FALSE(Client().IsConnected());
}

TEST_F(rs_tsp_client_stop, destruction_stops) {
    server_connection service = StartConnected();
    const stopwatch watch;
    owner_ = nullptr;
    EXPECT_LT(watch.Elapsed(), milliseconds(2500));
    EXPECT_TRUE(service.WaitForPeerToClose());
}

TEST_F(rs_tsp_client_stop, nothing_connects_after_a_stop) {
    server_connection service = StartConnected();
    Client().Stop();
    log_.Skip();
    Client().ConnectToService(true);
    Client().KeepAliveTick();
    EXPECT_FALSE(Client().IsConnected());
    EXPECT_FALSE(server_.HasWaitingConnection());
    EXPECT_FALSE(Send(kHangupCall, 17, "c1"));
}

TEST_F(rs_tsp_client_stop, timer_ticks_no_more_after_a_stop) {
    constexpr milliseconds kPeriod{20};
    Start({.keep_alive_period = 20});
    ASSERT_TRUE(log_.WaitFor("RsTspClient", "ReConnect", kSoon));
    Client().Stop();
    log_.Skip();
    EXPECT_FALSE(log_.WaitFor("RsTspClient", "ReConnect", 15 * kPeriod));
}

TEST_F(rs_tsp_client_stop, list_that_comes_after_a_stop_does_no_harm) {
    Start();
    Client().Stop();
    Receive("<msg><response id='7'><RegistrationList/></response></msg>");
    EXPECT_THAT(Handler().Events(), ElementsAre("list "));
}

TEST_F(rs_tsp_client_stop, stop_during_a_waiting_request_does_not_break_it) {
    server_connection service =
        StartConnected({.list_wait = 500, .keep_alive_period = kNoTicks.keep_alive_period});
    auto list =
        std::async(std::launch::async, [this] { return ToText(Client().RequestClientRegistrations(true)); });
    (void)service.ReceiveThrough("</msg>");
    const stopwatch watch;
    Client().Stop();
    EXPECT_LT(watch.Elapsed(), milliseconds(2500));
    EXPECT_EQ(list.get(), "");
}

TEST_F(rs_tsp_client_stop, stop_waits_for_a_handler_that_ends) {
    server_connection service = StartAndEnterHandler();
    auto stopped = std::async(std::launch::async, [this] { Client().Stop(); });
    // The connection ends first, then the reader is waited for.
    EXPECT_TRUE(service.WaitForPeerToClose());
    EXPECT_EQ(stopped.wait_for(milliseconds(0)), std::future_status::timeout);
    go_on_.Set();
    EXPECT_EQ(stopped.wait_for(kSoon), std::future_status::ready);
}

TEST_F(rs_tsp_client_stop, handler_that_blocks_keeps_a_stop_no_longer_than_the_readers_wait) {
    server_connection service = StartAndEnterHandler();
    service.Send(kEvent);
    const stopwatch watch;
    Client().Stop();
    EXPECT_GE(watch.Elapsed(), kReaderWait - milliseconds(500));
    EXPECT_LE(watch.Elapsed(), kReaderWait + kSlack);

    // The owner is given up meanwhile; it is freed when the handler returns, and nothing more is delivered.
    signal destroyed;
    std::vector<std::string> events;
    owner_->on_destroyed = [&, owner = owner_.get()] {
        events = owner->handler.Events();
        destroyed.Set();
    };
    owner_ = nullptr;
    EXPECT_FALSE(destroyed.IsSet());
    go_on_.Set();
    ASSERT_TRUE(destroyed.Wait());
    EXPECT_THAT(events, ElementsAre("call removed 17 c1"));
}

TEST_F(rs_tsp_client_stop, stop_waits_for_a_tick_that_is_reconnecting_and_that_connects_nothing_any_more) {
    server_connection service = StartAndEnterHandler({.keep_alive_period = 50});
    // The tick's new connection has to wait for the handler of the old one.
    log_.Skip();
    Client().CloseLink(false);
    ASSERT_TRUE(log_.WaitForStarting("RsTspClient", "Connect to port ", kSoon));
    auto stopped = std::async(std::launch::async, [this] { Client().Stop(); });
    EXPECT_EQ(stopped.wait_for(milliseconds(200)), std::future_status::timeout);
    go_on_.Set();
    EXPECT_EQ(stopped.wait_for(kSoon), std::future_status::ready);
    EXPECT_FALSE(Client().IsConnected());
}

TEST_F(rs_tsp_client_stop, tick_that_cannot_reconnect_keeps_a_stop_no_longer_than_its_bounds) {
    server_connection service = StartAndEnterHandler({.keep_alive_period = 50});
    log_.Skip();
    Client().CloseLink(false);
    ASSERT_TRUE(log_.WaitForStarting("RsTspClient", "Connect to port ", kSoon));
    const stopwatch watch;
    Client().Stop();
    EXPECT_GE(watch.Elapsed(), kTickWait - milliseconds(500));
    EXPECT_LE(watch.Elapsed(), kTickWait + kQueueWait + kReaderWait + kSlack);

    // The tick goes on when nobody waits for it any more: it finds everything that it needs, and connects
    // nothing.
    signal destroyed;
    owner_->on_destroyed = [&] { destroyed.Set(); };
    owner_ = nullptr;
    EXPECT_FALSE(destroyed.IsSet());
    go_on_.Set();
    ASSERT_TRUE(destroyed.Wait());
    EXPECT_FALSE(server_.HasWaitingConnection());
}

}  // namespace
}  // namespace brivelnox::test
