// Which message reaches which operation of the handler.

#include <stdexcept>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/registry_service/client_fixture_helper.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kAlice[] =
    "<Registration tapiLineName='Alice' permanentLineId='17' tcpPort='5060' "
    "clientConnected='true' sipConnected='false'/>";
constexpr char kAliceLogged[] =
    "Parsed client registration. TAPI line name: Alice, permanentLineId: 0x00000011, "
    "tcpPort: 5060, client connected: 1, sip connected: 0";

std::string Event(const std::string& payload) {
    return "<msg><event>" + payload + "</event></msg>";
}

std::string Response(const std::string& id, const std::string& payload) {
    return "<msg><response id='" + id + "'>" + payload + "</response></msg>";
}

std::string Changed(const std::string& reason, const std::string& children = kAlice) {
    return Event("<RegistrationChanged reason='" + reason + "'>" + children + "</RegistrationChanged>");
}

/// The client is never connected here: the messages are handed to it directly.
class rs_tsp_client_events : public rs_tsp_client_fixture {
  protected:
    rs_tsp_client_events() {
        Make();
        log_.Skip();
    }
};

TEST_F(rs_tsp_client_events, registered_client) {
    Receive(Changed("registered"));
    EXPECT_THAT(Handler().Events(), ElementsAre("registered 17 Alice 5060 1 0"));
    EXPECT_THAT(Logged(), ElementsAre(kAliceLogged));
}

TEST_F(rs_tsp_client_events, refreshed_client) {
    Receive(Changed("refreshed"));
    EXPECT_THAT(Handler().Events(), ElementsAre("refreshed 17 Alice 5060 1 0"));
    EXPECT_THAT(Logged(), ElementsAre(kAliceLogged));
}

TEST_F(rs_tsp_client_events, unregistered_client) {
    Receive(Changed("unregistered"));
    EXPECT_THAT(Handler().Events(), ElementsAre("unregistered 17 Alice 5060 1 0"));
    EXPECT_THAT(Logged(), ElementsAre(kAliceLogged));
}

TEST_F(rs_tsp_client_events, other_reasons_are_ignored_after_the_registration_was_read) {
    for (const char* reason : {"moved", "Registered", "registered ", "", "registere"}) {
        log_.Skip();
        Receive(Changed(reason));
        EXPECT_THAT(Logged(), ElementsAre(kAliceLogged)) << reason;
    }
    log_.Skip();
    Receive(Event("<RegistrationChanged>" + std::string(kAlice) + "</RegistrationChanged>"));
    EXPECT_THAT(Logged(), ElementsAre(kAliceLogged)) << "without a reason";
    EXPECT_THAT(Handler().Events(), IsEmpty());
}

