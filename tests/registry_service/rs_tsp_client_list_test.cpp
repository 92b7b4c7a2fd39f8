// Waiting for the registration list.

#include <chrono>
#include <future>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/registry_service/client_fixture_helper.h"
#include "tests/support/worker.h"

namespace brivelnox::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kWaitedRequest[] = "<msg><request id='0'><GetClientRegistrations/></request></msg>";
constexpr rs_tsp_client_timing kShortWait = {.list_wait = 100,
                                             .keep_alive_period = kNoTicks.keep_alive_period};

/// A list of one line.
std::string List(const std::string& id, const std::string& line) {
    return "<msg><response id='" + id + "'><RegistrationList><Registration permanentLineId='" + line +
           "'/></RegistrationList></response></msg>";
}

class rs_tsp_client_list : public rs_tsp_client_fixture {
  protected:
    /// A waiting request on a thread of its own.
    std::future<std::string> RequestInBackground() {
        return std::async(std::launch::async,
                          [this] { return ToText(Client().RequestClientRegistrations(true)); });
    }
    std::string Request() { return ToText(Client().RequestClientRegistrations(true)); }
};

TEST_F(rs_tsp_client_list, waiting_request_has_number_zero_and_returns_the_answer) {
    server_connection service = StartConnected();
    auto list = RequestInBackground();
    EXPECT_EQ(service.ReceiveThrough("</msg>"), kWaitedRequest);
    const stopwatch watch;
    service.Send(List("0", "17"));
    EXPECT_EQ(list.get(), "[17  0 0 0]");
    EXPECT_LT(watch.Elapsed(), milliseconds(10000)) << "as soon as the service answers";
    EXPECT_THAT(Handler().WaitForEvents(1), ElementsAre("initial list [17  0 0 0]"));
    EXPECT_TRUE(log_.Has("RsTspClient", "Got initial line list"));
}

TEST_F(rs_tsp_client_list, waiting_requests_use_up_no_number) {
    server_connection service = StartConnected(kShortWait);
    (void)Client().RequestClientRegistrations(true);
    (void)Client().RequestClientRegistrations(true);
    (void)Client().RequestClientRegistrations(false);
    EXPECT_EQ(service.ReceiveThrough("'1'><GetClientRegistrations/></request></msg>"),
              std::string(kWaitedRequest) + kWaitedRequest +
                  "<msg><request id='1'><GetClientRegistrations/></request></msg>");
}

TEST_F(rs_tsp_client_list, answer_in_many_pieces_is_waited_for) {
    server_connection service = StartConnected();
    auto list = RequestInBackground();
    (void)service.ReceiveThrough("</msg>");
    for (const char byte : List("0", "17")) {
        service.Send(std::string_view(&byte, 1));
    }
    EXPECT_EQ(list.get(), "[17  0 0 0]");
}

TEST_F(rs_tsp_client_list, empty_answer_ends_the_wait_too) {
    server_connection service = StartConnected();
    auto list = RequestInBackground();
    (void)service.ReceiveThrough("</msg>");
    const stopwatch watch;
    service.Send("<msg><response id='0'><RegistrationList/></response></msg>");
    EXPECT_EQ(list.get(), "");
    EXPECT_LT(watch.Elapsed(), milliseconds(10000));
    EXPECT_THAT(Handler().WaitForEvents(1), ElementsAre("initial list "));
}

TEST_F(rs_tsp_client_list, without_an_answer_the_wait_ends_with_an_empty_list) {
    server_connection service = StartConnected(kShortWait);
    const stopwatch watch;
    EXPECT_EQ(Request(), "");
    EXPECT_GE(watch.Elapsed(), milliseconds(80));
    EXPECT_EQ(service.ReceiveThrough("</msg>"), kWaitedRequest);
}

TEST_F(rs_tsp_client_list, without_a_connection_the_wait_is_the_same) {
    Start(kShortWait);
    const stopwatch watch;
    EXPECT_EQ(Request(), "");
    EXPECT_GE(watch.Elapsed(), milliseconds(80));
}

