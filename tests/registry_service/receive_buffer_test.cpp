// Finding messages in what arrives, however it arrives.

#include "registry_service/receive_buffer.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class received_bytes : public testing::Test {
  protected:
    /// Takes a chunk in and out again all messages that are complete, as the link does.
    void Take(std::string_view chunk) {
        ASSERT_TRUE(buffer_.Append(chunk.data(), chunk.size()));
        if (!buffer_.HasStartTag()) {
            buffer_.DiscardAllButPartialStartTag();
            return;
        }
        while (const std::optional<std::string_view> message = buffer_.NextMessage()) {
            messages_.emplace_back(*message);
            buffer_.Consume(*message);
        }
        consumed_ = buffer_.Consumed();
        buffer_.Compact();
    }

    receive_buffer buffer_;
    std::vector<std::string> messages_;
    std::size_t consumed_ = 0;
};

TEST_F(received_bytes, new_buffer_is_empty_and_has_2048_bytes) {
    EXPECT_EQ(buffer_.Capacity(), 2048u);
    EXPECT_EQ(buffer_.Used(), 0u);
    EXPECT_EQ(buffer_.Consumed(), 0u);
    EXPECT_FALSE(buffer_.HasStartTag());
    EXPECT_FALSE(buffer_.NextMessage());
}

TEST_F(received_bytes, whole_message_is_found_and_leaves_nothing) {
    Take("<msg>a</msg>");
    EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>"));
    EXPECT_EQ(buffer_.Used(), 0u);
}

TEST_F(received_bytes, three_messages_in_one_chunk_are_found_in_order_and_their_length_is_consumed) {
    const std::string chunk = "<msg>a</msg><msg>bb</msg><msg></msg>";
    Take(chunk);
    EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>", "<msg>bb</msg>", "<msg></msg>"));
    EXPECT_EQ(consumed_, chunk.size());
    EXPECT_EQ(buffer_.Used(), 0u);
    EXPECT_EQ(buffer_.Consumed(), 0u);
}

TEST_F(received_bytes, message_is_found_only_when_its_end_has_come) {
    Take("<msg>a");
    EXPECT_THAT(messages_, IsEmpty());
    EXPECT_TRUE(buffer_.HasStartTag());
    EXPECT_EQ(buffer_.Used(), 6u);
    Take("b</msg>");
    EXPECT_THAT(messages_, ElementsAre("<msg>ab</msg>"));
}

TEST_F(received_bytes, message_behind_a_complete_one_waits_for_its_end) {
    Take("<msg>a</msg><msg>b");
    EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>"));
    EXPECT_EQ(buffer_.Used(), 6u);
    Take("</msg>");
    EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>", "<msg>b</msg>"));
}

TEST_F(received_bytes, stream_may_be_split_at_every_position) {
    const std::string stream = "<msg>a</msg><msg><b/></msg><msg>c</msg>";
    for (std::size_t split = 0; split <= stream.size(); ++split) {
        messages_.clear();
        Take(stream.substr(0, split));
        Take(stream.substr(split));
        EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>", "<msg><b/></msg>", "<msg>c</msg>")) << split;
        EXPECT_EQ(buffer_.Used(), 0u) << split;
    }
}

TEST_F(received_bytes, stream_may_be_split_at_every_two_positions) {
    const std::string stream = "<msg>a</msg><msg>b</msg>";
    for (std::size_t first = 0; first <= stream.size(); ++first) {
        for (std::size_t second = first; second <= stream.size(); ++second) {
            messages_.clear();
            Take(stream.substr(0, first));
            Take(stream.substr(first, second - first));
            Take(stream.substr(second));
            EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>", "<msg>b</msg>")) << first << ' ' << second;
        }
    }
}

TEST_F(received_bytes, stream_may_come_byte_by_byte) {
    for (const char byte : std::string("<msg>a</msg><msg>b</msg><msg>c</msg>")) {
        Take(std::string_view(&byte, 1));
    }
    EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>", "<msg>b</msg>", "<msg>c</msg>"));
}

TEST_F(received_bytes, tags_are_matched_literally) {
    for (const char* text : {"<MSG>a</msg>", "<Msg>a</msg>", "<msg >a</msg>", "< msg>a</msg>",
                             "<msg id='1'>a</msg>", "<msgs>a</msg>"}) {
        ASSERT_TRUE(buffer_.Append(text, std::string_view(text).size()));
        EXPECT_FALSE(buffer_.HasStartTag()) << text;
        buffer_.Discard();
    }
    Take("<msg>a</MSG></msg ></ msg></msg>");
    EXPECT_THAT(messages_, ElementsAre("<msg>a</MSG></msg ></ msg></msg>"));
}

TEST_F(received_bytes, message_runs_from_its_first_start_tag_to_the_next_end_tag) {
    Take("<msg>a<msg>b</msg>");
    EXPECT_THAT(messages_, ElementsAre("<msg>a<msg>b</msg>"));
}

