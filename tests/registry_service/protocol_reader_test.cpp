// What is read out of received elements.

#include "registry_service/protocol_reader.h"

#include <windows.h>

#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <tinyxml2.h>

namespace brivelnox::test {
namespace {

/// A received element, parsed as the link parses it.
class parsed {
  public:
    explicit parsed(const std::string& text) {
        EXPECT_EQ(document_.Parse(text.data(), text.size()), tinyxml2::XML_SUCCESS) << text;
    }
    const tinyxml2::XMLElement& operator*() const { return *document_.RootElement(); }

  private:
    tinyxml2::XMLDocument document_{true, tinyxml2::PRESERVE_WHITESPACE};
};

std::int32_t Integer(const std::string& value) {
    return IntegerAttribute(*parsed("<E a='" + value + "'/>"), "a");
}

bool Boolean(const std::string& value) {
    return BooleanAttribute(*parsed("<E a='" + value + "'/>"), "a");
}

TEST(protocol_text, is_handed_out_as_received) {
    EXPECT_STREQ(TextAttribute(*parsed("<E a='abc' b=\"d'e\"/>"), "a"), "abc");
    EXPECT_STREQ(TextAttribute(*parsed("<E a='abc' b=\"d'e\"/>"), "b"), "d'e");
}

TEST(protocol_text, is_empty_when_absent) {
    EXPECT_STREQ(TextAttribute(*parsed("<E b='x'/>"), "a"), "");
}

TEST(protocol_text, attribute_names_are_case_sensitive) {
    EXPECT_STREQ(TextAttribute(*parsed("<E A='x'/>"), "a"), "");
}

TEST(protocol_text, predefined_entities_are_decoded) {
    EXPECT_STREQ(TextAttribute(*parsed("<E a='&lt;&gt;&amp;&quot;&apos;'/>"), "a"), "<>&\"'");
}

TEST(protocol_text, numeric_character_references_are_decoded) {
    EXPECT_STREQ(TextAttribute(*parsed("<E a='&#65;&#x42;c'/>"), "a"), "ABc");
}

TEST(protocol_text, blanks_are_kept) {
    EXPECT_STREQ(TextAttribute(*parsed("<E a='  b  c '/>"), "a"), "  b  c ");
}

TEST(protocol_integer, is_read_as_decimal) {
    EXPECT_EQ(Integer("0"), 0);
    EXPECT_EQ(Integer("17"), 17);
    EXPECT_EQ(Integer("-17"), -17);
    EXPECT_EQ(Integer("0017"), 17);
}

TEST(protocol_integer, hexadecimal_is_not_understood) {
    EXPECT_EQ(Integer("0x10"), 0);
}

TEST(protocol_integer, whole_range_of_32_bits_is_read) {
    EXPECT_EQ(Integer("2147483647"), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(Integer("-2147483648"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(static_cast<std::uint32_t>(Integer("-2147483648")), 0x80000000u);
}

TEST(protocol_integer, number_that_32_bits_cannot_hold_is_zero) {
    EXPECT_EQ(Integer("2147483648"), 0);
    EXPECT_EQ(Integer("-2147483649"), 0);
    EXPECT_EQ(Integer("99999999999999999999999999"), 0);
}

TEST(protocol_integer, leading_blanks_are_skipped) {
    EXPECT_EQ(Integer("  17"), 17);
    EXPECT_EQ(Integer(" -17"), -17);
}

TEST(protocol_integer, characters_behind_the_digits_are_ignored) {
    EXPECT_EQ(Integer("17abc"), 17);
    EXPECT_EQ(Integer("17 18"), 17);
    EXPECT_EQ(Integer("1.9"), 1);
}

TEST(protocol_integer, is_zero_when_unreadable_or_absent) {
    EXPECT_EQ(Integer(""), 0);
    EXPECT_EQ(Integer("abc"), 0);
    EXPECT_EQ(Integer("-"), 0);
    EXPECT_EQ(Integer("- 5"), 0);
    EXPECT_EQ(IntegerAttribute(*parsed("<E/>"), "a"), 0);
}

TEST(protocol_boolean, number_is_true_when_it_is_not_zero) {
    EXPECT_TRUE(Boolean("1"));
    EXPECT_TRUE(Boolean("2"));
    EXPECT_TRUE(Boolean("-1"));
    EXPECT_TRUE(Boolean(" 1"));
    EXPECT_FALSE(Boolean("0"));
    EXPECT_FALSE(Boolean("00"));
}

TEST(protocol_boolean, true_and_false_are_understood_in_any_letter_case) {
    for (const char* text : {"true", "TRUE", "True", "tRuE"}) {
        EXPECT_TRUE(Boolean(text)) << text;
    }
    for (const char* text : {"false", "FALSE", "False", "fAlSe"}) {
        EXPECT_FALSE(Boolean(text)) << text;
    }
}

TEST(protocol_boolean, anything_else_is_false) {
    for (const char* text : {"", "yes", "on", "t", "tru", "truex", "y"}) {
        EXPECT_FALSE(Boolean(text)) << text;
    }
}

TEST(protocol_boolean, is_false_when_absent) {
    EXPECT_FALSE(BooleanAttribute(*parsed("<E/>"), "a"));
}

TEST(protocol_registration, has_every_attribute) {
    const client_registration registration =
        ReadRegistration(*parsed("<Registration tapiLineName='Alice' permanentLineId='17' tcpPort='5060' "
                                 "clientConnected='true' sipConnected='1'/>"));
    EXPECT_EQ(registration.tapiLineName, L"Alice");
    EXPECT_EQ(registration.permanentLineId, 17);
    EXPECT_EQ(registration.tcpPort, 5060u);
    EXPECT_TRUE(registration.clientConnected);
    EXPECT_TRUE(registration.sipConnected);
}

TEST(protocol_registration, absent_attributes_have_defaults) {
    const client_registration registration = ReadRegistration(*parsed("<Registration/>"));
    EXPECT_EQ(registration.tapiLineName, L"");
    EXPECT_EQ(registration.permanentLineId, 0);
    EXPECT_EQ(registration.tcpPort, 0u);
    EXPECT_FALSE(registration.clientConnected);
    EXPECT_FALSE(registration.sipConnected);
}

TEST(protocol_registration, flags_are_read_each_for_itself) {
    const client_registration client =
        ReadRegistration(*parsed("<Registration clientConnected='true' sipConnected='false'/>"));
    EXPECT_TRUE(client.clientConnected);
    EXPECT_FALSE(client.sipConnected);
    const client_registration sip =
        ReadRegistration(*parsed("<Registration clientConnected='0' sipConnected='TRUE'/>"));
    EXPECT_FALSE(sip.clientConnected);
    EXPECT_TRUE(sip.sipConnected);
}

TEST(protocol_registration, line_id_with_the_top_bit_set_is_read_back) {
    EXPECT_EQ(ReadRegistration(*parsed("<Registration permanentLineId='-2147483648'/>")).permanentLineId,
              std::numeric_limits<std::int32_t>::min());
}

TEST(protocol_registration, name_is_in_the_ansi_code_page) {
    if (GetACP() != 1252) {
        GTEST_SKIP() << "the ANSI code page is " << GetACP();
    }
    EXPECT_EQ(ReadRegistration(*parsed("<Registration tapiLineName='M\xFCller'/>")).tapiLineName,
              L"M\u00FCller");
}

TEST(protocol_call_state, has_every_attribute_and_party) {
    const client_call_state state = ReadCallState(
        *parsed("<CallState isCaller='true' callReason='-3' clientCallId='c1' callState='Connected' "
                "permanentLineId='17'><Self phoneNumber='100' name='Alice'/><Peer phoneNumber='200' "
                "name='Bob'/><Forwarder phoneNumber='300' name='Carol' forwardType='Busy'/></CallState>"));
    EXPECT_TRUE(state.isCaller);
    EXPECT_EQ(state.callReason, -3);
    EXPECT_EQ(state.clientCallId, L"c1");
    EXPECT_EQ(state.callState, L"Connected");
    EXPECT_EQ(state.selfPhoneNumber, L"100");
    EXPECT_EQ(state.selfName, L"Alice");
    EXPECT_EQ(state.peerPhoneNumber, L"200");
    EXPECT_EQ(state.peerName, L"Bob");
    EXPECT_EQ(state.forwarderPhoneNumber, L"300");
    EXPECT_EQ(state.forwarderName, L"Carol");
    EXPECT_EQ(state.forwardType, L"Busy");
}

void ExpectNoParties(const client_call_state& state) {
    EXPECT_EQ(state.selfPhoneNumber, L"");
    EXPECT_EQ(state.selfName, L"");
    EXPECT_EQ(state.peerPhoneNumber, L"");
    EXPECT_EQ(state.peerName, L"");
    EXPECT_EQ(state.forwarderPhoneNumber, L"");
    EXPECT_EQ(state.forwarderName, L"");
    EXPECT_EQ(state.forwardType, L"");
}

TEST(protocol_call_state, without_parties_all_seven_texts_are_empty) {
    const client_call_state state =
        ReadCallState(*parsed("<CallState clientCallId='c1' callState='Ringing' permanentLineId='17'/>"));
    EXPECT_EQ(state.clientCallId, L"c1");
    ExpectNoParties(state);
}

TEST(protocol_call_state, absent_attributes_have_defaults) {
    const client_call_state state =
        ReadCallState(*parsed("<CallState><Self/><Peer/><Forwarder/></CallState>"));
    EXPECT_FALSE(state.isCaller);
    EXPECT_EQ(state.callReason, 0);
    EXPECT_EQ(state.clientCallId, L"");
    EXPECT_EQ(state.callState, L"");
    ExpectNoParties(state);
}

TEST(protocol_call_state, parties_are_read_each_for_itself) {
    const client_call_state state = ReadCallState(*parsed("<CallState><Peer name='Bob'/></CallState>"));
    EXPECT_EQ(state.peerName, L"Bob");
    EXPECT_EQ(state.peerPhoneNumber, L"");
    EXPECT_EQ(state.selfName, L"");
    EXPECT_EQ(state.forwarderName, L"");
}

TEST(protocol_call_state, only_the_first_child_of_each_name_counts) {
    const client_call_state state = ReadCallState(
        *parsed("<CallState><Other name='no'/><Peer name='first'/><Peer name='second' phoneNumber='2'/>"
                "<Self name='me'/><Self name='not me'/><Forwarder forwardType='a'/>"
                "<Forwarder forwardType='b'/></CallState>"));
    EXPECT_EQ(state.peerName, L"first");
    EXPECT_EQ(state.peerPhoneNumber, L"");
    EXPECT_EQ(state.selfName, L"me");
    EXPECT_EQ(state.forwardType, L"a");
}

TEST(protocol_call_state, parties_are_found_among_blanks) {
    const client_call_state state =
        ReadCallState(*parsed("<CallState>\r\n  <Self phoneNumber='100'/>\r\n</CallState>"));
    EXPECT_EQ(state.selfPhoneNumber, L"100");
}

TEST(protocol_call_state, unknown_attributes_are_ignored) {
    const client_call_state state =
        ReadCallState(*parsed("<CallState colour='red' forwardType='Busy' name='x' callState='Held'/>"));
    EXPECT_EQ(state.callState, L"Held");
    ExpectNoParties(state);
}

TEST(protocol_call_state, texts_are_in_the_ansi_code_page_with_entities_decoded) {
    if (GetACP() != 1252) {
        GTEST_SKIP() << "the ANSI code page is " << GetACP();
    }
    const client_call_state state = ReadCallState(
        *parsed("<CallState clientCallId='\xE4'><Peer name='M\xFCller &amp; S\xF6hne'/></CallState>"));
    EXPECT_EQ(state.clientCallId, L"\u00E4");
    EXPECT_EQ(state.peerName, L"M\u00FCller & S\u00F6hne");
}

}  // namespace
}  // namespace brivelnox::test
