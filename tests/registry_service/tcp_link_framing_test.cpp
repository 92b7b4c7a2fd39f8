// What the link makes of the bytes it is fed, without any connection.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "registry_service/receive_buffer.h"
#include "tests/registry_service/test_link_helper.h"
#include "tests/support/process_log.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kChunk = 1047;

void Feed(tcp_link& link, std::string_view bytes) {
    link.Feed(bytes.data(), bytes.size());
}

class tcp_link_framing : public testing::Test {
  protected:
    void Feed(std::string_view bytes) { test::Feed(*link_, bytes); }
    [[nodiscard]] std::vector<std::string> Messages() const { return link_->Messages(); }
    /// What the link has logged since the test began.
    [[nodiscard]] std::vector<std::string> Logged() const { return log_.Texts("TcpLink"); }

    log_reader log_ = StartProcessLog();
    std::shared_ptr<test_link> link_ = test_link::Make();
};

TEST_F(tcp_link_framing, message_is_delivered_with_its_first_child_element) {
    Feed("<msg><event><X/></event></msg>");
    Feed("<msg>text <response/> <event/></msg>");
    EXPECT_THAT(Messages(), ElementsAre("event", "response"));
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(tcp_link_framing, three_messages_in_one_chunk_are_delivered_in_order) {
    Feed(Message("a") + Message("b") + Message("c"));
    EXPECT_THAT(Messages(), ElementsAre("a", "b", "c"));
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(tcp_link_framing, message_is_delivered_once_when_its_end_has_come) {
    Feed("<msg><ev");
    Feed("ent><X");
    EXPECT_THAT(Messages(), IsEmpty());
    Feed("/></event></msg>");
    EXPECT_THAT(Messages(), ElementsAre("event"));
}

TEST_F(tcp_link_framing, stream_may_be_split_at_every_position) {
    const std::string stream = Message("a") + Message("b") + Message("c");
    for (std::size_t split = 0; split <= stream.size(); ++split) {
        link_ = test_link::Make();
        Feed(stream.substr(0, split));
        Feed(stream.substr(split));
        EXPECT_THAT(Messages(), ElementsAre("a", "b", "c")) << split;
    }
}

TEST_F(tcp_link_framing, stream_may_come_byte_by_byte) {
    for (const char byte : Message("a") + Message("b")) {
        Feed(std::string_view(&byte, 1));
    }
    EXPECT_THAT(Messages(), ElementsAre("a", "b"));
}

TEST_F(tcp_link_framing, start_tag_cut_behind_a_complete_message_loses_nothing) {
    Feed(Message("a") + "<ms");
    Feed("g><b/></msg>");
    EXPECT_THAT(Messages(), ElementsAre("a", "b"));
}

TEST_F(tcp_link_framing, bytes_without_a_start_tag_are_logged_and_dropped) {
    Feed("no message at all</msg>");
    EXPECT_THAT(Logged(), ElementsAre("No start tag"));
    Feed("neither</msg>");
    EXPECT_THAT(Logged(), ElementsAre("No start tag", "No start tag"));
    Feed(Message("a"));
    EXPECT_THAT(Messages(), ElementsAre("a"));
    EXPECT_THAT(Logged(), ElementsAre("No start tag", "No start tag"));
}

TEST_F(tcp_link_framing, start_tag_with_attributes_is_none) {
    Feed("<msg id='1'><a/></msg>");
    EXPECT_THAT(Messages(), IsEmpty());
    EXPECT_THAT(Logged(), ElementsAre("No start tag"));
}

TEST_F(tcp_link_framing, message_without_its_end_is_logged_with_every_chunk_and_kept) {
    Feed("<msg><a>");
    Feed("</a>");
    EXPECT_THAT(Logged(), ElementsAre("No end tag", "No end tag"));
    Feed("</msg>");
    EXPECT_THAT(Messages(), ElementsAre("a"));
    EXPECT_THAT(Logged(), ElementsAre("No end tag", "No end tag"));
}

TEST_F(tcp_link_framing, beginning_of_a_message_behind_a_complete_one_is_not_logged) {
    Feed(Message("a") + "<msg><b/>");
    EXPECT_THAT(Messages(), ElementsAre("a"));
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(tcp_link_framing, garbage_between_messages_is_skipped) {
    Feed("one" + Message("a") + "two" + Message("b") + "three");
    Feed(Message("c"));
    EXPECT_THAT(Messages(), ElementsAre("a", "b", "c"));
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(tcp_link_framing, parse_error_is_logged_with_its_number) {
    const struct {
        const char* message;
        const char* logged;
    } kCases[] = {
        {"<msg><a></msg>", "Could not parse xml, 14"},          // tags that do not match
        {"<msg><a></b></msg>", "Could not parse xml, 14"},      // likewise
        {"<msg><a b=c/></msg>", "Could not parse xml, 7"},      // an attribute without quotes
        {"<msg><a b='c'd'/></msg>", "Could not parse xml, 7"},  // a quote inside a value
        {"<msg><a b></msg>", "Could not parse xml, 7"},         // an attribute without a value
        {"<msg><a b='</msg>", "Could not parse xml, 7"},        // a value without an end
        {"<msg><!-- </msg>", "Could not parse xml, 10"},        // a comment without an end
        {"<msg><![CDATA[ </msg>", "Could not parse xml, 9"},    // character data without an end
        {"<msg><?x </msg>", "Could not parse xml, 11"},         // a declaration without an end
    };
    for (const auto& row : kCases) {
        log_.Skip();
        Feed(row.message);
        EXPECT_THAT(Logged(), ElementsAre(row.logged)) << row.message;
    }
    EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(tcp_link_framing, parse_error_loses_the_complete_messages_behind_it_but_not_those_before) {
    Feed(Message("a") + "<msg><b></msg>" + Message("c") + Message("d"));
    EXPECT_THAT(Messages(), ElementsAre("a"));
    EXPECT_THAT(Logged(), ElementsAre("Could not parse xml, 14"));
    Feed(Message("e"));
    EXPECT_THAT(Messages(), ElementsAre("a", "e"));
}

TEST_F(tcp_link_framing, parse_error_loses_the_beginning_of_a_message_behind_it) {
    Feed("<msg><b></msg><msg><c/>");
    Feed("</msg>" + Message("d"));
    EXPECT_THAT(Messages(), ElementsAre("d"));
}

TEST_F(tcp_link_framing, message_without_a_child_element_is_dropped_silently_with_all_behind_it) {
    for (const char* message : {"<msg></msg>", "<msg>text</msg>", "<msg><!-- comment --></msg>",
                                "<msg>  </msg>", "<msg><![CDATA[<event/>]]></msg>"}) {
        link_ = test_link::Make();
        Feed(Message("a") + message + Message("b"));
        EXPECT_THAT(Messages(), ElementsAre("a")) << message;
        Feed(Message("c"));
        EXPECT_THAT(Messages(), ElementsAre("a", "c")) << message;
    }
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(tcp_link_framing, zero_byte_between_messages_hides_nothing) {
    Feed(Message("a") + std::string(3, '\0') + Message("b"));
    EXPECT_THAT(Messages(), ElementsAre("a", "b"));
}

TEST_F(tcp_link_framing, zero_byte_inside_a_message_does_not_stop_the_link) {
    Feed(std::string("<msg><a\0/></msg>", 16));
    EXPECT_THAT(Messages(), IsEmpty());
    ASSERT_EQ(Logged().size(), 1u);
    EXPECT_THAT(Logged().at(0), testing::StartsWith("Could not parse xml, "));
    Feed(Message("b"));
    EXPECT_THAT(Messages(), ElementsAre("b"));
}

TEST_F(tcp_link_framing, zero_byte_in_an_unfinished_message_does_not_hide_its_end) {
    Feed(std::string_view("<msg><a>\0", 9));
    Feed("</a></msg>");
    Feed(Message("b"));
    EXPECT_THAT(Messages(), ElementsAre("b"));
    EXPECT_THAT(Logged(), ElementsAre("No end tag", testing::StartsWith("Could not parse xml, ")));
}

TEST_F(tcp_link_framing, chunks_of_only_zero_bytes_are_garbage) {
    Feed(std::string(5000, '\0'));
    EXPECT_THAT(Logged(), ElementsAre("No start tag"));
    Feed(Message("a"));
    EXPECT_THAT(Messages(), ElementsAre("a"));
}

TEST_F(tcp_link_framing, handler_that_throws_loses_only_its_own_message) {
    link_->on_message = [](const std::string& name) {
        if (name == "b") {
            throw std::runtime_error("cannot handle this");
        }
    };
    EXPECT_NO_THROW(Feed(Message("a") + Message("b") + Message("c")));
    EXPECT_THAT(Messages(), ElementsAre("a", "b", "c"));
}

TEST_F(tcp_link_framing, handler_that_throws_something_else_is_no_different) {
    link_->on_message = [](const std::string&) { throw 1; };
    EXPECT_NO_THROW(Feed(Message("a") + Message("b")));
    EXPECT_THAT(Messages(), ElementsAre("a", "b"));
}

TEST_F(tcp_link_framing, close_of_a_link_that_was_never_connected_only_clears_the_buffer) {
    Feed("<msg><a/>");
    log_.Skip();
    link_->CloseLink(true);
    link_->CloseLink(false);
    EXPECT_FALSE(link_->IsConnected());
    Feed("</msg>");
    EXPECT_THAT(Messages(), IsEmpty());
    EXPECT_THAT(Logged(), ElementsAre("No start tag"));
    Feed(Message("b"));
    EXPECT_THAT(Messages(), ElementsAre("b"));
}

TEST_F(tcp_link_framing, close_inside_a_handler_drops_the_rest) {
    link_->on_message = [&](const std::string&) { link_->CloseLink(false); };
    Feed(Message("a") + Message("b") + "<msg><c/>");
    EXPECT_THAT(Messages(), ElementsAre("a"));
    link_->on_message = nullptr;
    Feed("</msg>" + Message("d"));
    EXPECT_THAT(Messages(), ElementsAre("a", "d"));
}

TEST_F(tcp_link_framing, endless_message_is_given_up_at_the_maximum_and_the_link_goes_on) {
    const std::string piece(1024 * 1024, 'x');
    Feed("<msg>");
    for (std::size_t fed = 0; fed <= receive_buffer::kMaximumCapacity; fed += piece.size()) {
        Feed(piece);
    }
    Feed(Message("a"));
    EXPECT_THAT(Messages(), ElementsAre("a"));
}

/// A registration list as the service sends it.
std::string ListMessage(int entries) {
    std::string message = "<msg><response id='0'><RegistrationList>";
    for (int entry = 0; entry < entries; ++entry) {
        const std::string number = std::to_string(entry);
        message += "<Registration tapiLineName='Softphone number " + number + "' permanentLineId='" + number +
                   "' tcpPort='" + std::to_string(10000 + entry) +
                   "' clientConnected='true' sipConnected='true'/>";
    }
    return message + "</RegistrationList></response></msg>";
}

/// The shortest of several runs in which the list arrives in chunks and is parsed.
std::chrono::nanoseconds TimeToReceiveList(int entries) {
    const std::string message = ListMessage(entries);
    auto shortest = std::chrono::nanoseconds::max();
    for (int run = 0; run < 3; ++run) {
        const std::shared_ptr<test_link> link = test_link::Make();
        const auto start = std::chrono::steady_clock::now();
        for (std::size_t at = 0; at < message.size(); at += kChunk) {
            Feed(*link, std::string_view(message).substr(at, kChunk));
        }
        shortest = std::min<std::chrono::nanoseconds>(shortest, std::chrono::steady_clock::now() - start);
        EXPECT_THAT(link->Messages(), ElementsAre("response"));
    }
    return shortest;
}

TEST(tcp_link_large_list, time_grows_with_the_number_of_entries_and_not_with_its_square) {
    constexpr int kEntries = 10000;
    const auto once = TimeToReceiveList(kEntries);
    const auto four_times = TimeToReceiveList(4 * kEntries);
    // Four times the entries take four times as long; by the square it would be sixteen times.
    EXPECT_LT(four_times, 8 * once) << once.count() << " ns and " << four_times.count() << " ns";
    EXPECT_LT(once, std::chrono::seconds(5));
}

}  // namespace
}  // namespace brivelnox::test