TEST_F(received_bytes, end_tag_before_the_start_tag_ends_nothing) {
    Take("</msg><msg>a</msg>");
    EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>"));
}

// Garbage: only messages are taken out.

TEST_F(received_bytes, bytes_before_a_message_stay_and_hide_nothing_later) {
    Take("xx<msg>a</msg>");
    EXPECT_EQ(buffer_.Used(), 2u);
    Take("<msg>b</msg>");
    Take("yyy<msg>c</msg>");
    EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>", "<msg>b</msg>", "<msg>c</msg>"));
    EXPECT_EQ(buffer_.Used(), 5u);
}

TEST_F(received_bytes, bytes_between_and_behind_messages_stay) {
    Take("x<msg>a</msg>yy<msg>b</msg>zzz");
    EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>", "<msg>b</msg>"));
    EXPECT_EQ(consumed_, 24u);
    EXPECT_EQ(buffer_.Used(), 6u);
}

TEST_F(received_bytes, bytes_around_a_message_do_not_grow_together_to_a_tag) {
    Take("<ms<msg>a</msg>g>");
    EXPECT_EQ(buffer_.Used(), 5u);
    EXPECT_FALSE(buffer_.HasStartTag());
    Take("<msg>b</msg>");
    EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>", "<msg>b</msg>"));
}

TEST_F(received_bytes, bytes_around_a_message_do_not_grow_together_to_a_tag_piece_by_piece) {
    Take("<m<msg>a</msg>");
    Take("s");
    Take("g>");
    EXPECT_FALSE(buffer_.HasStartTag());
    Take("b</msg><msg>c</msg>");
    EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>", "<msg>c</msg>"));
}

TEST_F(received_bytes, stream_with_garbage_may_be_split_at_every_position) {
    const std::string stream = "<m<msg>a</msg>sg>?<msg>b</msg>";
    for (std::size_t split = 0; split <= stream.size(); ++split) {
        buffer_.Discard();
        messages_.clear();
        Take(stream.substr(0, split));
        Take(stream.substr(split));
        EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>", "<msg>b</msg>")) << split;
    }
}

TEST_F(received_bytes, zero_byte_between_messages_hides_nothing) {
    Take(std::string_view("<msg>a</msg>\0<msg>b</msg>", 25));
    EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>", "<msg>b</msg>"));
}

TEST_F(received_bytes, zero_byte_inside_a_message_is_part_of_it) {
    Take(std::string_view("<msg>a\0b</msg><msg>c</msg>", 26));
    EXPECT_THAT(messages_, ElementsAre(std::string("<msg>a\0b</msg>", 14), "<msg>c</msg>"));
}

TEST_F(received_bytes, zero_byte_at_the_end_of_a_chunk_does_not_stop_the_search) {
    Take(std::string_view("<msg>a\0", 7));
    Take("</msg>");
    EXPECT_THAT(messages_, ElementsAre(std::string("<msg>a\0</msg>", 13)));
}

TEST_F(received_bytes, discard_forgets_everything) {
    Take("x<msg>a</msg><msg>b");
    buffer_.Discard();
    EXPECT_EQ(buffer_.Used(), 0u);
    EXPECT_FALSE(buffer_.HasStartTag());
    Take("</msg><msg>c</msg>");
    EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>", "<msg>c</msg>"));
}

TEST_F(received_bytes, only_the_beginning_of_a_start_tag_at_the_very_end_survives_garbage) {
    const struct {
        const char* held;
        std::size_t kept;
    } kCases[] = {{"", 0},      {"x", 0},     {"x<", 1},     {"x<m", 2},  {"x<ms", 3},
                  {"x<msg", 4}, {"<msg", 4},  {"<msg x", 0}, {"<msx", 0}, {"<ms<m", 2},
                  {"<<", 1},    {"<msg<", 1}, {"msg>", 0},   {"<M", 0},   {"<msgs<", 1}};
    for (const auto& row : kCases) {
        const std::string_view held = row.held;
        buffer_.Discard();
        ASSERT_TRUE(buffer_.Append(held.data(), held.size()));
        ASSERT_FALSE(buffer_.HasStartTag()) << held;
        buffer_.DiscardAllButPartialStartTag();
        EXPECT_EQ(buffer_.Used(), row.kept) << held;
    }
}

// Size.

TEST_F(received_bytes, a_zero_byte_lies_behind_the_held_bytes_at_every_size) {
    for (std::size_t length = 2040; length <= 2060; ++length) {
        for (const std::size_t first : {std::size_t{0}, std::size_t{1047}, length - 1}) {
            receive_buffer buffer;
            const std::string message = "<msg>" + std::string(length - 11, 'x') + "</msg>";
            ASSERT_TRUE(buffer.Append(message.data(), first));
            ASSERT_TRUE(buffer.Append(message.data() + first, length - first));
            const std::optional<std::string_view> found = buffer.NextMessage();
            ASSERT_TRUE(found);
            EXPECT_EQ(*found, message);
            EXPECT_GT(buffer.Capacity(), buffer.Used());
            EXPECT_EQ(found->data()[found->size()], '\0') << length;
        }
    }
}

