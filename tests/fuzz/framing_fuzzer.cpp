// Received bytes, cut into pieces in any way: the link has to find the same messages, and the client to make
// the same records of them, as if each message had come alone, in a time that grows with the bytes and not
// with their square. The cuts are part of the input (received_chunks.h tells how it is written), and so may
// be a mark at what is repeated to see how the time grows (growing_input.h).

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "buffer_access.h"
#include "framing_model.h"
#include "fuzz_input.h"
#include "growing_input.h"
#include "message_records.h"
#include "received_chunks.h"
#include "registry_service/receive_buffer.h"

namespace brivelnox::fuzz {
namespace {

using texts = std::vector<std::string>;

void RequireSame(const texts& expected, const texts& found, const char* rule) {
    if (expected == found) {
        return;
    }
    const auto [left, right] = std::mismatch(expected.begin(), expected.end(), found.begin(), found.end());
    Broken(rule, std::to_string(expected.size()) + " expected, " + std::to_string(found.size()) +
                     " found, the first difference is number " + std::to_string(left - expected.begin()) +
                     "\n  expected: " + (left == expected.end() ? "nothing" : *left) +
                     "\n  found:    " + (right == found.end() ? "nothing" : *right));
}

void CheckBuffer(receive_buffer& buffer) {
    Require(buffer.Consumed() <= buffer.Used(), "consumed never exceeds used");
    Require(buffer.Used() < buffer.Capacity(), "a byte is left behind the held bytes");
    Require(buffer.Capacity() <= receive_buffer::kMaximumCapacity, "the buffer has a maximum");
    Require(BytesOf(buffer)[buffer.Used()] == '\0', "a zero byte lies behind the held bytes");
}

/// Takes one chunk in and its messages out, as the link does for messages that are all well.
void TakeChunk(receive_buffer& buffer, const std::string& piece, texts& messages) {
    const std::size_t before = buffer.Used();
    const std::size_t capacity = buffer.Capacity();
    Require(buffer.Append(piece.data(), piece.size()), "there is room for a chunk");
    Require(buffer.Used() == before + piece.size() && buffer.Capacity() >= capacity, "a chunk is held whole");
    CheckBuffer(buffer);
    if (!buffer.HasStartTag()) {
        buffer.DiscardAllButPartialStartTag();
        Require(buffer.Used() < 5, "of bytes without a message only the beginning of a tag is kept");
        CheckBuffer(buffer);
        return;
    }
    std::size_t consumed = 0;
    while (const std::optional<std::string_view> message = buffer.NextMessage()) {
        messages.emplace_back(*message);
        consumed += message->size();
        buffer.Consume(*message);
        Require(buffer.Consumed() == consumed, "exactly the messages are consumed");
        CheckBuffer(buffer);
    }
    buffer.Compact();
    Require(buffer.Consumed() == 0 && buffer.Used() == before + piece.size() - consumed,
            "exactly the messages are taken out");
    CheckBuffer(buffer);
}

texts MessagesInBuffer(const received_chunks& chunks) {
    receive_buffer buffer;
    texts messages;
    for (const std::string& piece : chunks.pieces) {
        TakeChunk(buffer, piece, messages);
    }
    buffer.Discard();
    Require(buffer.Used() == 0 && !buffer.HasStartTag(), "nothing is left of what was discarded");
    CheckBuffer(buffer);
    return messages;
}

// The two receivers, in one manner of speaking.
tcp_link& LinkOf(noting_link& receiver) {
    return receiver;
}
tcp_link& LinkOf(noting_client& receiver) {
    return receiver.Link();
}

/// A link, or the provider's client, that is gone with all its memory in the end. A link deliberately never
/// frees its buffer: that is meant for one in the life of a process, not for one with each input.
template <class Receiver>
class short_lived {
  public:
    short_lived() : receiver_(std::make_unique<Receiver>()) {}
    ~short_lived() {
        receive_buffer* const buffer = &BufferOf(LinkOf(*receiver_));
        receiver_.reset();
        delete buffer;
    }
    short_lived(const short_lived&) = delete;
    short_lived& operator=(const short_lived&) = delete;

    void Feed(const std::string& piece) {
        LinkOf(*receiver_).Feed(piece.data(), piece.size());
        receive_buffer& buffer = BufferOf(LinkOf(*receiver_));
        CheckBuffer(buffer);
        Require(buffer.Consumed() == 0, "consumed messages are out of the buffer behind each chunk");
    }
    [[nodiscard]] Receiver& operator*() const { return *receiver_; }
    [[nodiscard]] Receiver* operator->() const { return receiver_.get(); }

