#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace brivelnox {

/// The bytes received and not yet consumed, and the search for messages in them. A message is everything from
/// a "<msg>" to the next "</msg>"; both tags are matched literally. Searching goes by length, so a zero byte
/// inside or between messages hides nothing, and goes on where it stopped, so a long message costs time by
/// its size only.
///
/// Has no lock: its owner guards it. It keeps what it has grown to also when it empties.
class receive_buffer {
  public:
    /// The size of a new buffer in bytes.
    static constexpr std::size_t kInitialCapacity = 2048;
    /// What the buffer may grow to, in bytes. A message that never ends must not take the memory of the whole
    /// telephony service, and neither must the tree that a message is parsed into: of the shortest texts and
    /// elements it takes some fifty times the message, so 0.8 GB at the most. The longest honest message, a
    /// list of forty thousand clients, is some eight million bytes.
    static constexpr std::size_t kMaximumCapacity = std::size_t{16} * 1024 * 1024;

    receive_buffer();
    ~receive_buffer() { delete[] bytes_; }
    receive_buffer(const receive_buffer&) = delete;
    receive_buffer& operator=(const receive_buffer&) = delete;

    /// Puts a chunk behind the held bytes. Returns false, and changes nothing, when there is no memory for it
    /// or the buffer would pass its maximum.
    [[nodiscard]] bool Append(const char* data, std::size_t length);

    /// Whether the held bytes have the start tag of a message that is not yet consumed.
    [[nodiscard]] bool HasStartTag();

    /// The first message that is not yet consumed, its tags included; nothing while its end has not arrived.
    /// Valid until the next Append, Compact or Discard.
    [[nodiscard]] std::optional<std::string_view> NextMessage();

    /// Marks the message that NextMessage has returned as consumed. The bytes stay where they are until
    /// Compact.
    void Consume(std::string_view message);

    /// Takes the consumed messages out and moves what remains to the front. Only messages are taken out:
    /// bytes that lay before a start tag stay (deliberately; the service sends its messages back to back).
    void Compact();

    /// Forgets everything.
    void Discard();

    /// Forgets everything but the beginning of a start tag at the very end: the rest of the tag may be in the
    /// next chunk.
    void DiscardAllButPartialStartTag();

    /// Bytes held.
    [[nodiscard]] std::size_t Used() const { return used_; }
    /// Bytes of messages consumed since the last Compact or Discard.
    [[nodiscard]] std::size_t Consumed() const { return consumed_; }
    /// Size of the buffer in bytes; at least one zero byte lies behind the held bytes.
    [[nodiscard]] std::size_t Capacity() const { return capacity_; }

  private:
    [[nodiscard]] bool Grow(std::size_t needed);
    [[nodiscard]] std::string_view Held() const { return {bytes_, used_}; }
    void ResetSearch();

    char* bytes_ = nullptr;
    std::size_t capacity_ = 0;
    std::size_t used_ = 0;
    std::size_t consumed_ = 0;
    std::size_t kept_ = 0;        // bytes at the front that lay before consumed messages
    std::size_t start_from_ = 0;  // no start tag begins before this offset
    std::size_t end_from_ = 0;    // no end tag of the current message begins before this offset
};

}  // namespace brivelnox
