// The texts that the service sends.

#include "tools/service_simulator/service_messages.h"

#include <gtest/gtest.h>

namespace brivelnox::test {
namespace {

using simulator::call_state_event;
using simulator::CallRemovedEvent;
using simulator::CallStateEvent;
using simulator::ChangeName;
using simulator::forwarder;
using simulator::KeepAliveResponse;
using simulator::party;
using simulator::registration_change;
using simulator::RegistrationChangedEvent;
using simulator::RegistrationListResponse;
using simulator::XmlEscape;

TEST(service_messages, escapes_what_would_end_an_attribute) {
    EXPECT_EQ(XmlEscape("a&b<c>d'e\"f\xFC"), "a&amp;b&lt;c&gt;d&apos;e&quot;f\xFC");
    EXPECT_EQ(XmlEscape(""), "");
}

TEST(service_messages, writes_a_registration_list) {
    EXPECT_EQ(RegistrationListResponse(0, {{-5, "O'Hara", 5070, true, false}, {6, "", 0, false, true}}),
              "<msg><response id='0'><RegistrationList>"
              "<Registration tapiLineName='O&apos;Hara' permanentLineId='-5' tcpPort='5070' "
              "clientConnected='true' sipConnected='false'/>"
              "<Registration tapiLineName='' permanentLineId='6' tcpPort='0' "
              "clientConnected='false' sipConnected='true'/>"
              "</RegistrationList></response></msg>");
}

TEST(service_messages, writes_an_empty_registration_list) {
    EXPECT_EQ(RegistrationListResponse(12, {}),
              "<msg><response id='12'><RegistrationList></RegistrationList></response></msg>");
}

TEST(service_messages, writes_a_keep_alive_answer) {
    EXPECT_EQ(KeepAliveResponse(3), "<msg><response id='3'><KeepAlive/></response></msg>");
}

TEST(service_messages, writes_a_registration_change) {
    EXPECT_EQ(RegistrationChangedEvent(registration_change::kUnregistered, {1, "A", 1, true, true}),
              "<msg><event><RegistrationChanged reason='unregistered'>"
              "<Registration tapiLineName='A' permanentLineId='1' tcpPort='1' "
              "clientConnected='true' sipConnected='true'/></RegistrationChanged></event></msg>");
    EXPECT_EQ(ChangeName(registration_change::kRegistered), "registered");
    EXPECT_EQ(ChangeName(registration_change::kRefreshed), "refreshed");
}

TEST(service_messages, writes_a_call_state_with_the_participants_that_it_has) {
    call_state_event event;
    event.permanent_line_id = 9;
    event.client_call_id = "c<1>";
    event.call_state = "Ringing";
    event.call_reason = 486;
    EXPECT_EQ(CallStateEvent(event),
              "<msg><event><CallState isCaller='false' callReason='486' clientCallId='c&lt;1&gt;' "
              "callState='Ringing' permanentLineId='9'></CallState></event></msg>");
    event.is_caller = true;
    event.self = party{"9", "Nine"};
    event.peer = party{"10", "Ten"};
    event.forwarded_by = forwarder{{"11", "Eleven"}, "CFU"};
    EXPECT_EQ(CallStateEvent(event),
              "<msg><event><CallState isCaller='true' callReason='486' clientCallId='c&lt;1&gt;' "
              "callState='Ringing' permanentLineId='9'><Self phoneNumber='9' name='Nine'/>"
              "<Peer phoneNumber='10' name='Ten'/><Forwarder phoneNumber='11' name='Eleven' "
              "forwardType='CFU'/></CallState></event></msg>");
}

TEST(service_messages, writes_a_call_removal) {
    EXPECT_EQ(CallRemovedEvent(2, "c"),
              "<msg><event><CallRemoved clientCallId='c' permanentLineId='2'/></event></msg>");
}

}  // namespace
}  // namespace brivelnox::test