  private:
    std::unique_ptr<Receiver> receiver_;
};

template <class Receiver>
texts NotesOf(const received_chunks& chunks) {
    short_lived<Receiver> receiver;
    for (const std::string& piece : chunks.pieces) {
        receiver.Feed(piece);
    }
    return receiver->Notes();
}

/// What comes of the messages when each comes alone.
template <class Receiver>
texts NotesOfSingleMessages(const received_chunks& chunks, bool& lost) {
    short_lived<Receiver> receiver;
    (void)FindMessages(chunks, [&](const std::string& message) {
        receiver.Feed(message);
        const bool rest_counts = IsDelivered(message) && !receiver->TakeClosed();
        lost = lost || !rest_counts;
        return rest_counts;
    });
    return receiver->Notes();
}

template <class Receiver>
void CheckReceiver(const received_chunks& chunks, const received_chunks& one_piece) {
    bool lost = false;
    const texts expected = NotesOfSingleMessages<Receiver>(chunks, lost);
    const texts found = NotesOf<Receiver>(chunks);
    RequireSame(expected, found, "each message comes to what it comes to alone");
    // In one piece a message that loses the rest loses all of it; up to there the cuts make no difference.
    texts together = NotesOf<Receiver>(one_piece);
    if (lost && together.size() < found.size()) {
        together.insert(together.end(), found.begin() + static_cast<std::ptrdiff_t>(together.size()),
                        found.end());
    }
    RequireSame(together, found, "the cuts make no difference");
}

// How the time grows. The part that is repeated has this many bytes at first, and then this many times as
// many, which takes so many times as long, or the square of it where something is wrong.
constexpr std::size_t kGrowingFrom = 4096;
constexpr std::size_t kGrowth = 8;
// What is not allowed any more, half the way to the square; and how long it has to take, so that it is no
// accident of a busy machine. Some ten times what a linear time is here.
constexpr std::size_t kTooMuchGrowth = 24;
constexpr std::chrono::milliseconds kNoAccident{50};
constexpr int kTries = 3;
constexpr std::size_t kMostPieces = 256;
// Of the inputs without a mark one in so many is measured, for it takes as long as some of the rest together.
constexpr std::size_t kMeasuredOneIn = 32;

/// The processor's time of this thread: others that run beside it do not count.
std::chrono::nanoseconds ThreadTime() {
    std::timespec time = {};
    Require(clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time) == 0, "there is a clock");
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// The same bytes in few pieces: each piece writes a line to the log, and thousands would take longer than
/// what is measured.
received_chunks InFewPieces(const received_chunks& chunks) {
    const std::string bytes = chunks.Together();
    const std::size_t size = bytes.size() / kMostPieces + 1;
    received_chunks few;
    for (std::size_t at = 0; at < bytes.size(); at += size) {
        few.pieces.push_back(bytes.substr(at, size));
    }
    return few;
}

/// What the client takes for it.
std::chrono::nanoseconds TimeToReceive(const received_chunks& chunks) {
    short_lived<noting_client> receiver;
    const std::chrono::nanoseconds start = ThreadTime();
    for (const std::string& piece : chunks.pieces) {
        receiver.Feed(piece);
    }
    return ThreadTime() - start;
}

void CheckGrowthOfTime(const received_chunks& few, const received_chunks& many) {
    // The shortest of several tries is the one that was disturbed least.
    auto time_of_few = std::chrono::nanoseconds::max();
    auto time_of_many = std::chrono::nanoseconds::max();
    for (int attempt = 0; attempt < kTries; ++attempt) {
        time_of_many = std::min(time_of_many, TimeToReceive(many));
        if (time_of_many < kNoAccident) {
            return;
        }
        time_of_few = std::min(time_of_few, TimeToReceive(few));
    }
    if (time_of_many > kTooMuchGrowth * time_of_few) {
        Broken("the time grows with the bytes and not with their square",
               std::to_string(time_of_few.count()) + " ns, and " + std::to_string(time_of_many.count()) +
                   " ns for " + std::to_string(kGrowth) + " times as much of the part that is repeated");
    }
}

void CheckTime(std::string_view input) {
    const growing_input growing(input);
    const std::size_t size = growing.PartSize();
    if (size == 0 || size > kGrowingFrom ||
        (!growing.IsMarked() && std::hash<std::string_view>{}(input) % kMeasuredOneIn != 0)) {
        return;
    }
    const std::size_t copies = kGrowingFrom / size;
    const received_chunks few = InFewPieces(ReadChunks(growing.WithCopies(copies)));
    const received_chunks many = InFewPieces(ReadChunks(growing.WithCopies(kGrowth * copies)));
    CheckGrowthOfTime(few, many);
}

void CheckInput(std::string_view input) {
    const received_chunks chunks = ReadChunks(input);
    const received_chunks one_piece = {{chunks.Together()}};

    const auto all_count = [](const std::string&) { return true; };
    const texts messages = FindMessages(one_piece, all_count);
    RequireSame(messages, FindMessages(chunks, all_count), "the model itself knows no cuts");
    RequireSame(messages, MessagesInBuffer(one_piece), "the buffer finds every message once");
    RequireSame(messages, MessagesInBuffer(chunks), "the buffer finds every message once in pieces, too");

    CheckReceiver<noting_link>(chunks, one_piece);
    CheckReceiver<noting_client>(chunks, one_piece);
    for (const std::string& message : messages) {
        CheckAttributes(message);
    }
    CheckTime(input);
}

}  // namespace
}  // namespace brivelnox::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    brivelnox::fuzz::CheckInput({reinterpret_cast<const char*>(data), size});
    return 0;
}