TEST_F(rs_tsp_client_events, change_without_a_registration_is_ignored) {
    for (const char* reason : {"registered", "refreshed", "unregistered"}) {
        Receive(Changed(reason, ""));
        Receive(Changed(reason, "<registration permanentLineId='17'/>"));
    }
    EXPECT_THAT(Handler().Events(), IsEmpty());
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(rs_tsp_client_events, only_the_first_registration_of_a_change_counts) {
    Receive(Changed("registered",
                    "<Other/><Registration permanentLineId='1'/><Registration permanentLineId='2'/>"));
    EXPECT_THAT(Handler().Events(), ElementsAre("registered 1  0 0 0"));
}

TEST_F(rs_tsp_client_events, registration_is_logged_with_its_values) {
    Receive(Changed("refreshed",
                    "<Registration permanentLineId='-2147483648' tcpPort='65535' sipConnected='1'/>"));
    Receive(Changed("refreshed", "<Registration tapiLineName='A &amp; B' permanentLineId='2748'/>"));
    EXPECT_THAT(Logged(),
                ElementsAre("Parsed client registration. TAPI line name: , permanentLineId: 0x80000000, "
                            "tcpPort: 65535, client connected: 0, sip connected: 1",
                            "Parsed client registration. TAPI line name: A & B, permanentLineId: 0x00000ABC, "
                            "tcpPort: 0, client connected: 0, sip connected: 0"));
}

TEST_F(rs_tsp_client_events, long_name_is_cut_in_the_log_but_not_in_the_record) {
    const std::string name(600, 'n');
    Receive(Changed("registered", "<Registration tapiLineName='" + name + "' permanentLineId='17'/>"));
    EXPECT_THAT(Handler().Events(), ElementsAre("registered 17 " + name + " 0 0 0"));
    ASSERT_EQ(Logged().size(), 1u);
    const std::string beginning = "Parsed client registration. TAPI line name: ";
    EXPECT_EQ(Logged().at(0), beginning + std::string(511 - beginning.size(), 'n'));
}

TEST_F(rs_tsp_client_events, call_state) {
    Receive(
        Event("<CallState isCaller='true' callReason='486' clientCallId='c1' callState='Connected' "
              "permanentLineId='17'><Self phoneNumber='100' name='Alice'/>"
              "<Peer phoneNumber='200' name='Bob'/>"
              "<Forwarder phoneNumber='300' name='Carol' forwardType='Busy'/></CallState>"));
    EXPECT_THAT(Handler().Events(), ElementsAre("call state 17 c1 Connected"));
    ASSERT_EQ(Handler().CallStates().size(), 1u);
    const client_call_state state = Handler().CallStates().at(0);
    EXPECT_TRUE(state.isCaller);
    EXPECT_EQ(state.callReason, 486);
    EXPECT_EQ(state.selfPhoneNumber, L"100");
    EXPECT_EQ(state.selfName, L"Alice");
    EXPECT_EQ(state.peerPhoneNumber, L"200");
    EXPECT_EQ(state.peerName, L"Bob");
    EXPECT_EQ(state.forwarderPhoneNumber, L"300");
    EXPECT_EQ(state.forwarderName, L"Carol");
    EXPECT_EQ(state.forwardType, L"Busy");
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(rs_tsp_client_events, call_state_with_unknown_values_is_passed_on_as_it_is) {
    Receive(Event("<CallState clientCallId='?' callState='Dreaming' permanentLineId='-1'/>"));
    EXPECT_THAT(Handler().Events(), ElementsAre("call state -1 ? Dreaming"));
}

TEST_F(rs_tsp_client_events, call_state_without_a_call_id_has_an_empty_one) {
    Receive(Event("<CallState callState='Ringing'/>"));
    EXPECT_THAT(Handler().Events(), ElementsAre("call state 0  Ringing"));
}

TEST_F(rs_tsp_client_events, call_removed_has_the_call_id_exactly_as_received) {
    Receive(Event("<CallRemoved clientCallId='c\xFC\x81 1' permanentLineId='-2147483648'/>"));
    EXPECT_THAT(Handler().Events(), ElementsAre("call removed -2147483648 c\xFC\x81 1"));
}

TEST_F(rs_tsp_client_events, call_removed_without_a_call_id_has_an_empty_one) {
    Receive(Event("<CallRemoved permanentLineId='17'/>"));
    EXPECT_THAT(Handler().Events(), ElementsAre("call removed 17 "));
}

TEST_F(rs_tsp_client_events, number_of_an_event_is_ignored) {
    Receive("<msg><event id='7'><CallRemoved clientCallId='c1' permanentLineId='17'/></event></msg>");
    EXPECT_THAT(Handler().Events(), ElementsAre("call removed 17 c1"));
}

// Lists.

TEST_F(rs_tsp_client_events, list_with_number_zero_is_the_initial_one_and_is_logged) {
    Receive(Response("0", "<RegistrationList>" + std::string(kAlice) + "</RegistrationList>"));
    EXPECT_THAT(Handler().Events(), ElementsAre("initial list [17 Alice 5060 1 0]"));
    EXPECT_THAT(Logged(), ElementsAre(kAliceLogged, "Got initial line list"));
}

TEST_F(rs_tsp_client_events, list_with_another_number_is_a_later_one_and_is_not_logged) {
    for (const char* id : {"7", "1", "10000", "-1"}) {
        Receive(Response(id, "<RegistrationList/>"));
    }
    EXPECT_THAT(Handler().Events(), ElementsAre("list ", "list ", "list ", "list "));
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(rs_tsp_client_events, list_without_a_number_is_the_initial_one) {
    Receive("<msg><response><RegistrationList/></response></msg>");
    EXPECT_THAT(Handler().Events(), ElementsAre("initial list "));
    EXPECT_THAT(Logged(), ElementsAre("Got initial line list"));
}

TEST_F(rs_tsp_client_events, empty_list_is_delivered) {
    Receive(Response("0", "<RegistrationList></RegistrationList>"));
    EXPECT_THAT(Handler().Events(), ElementsAre("initial list "));
}

TEST_F(rs_tsp_client_events, list_keeps_the_order_of_the_message_and_skips_other_elements) {
    Receive(Response("7",
                     "<RegistrationList><Registration permanentLineId='3'/><Other permanentLineId='9'/>"
                     "<Registration permanentLineId='1'/>text<Registration permanentLineId='2'/>"
                     "<registration permanentLineId='8'/></RegistrationList>"));
    EXPECT_THAT(Handler().Events(), ElementsAre("list [3  0 0 0][1  0 0 0][2  0 0 0]"));
    EXPECT_EQ(Logged().size(), 3u);
}

TEST_F(rs_tsp_client_events, same_line_twice_is_not_the_clients_concern) {
    Receive(Response("7",
                     "<RegistrationList><Registration permanentLineId='1'/>"
                     "<Registration permanentLineId='1'/></RegistrationList>"));
    EXPECT_THAT(Handler().Events(), ElementsAre("list [1  0 0 0][1  0 0 0]"));
}

TEST_F(rs_tsp_client_events, answer_to_a_keep_alive_has_no_visible_effect) {
    for (const char* id : {"1", "0", "99", "-1", "x"}) {
        Receive(Response(id, "<KeepAlive/>"));
    }
    EXPECT_THAT(Handler().Events(), IsEmpty());
    EXPECT_THAT(Logged(), IsEmpty());
}

// What is ignored.

TEST_F(rs_tsp_client_events, everything_unknown_is_ignored_silently) {
    const std::string state = "<CallState clientCallId='c1' permanentLineId='17'/>";
    const std::string list = "<RegistrationList/>";
    const std::string ignored[] = {
        "<msg><request>" + state + "</request></msg>",           // another envelope
        "<msg><Event>" + state + "</Event></msg>",               // names are case-sensitive
        "<msg><events>" + state + "</events></msg>",             //
        "<msg><response id='1'>" + state + "</response></msg>",  // an event's payload in a response
        "<msg><event>" + list + "</event></msg>",                // a response's payload in an event
        "<msg><event><KeepAlive/></event></msg>",                //
        "<msg><event><callState/></event></msg>",                //
        "<msg><event><CallStates/></event></msg>",               //
        "<msg><response id='1'><Registrations/></response></msg>",
        "<msg><event/></msg>",                                // no payload
        "<msg><response id='0'>text</response></msg>",        //
        "<msg><event><Unknown/>" + state + "</event></msg>",  // only the first payload counts
        "<msg><note/><event>" + state + "</event></msg>",     // only the first envelope counts
    };
    for (const std::string& message : ignored) {
        Receive(message);
        EXPECT_THAT(Handler().Events(), IsEmpty()) << message;
    }
    EXPECT_THAT(log_.Lines(), IsEmpty());
    Receive(Event(state));
    EXPECT_THAT(Handler().Events(), ElementsAre("call state 17 c1 ")) << "and what follows is not disturbed";
}

TEST_F(rs_tsp_client_events, unknown_attributes_are_ignored) {
    Receive("<msg version='2'></msg>");
    Receive(
        "<msg><event colour='red'><CallRemoved size='3' clientCallId='c1' permanentLineId='17'/></event></msg>");
    EXPECT_THAT(Handler().Events(), ElementsAre("call removed 17 c1"));
}

TEST_F(rs_tsp_client_events, comments_before_the_payload_are_no_payload) {
    Receive(Event("<!-- note -->text<CallRemoved clientCallId='c1' permanentLineId='17'/>"));
    EXPECT_THAT(Handler().Events(), ElementsAre("call removed 17 c1"));
}

TEST_F(rs_tsp_client_events, handler_that_throws_loses_only_its_own_event) {
    Handler().on_event = [](const std::string&) { throw std::runtime_error("cannot handle this"); };
    EXPECT_NO_THROW(Receive(Changed("registered") + Changed("refreshed") + Changed("unregistered") +
                            Event("<CallState permanentLineId='1'/>") +
                            Event("<CallRemoved permanentLineId='1'/>") +
                            Response("0", "<RegistrationList/>") + Response("7", "<RegistrationList/>")));
    EXPECT_EQ(Handler().Events().size(), 7u);
    Handler().on_event = nullptr;
    Receive(Event("<CallRemoved permanentLineId='2'/>"));
    EXPECT_EQ(Last(Handler().Events()), "call removed 2 ");
}

TEST_F(rs_tsp_client_events, every_event_comes_on_the_reader_thread) {
    server_connection service = StartConnected();
    service.Send(Changed("registered") + Event("<CallState permanentLineId='1'/>"));
    (void)Handler().WaitForEvents(2);
    service.Send(Event("<CallRemoved permanentLineId='1'/>") + Response("0", "<RegistrationList/>"));
    EXPECT_EQ(Handler().WaitForEvents(4).size(), 4u);
    ASSERT_EQ(Handler().Threads().size(), 1u);
    EXPECT_NE(Handler().Threads().at(0), std::this_thread::get_id());
}

TEST_F(rs_tsp_client_events, handler_may_send_a_request) {
    server_connection service = StartConnected();
    Handler().on_event = [this](const std::string&) { EXPECT_TRUE(Send(kHangupCall, 17, "c1")); };
    service.Send(Event("<CallState clientCallId='c1' permanentLineId='17'/>"));
    EXPECT_EQ(service.ReceiveThrough("</msg>"),
              "<msg><request><hangupCall permanentLineId='17' clientCallId='c1'/></request></msg>");
}

}  // namespace
}  // namespace brivelnox::test
