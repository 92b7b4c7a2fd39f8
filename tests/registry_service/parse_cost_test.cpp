// Which messages the XML library would take too long for.

#include "registry_service/parse_cost.h"

#include <cstddef>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/repeated_text.h"

namespace brivelnox::test {
namespace {

std::string Attributes(std::size_t count) {
    std::string attributes;
    for (std::size_t number = 0; number < count; ++number) {
        attributes += " a" + std::to_string(number) + "='x'";
    }
    return attributes;
}

std::string Message(const std::string& content) {
    return "<msg>" + content + "</msg>";
}

/// A list of so many softphones that all have the same name.
std::string List(const std::string& name, std::size_t softphones) {
    return Message("<response id='0'><RegistrationList>" +
                   Repeated("<Registration tapiLineName='" + name +
                                "' permanentLineId='17' tcpPort='5060' clientConnected='true' "
                                "sipConnected='true'/>",
                            softphones) +
                   "</RegistrationList></response>");
}

const std::string kTooManyReferences = Repeated("&#", 1000);
const std::string kTooManyAttributes = Attributes(65);

TEST(parse_cost, of_the_services_messages_is_linear) {
    for (const char* const content :
         {"", "<response id='7'><KeepAlive/></response>",
          "<event><CallRemoved clientCallId='c1' permanentLineId='17'/></event>",
          "<event><CallState isCaller='true' callReason='486' clientCallId='c1' callState='Ringing' "
          "permanentLineId='17'><Self phoneNumber='100' name='A'/><Peer phoneNumber='200' name='B'/>"
          "</CallState></event>"}) {
        EXPECT_TRUE(IsParsedInLinearTime(Message(content))) << content;
    }
    EXPECT_TRUE(IsParsedInLinearTime(List("Softphone number 40000", 40000)));
}

TEST(parse_cost, of_references_that_stand_for_themselves_is_linear) {
    for (const char* const name : {"&#", "R&#D", "R&#D; and more", "&#&#&#", "&#228;", "&#x4e2d;",
                                   "&#228;&#228;&#", "&amp;#", "&#x"}) {
        EXPECT_TRUE(IsParsedInLinearTime(List(name, 1))) << name;
        EXPECT_TRUE(IsParsedInLinearTime(List(name, 40000))) << name;
    }
}

TEST(parse_cost, of_references_with_their_ends_is_linear) {
    for (const char* const name : {"&#228;", "&#x4e2d;", "&#;", "a&#228;b", "&lt;&#60;"}) {
        EXPECT_TRUE(IsParsedInLinearTime(List(Repeated(name, 100000), 1))) << name;
    }
}

TEST(parse_cost, of_a_value_full_of_references_without_an_end_is_not_linear) {
    for (const char* const beginning : {"&#", "&#x", "&#1", "&# ", "&#>", "&#<", "&#\"", "&&#"}) {
        EXPECT_FALSE(IsParsedInLinearTime(List(Repeated(beginning, 1000), 1))) << beginning;
        EXPECT_FALSE(IsParsedInLinearTime(List(Repeated(beginning, 1000) + "a;", 1))) << beginning;
    }
}

TEST(parse_cost, counts_values_in_either_quotes_and_texts) {
    EXPECT_FALSE(IsParsedInLinearTime(Message("<a b='" + kTooManyReferences + "'/>")));
    EXPECT_FALSE(IsParsedInLinearTime(Message("<a b=\"" + kTooManyReferences + "\"/>")));
    EXPECT_FALSE(IsParsedInLinearTime(Message("<a b='\"' c='" + kTooManyReferences + "'/>")));
    EXPECT_FALSE(IsParsedInLinearTime(Message("<a b=\"'\" c=\"" + kTooManyReferences + "\"/>")));
    EXPECT_FALSE(IsParsedInLinearTime(Message(kTooManyReferences)));
    EXPECT_FALSE(IsParsedInLinearTime(Message("<a></a>it's" + kTooManyReferences)));
    EXPECT_FALSE(IsParsedInLinearTime(Message("<a></a b='" + kTooManyReferences + "'>")));
}

TEST(parse_cost, ends_a_search_with_its_value) {
    // As many beginnings, a few in each value.
    EXPECT_TRUE(IsParsedInLinearTime(Message(Repeated("<a b='&#&#' c=\"&#\"/>&#", 1000))));
    EXPECT_TRUE(IsParsedInLinearTime(Message(Repeated("<a b='&#>&#<'/>", 1000))));
}

TEST(parse_cost, grows_with_the_message_that_the_references_stand_in) {
    const std::string value(1000, 'x');
    EXPECT_FALSE(IsParsedInLinearTime(List(kTooManyReferences, 1)));
    EXPECT_TRUE(IsParsedInLinearTime(List(kTooManyReferences, 1) + List(value, 20)));
}

TEST(parse_cost, counts_the_attributes_of_each_element) {
    EXPECT_TRUE(IsParsedInLinearTime(Message("<a" + Attributes(64) + "/>")));
    EXPECT_FALSE(IsParsedInLinearTime(Message("<a" + kTooManyAttributes + "/>")));
    EXPECT_FALSE(IsParsedInLinearTime(Message("<a></a" + kTooManyAttributes + ">")));
    EXPECT_FALSE(IsParsedInLinearTime(Message("< a" + kTooManyAttributes + ">")));
    EXPECT_FALSE(IsParsedInLinearTime(Message("<a b='>'" + kTooManyAttributes + "/>")));
    EXPECT_TRUE(IsParsedInLinearTime(Message(Repeated("<a" + Attributes(40) + "/>", 100))));
    EXPECT_TRUE(IsParsedInLinearTime(Message("text" + kTooManyAttributes)));
}

TEST(parse_cost, finds_what_stands_behind_a_part_that_stands_for_itself) {
    for (const char* const part : {"<!-- ' -->", "<!-- \" > <a b=' -->", "<!-->-->", "<!--->-->",
                                   "<![CDATA[']]>", "<![CDATA[ ]> ' ]]>", "<![CDATA[]]]>", "<?x '?>",
                                   "<? > ' ?>", "<!DOCTYPE ' >", "<!>", "<!->", "<![CDATA>"}) {
        EXPECT_FALSE(IsParsedInLinearTime(Message(part + ("<a" + kTooManyAttributes + "/>")))) << part;
        EXPECT_FALSE(IsParsedInLinearTime(Message(part + ("<a b='" + kTooManyReferences + "'/>")))) << part;
    }
}

TEST(parse_cost, of_what_stands_for_itself_is_linear) {
    for (const std::string& content : {kTooManyReferences, "<a" + kTooManyAttributes + "/"}) {
        EXPECT_TRUE(IsParsedInLinearTime(Message("<!--" + content + "-->")));
        EXPECT_TRUE(IsParsedInLinearTime(Message("<![CDATA[" + content + "]]>")));
        EXPECT_TRUE(IsParsedInLinearTime(Message("<?" + content + "?>")));
        EXPECT_TRUE(IsParsedInLinearTime(Message("<!" + content + ">")));
    }
}

TEST(parse_cost, of_a_message_that_is_cut_anywhere_has_an_answer) {
    const std::string message =
        Message("<?x?><!--x--><![CDATA[x]]><!x><a b='&#' c=\"&#;\">&#x<a/></a>") + std::string(1, '\0');
    for (std::size_t length = 0; length <= message.size(); ++length) {
        EXPECT_TRUE(IsParsedInLinearTime(std::string_view(message).substr(0, length))) << length;
    }
}

}  // namespace
}  // namespace brivelnox::test