TEST_F(rs_tsp_client_list, after_the_time_out_the_stored_list_counts_as_it_is) {
    Start(kShortWait);
    Receive(List("7", "17"));
    EXPECT_EQ(Request(), "[17  0 0 0]") << "the list's arrival is used up here";
    const stopwatch watch;
    EXPECT_EQ(Request(), "[17  0 0 0]");
    EXPECT_GE(watch.Elapsed(), milliseconds(80)) << "nothing new has come, so this one has waited";
}

TEST_F(rs_tsp_client_list, earlier_list_that_nobody_waited_for_lets_the_next_request_return_at_once) {
    server_connection service = StartConnected();
    service.Send(List("7", "17"));
    EXPECT_THAT(Handler().WaitForEvents(1), ElementsAre("list [17  0 0 0]"));
    const stopwatch watch;
    EXPECT_EQ(Request(), "[17  0 0 0]");
    EXPECT_LT(watch.Elapsed(), milliseconds(10000)) << "the service has not answered";
    EXPECT_EQ(service.ReceiveThrough("</msg>"), kWaitedRequest);
}

TEST_F(rs_tsp_client_list, several_earlier_lists_let_only_one_request_return_at_once) {
    server_connection service = StartConnected();
    service.Send(List("7", "1") + List("8", "2"));
    (void)Handler().WaitForEvents(2);
    EXPECT_EQ(Request(), "[2  0 0 0]");
    (void)service.ReceiveThrough("</msg>");
    auto list = RequestInBackground();
    EXPECT_EQ(service.ReceiveThrough("</msg>"), kWaitedRequest);
    service.Send(List("0", "3"));
    EXPECT_EQ(list.get(), "[3  0 0 0]") << "the second request has waited for its answer";
}

TEST_F(rs_tsp_client_list, every_list_replaces_the_stored_one_whole) {
    Start(kShortWait);
    Receive(List("0", "1"));
    Receive(List("7", "2"));
    EXPECT_EQ(Request(), "[2  0 0 0]");
    Receive("<msg><response id='8'><RegistrationList/></response></msg>");
    EXPECT_EQ(Request(), "");
}

TEST_F(rs_tsp_client_list, changes_of_one_registration_do_not_touch_the_stored_list) {
    Start(kShortWait);
    Receive(List("0", "1"));
    Receive(
        "<msg><event><RegistrationChanged reason='registered'><Registration permanentLineId='2'/>"
        "</RegistrationChanged></event></msg>");
    EXPECT_EQ(Request(), "[1  0 0 0]");
}

TEST_F(rs_tsp_client_list, list_is_stored_and_free_to_be_read_while_its_handler_runs) {
    signal go_on;
    server_connection service = StartConnected();
    Handler().on_event = [&](const std::string&) { EXPECT_TRUE(go_on.Wait()); };
    auto list = RequestInBackground();
    (void)service.ReceiveThrough("</msg>");
    service.Send(List("0", "17"));
    EXPECT_EQ(list.get(), "[17  0 0 0]") << "the waiting thread goes on before the handler is through";
    go_on.Set();
    // The handler uses what goes away here.
    Client().Stop();
}

TEST_F(rs_tsp_client_list, list_is_replaced_beside_the_thread_that_has_waited_for_the_one_before) {
    Start();
    unordered_signal has_read;
    worker waiting([&] {
        EXPECT_EQ(Request(), "[17  0 0 0]");
        has_read.Set();
    });
    Receive(List("7", "17"));
    EXPECT_TRUE(has_read.Wait());
    Receive(List("8", "18"));
    EXPECT_EQ(Request(), "[18  0 0 0]");
}

TEST_F(rs_tsp_client_list, calls_that_arrive_before_the_list_do_not_delay_it) {
    server_connection service = StartConnected();
    auto list = RequestInBackground();
    (void)service.ReceiveThrough("</msg>");
    service.Send(
        "<msg><event><CallState clientCallId='c1' callState='Connected' permanentLineId='17'/>"
        "</event></msg>" +
        List("0", "17"));
    EXPECT_EQ(list.get(), "[17  0 0 0]");
    EXPECT_THAT(Handler().WaitForEvents(2),
                ElementsAre("call state 17 c1 Connected", "initial list [17  0 0 0]"));
}

}  // namespace
}  // namespace brivelnox::test