TEST_F(received_bytes, buffer_grows_only_when_the_data_need_it) {
    const std::string bytes(4096, 'x');
    ASSERT_TRUE(buffer_.Append(bytes.data(), 2047));
    EXPECT_EQ(buffer_.Capacity(), 2048u);
    ASSERT_TRUE(buffer_.Append(bytes.data(), 1));
    EXPECT_GT(buffer_.Capacity(), 2048u);
    EXPECT_EQ(buffer_.Used(), 2048u);
}

TEST_F(received_bytes, many_small_messages_need_no_more_than_the_first_buffer) {
    for (int round = 0; round < 1000; ++round) {
        Take("<msg>a</msg><msg>b</msg><ms");
        Take("g>c</msg>");
    }
    EXPECT_EQ(messages_.size(), 3000u);
    EXPECT_EQ(buffer_.Capacity(), 2048u);
}

TEST_F(received_bytes, buffer_never_shrinks) {
    const std::string message = "<msg>" + std::string(10000, 'x') + "</msg>";
    Take(message);
    const std::size_t grown = buffer_.Capacity();
    EXPECT_GT(grown, message.size());
    EXPECT_EQ(buffer_.Used(), 0u);
    buffer_.Discard();
    EXPECT_EQ(buffer_.Capacity(), grown);
}

TEST_F(received_bytes, chunk_that_would_pass_the_maximum_is_refused_and_changes_nothing) {
    const std::string most = "<msg>" + std::string(receive_buffer::kMaximumCapacity - 7, 'x');
    ASSERT_TRUE(buffer_.Append(most.data(), most.size()));
    EXPECT_TRUE(buffer_.Append("y", 1));
    EXPECT_EQ(buffer_.Capacity(), receive_buffer::kMaximumCapacity);
    EXPECT_FALSE(buffer_.Append("z", 1));
    EXPECT_EQ(buffer_.Used(), most.size() + 1);
    EXPECT_EQ(buffer_.Capacity(), receive_buffer::kMaximumCapacity);

    buffer_.Discard();
    Take("<msg>a</msg>");
    EXPECT_THAT(messages_, ElementsAre("<msg>a</msg>"));
}

TEST_F(received_bytes, chunk_that_fills_the_maximum_by_itself_is_refused) {
    EXPECT_FALSE(buffer_.Append("", receive_buffer::kMaximumCapacity));
    EXPECT_EQ(buffer_.Used(), 0u);
}

TEST_F(received_bytes, chunk_of_the_largest_size_there_is_is_refused_whatever_is_held) {
    constexpr std::size_t kLargest = std::numeric_limits<std::size_t>::max();
    for (const std::string_view held : {"", "<msg>a"}) {
        buffer_.Discard();
        ASSERT_TRUE(buffer_.Append(held.data(), held.size()));
        for (const std::size_t length : {kLargest, kLargest - 1, kLargest - held.size()}) {
            EXPECT_FALSE(buffer_.Append("", length)) << length;
            EXPECT_EQ(buffer_.Used(), held.size()) << length;
            EXPECT_EQ(buffer_.Capacity(), receive_buffer::kInitialCapacity) << length;
        }
    }
}

// Time.

/// The shortest of several runs in which a message of as many bytes arrives in chunks.
std::chrono::nanoseconds TimeToReceive(std::size_t bytes) {
    constexpr std::size_t kChunk = 1047;
    const std::string message = "<msg>" + std::string(bytes, 'x') + "</msg>";
    auto shortest = std::chrono::nanoseconds::max();
    for (int run = 0; run < 15; ++run) {
        receive_buffer buffer;
        const auto start = std::chrono::steady_clock::now();
        std::size_t found = 0;
        for (std::size_t at = 0; at < message.size(); at += kChunk) {
            EXPECT_TRUE(buffer.Append(message.data() + at, std::min(kChunk, message.size() - at)));
            EXPECT_TRUE(buffer.HasStartTag());
            if (const std::optional<std::string_view> complete = buffer.NextMessage()) {
                found = complete->size();
                buffer.Consume(*complete);
            }
            buffer.Compact();
        }
        EXPECT_EQ(found, message.size());
        shortest = std::min<std::chrono::nanoseconds>(shortest, std::chrono::steady_clock::now() - start);
    }
    return shortest;
}

TEST(receive_buffer_time, grows_with_the_size_of_a_message_and_not_with_its_square) {
    constexpr std::size_t kSize = 2 * 1024 * 1024;
    const auto once = TimeToReceive(kSize);
    const auto four_times = TimeToReceive(4 * kSize);
    // Four times the bytes take four times as long; by the square it would be sixteen times.
    EXPECT_LT(four_times, 8 * once) << once.count() << " ns and " << four_times.count() << " ns";
}

}  // namespace
}  // namespace brivelnox::test
