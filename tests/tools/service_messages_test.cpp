// The texts that the service sends.

#include "tools/service_simulator/service_messages.h"

#include <gtest/gtest.h>

namespace brivelnox::simulator {
namespace {

TEST(ServiceMessages, EscapesWhatWouldEndAnAttribute) {
    EXPECT_EQ(XmlEscape("a&b<c>d'e\"f\xFC"), "a&amp;b&lt;c&gt;d&apos;e&quot;f\xFC");
    EXPECT_EQ(XmlEscape(""), "");
}

TEST(ServiceMessages, WritesARegistrationList) {
    EXPECT_EQ(RegistrationListResponse(0, {{-5, "O'Hara", 5070, true, false}, {6, "", 0, false, true}}),
              "<msg><response id='0'><RegistrationList>"
              "<Registration tapiLineName='O&apos;Hara' permanentLineId='-5' tcpPort='5070' "
              "clientConnected='true' sipConnected='false'/>"
              "<Registration tapiLineName='' permanentLineId='6' tcpPort='0' "
              "clientConnected='false' sipConnected='true'/>"
              "</RegistrationList></response></msg>");
}

TEST(ServiceMessages, WritesAnEmptyRegistrationList) {
    EXPECT_EQ(RegistrationListResponse(12, {}),
              "<msg><response id='12'><RegistrationList></RegistrationList></response></msg>");
}

TEST(ServiceMessages, WritesAKeepAliveAnswer) {
    EXPECT_EQ(KeepAliveResponse(3), "<msg><response id='3'><KeepAlive/></response></msg>");
}

TEST(ServiceMessages, WritesARegistrationChange) {
    EXPECT_EQ(RegistrationChangedEvent(registration_change::kUnregistered, {1, "A", 1, true, true}),
              "<msg><event><RegistrationChanged reason='unregistered'>"
              "<Registration tapiLineName='A' permanentLineId='1' tcpPort='1' "
              "clientConnected='true' sipConnected='true'/></RegistrationChanged></event></msg>");
    EXPECT_EQ(ChangeName(registration_change::kRegistered), "registered");
    EXPECT_EQ(ChangeName(registration_change::kRefreshed), "refreshed");
}

TEST(ServiceMessages, WritesACallStateWithTheParticipantsThatItHas) {
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

TEST(ServiceMessages, WritesACallRemoval) {
    EXPECT_EQ(CallRemovedEvent(2, "c"),
              "<msg><event><CallRemoved clientCallId='c' permanentLineId='2'/></event></msg>");
}

}  // namespace
}  // namespace brivelnox::simulator
