// What the demonstration makes of events and wire lines for a reader.

#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/demonstration/merged_print.h"
#include "tools/demonstration/wire_text.h"

namespace brivelnox::test {
namespace {

using namespace std::chrono_literals;
using demonstration::ColumnHeading;
using demonstration::merged_print;
using demonstration::print_column;
using demonstration::WireText;
using demonstration::WrapText;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

TEST(wrap_text, breaks_at_blanks_and_behind_bars) {
    EXPECT_THAT(WrapText("one two three", 7), ElementsAre("one two", "three"));
    EXPECT_THAT(WrapText("one two three", 8), ElementsAre("one two", "three"));
    EXPECT_THAT(WrapText("ALPHA|BETA|GAMMA", 12), ElementsAre("ALPHA|BETA|", "GAMMA"));
    EXPECT_THAT(WrapText("abcdefgh", 3), ElementsAre("abc", "def", "gh"));
    EXPECT_THAT(WrapText("", 3), ElementsAre(""));
}

TEST(wrap_text, counts_characters_not_bytes) {
    EXPECT_THAT(WrapText("\xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC", 3),
                ElementsAre("\xC3\xBC\xC3\xBC\xC3\xBC", "\xC3\xBC"));
}

class merged_printing : public testing::Test {
  protected:
    std::vector<std::string> Lines() {
        const std::lock_guard lock(mutex_);
        return lines_;
    }

    std::mutex mutex_;
    std::vector<std::string> lines_;
    merged_print::clock::time_point start_ = merged_print::clock::now();
    merged_print print_{start_, [this](const std::string& line) {
                            const std::lock_guard lock(mutex_);
                            lines_.push_back(line);
                        }};
};

TEST_F(merged_printing, orders_by_time_whatever_the_order_of_arrival) {
    const auto later = merged_print::clock::now() + 2ms;
    print_.Add(print_column::kTapi, later, "second");
    print_.Add(print_column::kWire, later - 1ms, "first");
    print_.Flush();
    ASSERT_THAT(Lines(), SizeIs(2));
    EXPECT_THAT(Lines().at(0), HasSubstr("first"));
    EXPECT_THAT(Lines().at(1), HasSubstr("second"));
}

TEST_F(merged_printing, puts_each_text_into_its_column) {
    print_.Add(print_column::kApplication, start_ + 1500ms, "asked");
    print_.Add(print_column::kWire, start_ + 1501ms, "sent");
    print_.Add(print_column::kTapi, start_ + 1502ms, "told");
    print_.Flush();
    const std::vector<std::string> heading = ColumnHeading();
    ASSERT_THAT(Lines(), SizeIs(3));
    EXPECT_THAT(Lines().at(0), StartsWith("   1.500 | asked"));
    EXPECT_EQ(Lines().at(0).find("asked"), heading.at(0).find("application"));
    EXPECT_EQ(Lines().at(1).find("sent"), heading.at(0).find("wire"));
    EXPECT_EQ(Lines().at(2).find("told"), heading.at(0).find("TAPI"));
}

TEST_F(merged_printing, wraps_within_the_column) {
    print_.Add(print_column::kTapi, start_, std::string(40, 'a') + " " + std::string(40, 'b'));
    print_.Flush();
    ASSERT_THAT(Lines(), SizeIs(2));
    EXPECT_EQ(Lines().at(1).find('b'), Lines().at(0).find('a') + 2);
}

TEST_F(merged_printing, holds_lines_back_for_a_moment_and_then_prints_them_by_itself) {
    print_.Add(print_column::kWire, merged_print::clock::now(), "alone");
    const auto deadline = merged_print::clock::now() + 10s;
    while (Lines().empty() && merged_print::clock::now() < deadline) {
        std::this_thread::yield();
    }
    EXPECT_THAT(Lines(), SizeIs(1));
    EXPECT_GE(merged_print::clock::now() - start_, merged_print::kHold);
}

TEST(merged_print_end, prints_what_is_left) {
    std::vector<std::string> lines;
    {
        merged_print print(merged_print::clock::now(),
                           [&](const std::string& line) { lines.push_back(line); });
        print.AddLine("last");
    }
    EXPECT_THAT(lines, ElementsAre("last"));
}

TEST(wire_text, shows_requests_in_short) {
    EXPECT_EQ(WireText("<msg><request id='3'><KeepAlive/></request></msg>"), "KeepAlive id=3");
    EXPECT_EQ(WireText("<msg><request><placeCall permanentLineId='7' phoneNumber='200' "
                       "requestedClientCallId='4d7928c7-0000-4000-8000-000000000000'/></request></msg>"),
              "placeCall line=7 call=4d7928c7.. number=200");
    EXPECT_EQ(
        WireText(
            "<msg><request><playDtmf permanentLineId='7' clientCallId='c1' digits='1 2'/></request></msg>"),
        "playDtmf line=7 call=c1 digits=\"1 2\"");
}

TEST(wire_text, shows_events_in_short) {
    EXPECT_EQ(
        WireText(
            "<msg><event><CallState isCaller='true' callReason='0' clientCallId='c1' callState='Ringback' "
            "permanentLineId='7'><Self phoneNumber='7' name='Seven'/><Peer phoneNumber='200' "
            "name='O&apos;Hara &amp; S\xF6hne'/></CallState></event></msg>"),
        "CallState Ringback line=7 call=c1 caller=true Self(7) Peer(200 \"O'Hara & S\xC3\xB6hne\")");
    EXPECT_EQ(WireText("<msg><event><CallRemoved clientCallId='c1' permanentLineId='7'/></event></msg>"),
              "CallRemoved line=7 call=c1");
}

TEST(wire_text, shows_responses_with_their_id_and_lists) {
    EXPECT_EQ(
        WireText(
            "<msg><response id='0'><RegistrationList><Registration tapiLineName='A B' permanentLineId='7' "
            "tcpPort='5070' clientConnected='true' sipConnected='false'/></RegistrationList></response>"
            "</msg>"),
        "RegistrationList id=0 Registration(\"A B\" line=7 port=5070 client=true sip=false)");
}

TEST(wire_text, shows_what_is_no_message_as_it_is) {
    EXPECT_EQ(WireText("noise\r\n"), "noise\\x0D\\x0A");
    EXPECT_EQ(WireText("<msg></msg>"), "<msg></msg>");
    EXPECT_EQ(WireText("<msg><event><CallState isCaller=1></event></msg>"),
              "<msg><event><CallState isCaller=1></event></msg>");
    EXPECT_EQ(WireText("<msg><request><playDtmf permanentLineId='7' clientCallId='c1' "
                       "digits='it's \xFC'/></request></msg>"),
              "<msg><request><playDtmf permanentLineId='7' clientCallId='c1' "
              "digits='it's \\xFC'/></request></msg>");
    EXPECT_EQ(WireText("<msg><request id='3'><KeepAlive/></request></msg><msg/>"),
              "<msg><request id='3'><KeepAlive/></request></msg><msg/>");
    EXPECT_EQ(WireText("<msg>words<request id='3'><KeepAlive/></request></msg>"),
              "<msg>words<request id='3'><KeepAlive/></request></msg>");
    EXPECT_EQ(WireText(std::string(300, 'x')), std::string(200, 'x') + "...");
}

}  // namespace
}  // namespace brivelnox::test
