#include "registry_service/receive_buffer.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace brivelnox {

namespace {

constexpr std::string_view kStartTag = "<msg>";
constexpr std::string_view kEndTag = "</msg>";

}  // namespace

receive_buffer::receive_buffer() : bytes_(new char[kInitialCapacity]()), capacity_(kInitialCapacity) {}

bool receive_buffer::Append(const char* data, std::size_t length) {
    // The held bytes never fill the maximum, so this cannot wrap, and what passes it can be added up.
    if (length >= kMaximumCapacity - used_) {
        return false;
    }
    // One more than the bytes themselves: a zero byte always lies behind them.
    const std::size_t needed = used_ + length + 1;
    if (needed > capacity_ && !Grow(needed)) {
        return false;
    }
    std::memcpy(bytes_ + used_, data, length);
    used_ += length;
    return true;
}

bool receive_buffer::Grow(std::size_t needed) {
    // By half at least, so that a message of a thousand chunks is not copied a thousand times.
    const std::size_t capacity = std::min(std::max(needed, capacity_ + capacity_ / 2), kMaximumCapacity);
    char* const bytes = new (std::nothrow) char[capacity]();
    if (bytes == nullptr) {
        return false;
    }
    std::memcpy(bytes, bytes_, used_);
    delete[] bytes_;
    bytes_ = bytes;
    capacity_ = capacity;
    return true;
}

bool receive_buffer::HasStartTag() {
    const std::size_t start = Held().find(kStartTag, start_from_);
    if (start == std::string_view::npos) {
        return false;
    }
    if (start != start_from_) {
        start_from_ = start;
        end_from_ = start;
    }
    return true;
}

std::optional<std::string_view> receive_buffer::NextMessage() {
    if (!HasStartTag()) {
        return std::nullopt;
    }
    const std::size_t end = Held().find(kEndTag, std::max(end_from_, start_from_));
    if (end == std::string_view::npos) {
        // The tag may be cut by the chunk's end.
        const std::size_t overlap = kEndTag.size() - 1;
        end_from_ = std::max(start_from_, used_ > overlap ? used_ - overlap : 0);
        return std::nullopt;
    }
    return Held().substr(start_from_, end + kEndTag.size() - start_from_);
}

void receive_buffer::Consume(std::string_view message) {
    const std::size_t start = static_cast<std::size_t>(message.data() - bytes_);
    const std::size_t end = start + message.size();
    // What lies between the last consumed message and this one stays: close it up with what was kept before.
    const std::size_t previous_end = kept_ + consumed_;
    if (previous_end != kept_) {
        std::memmove(bytes_ + kept_, bytes_ + previous_end, start - previous_end);
    }
    kept_ += start - previous_end;
    consumed_ += message.size();
    start_from_ = end;
    end_from_ = end;
}

void receive_buffer::Compact() {
    if (consumed_ == 0) {
        // Nothing to take out, and a long message that is still arriving must not be moved with every chunk.
        return;
    }
    const std::size_t consumed_end = kept_ + consumed_;
    const std::size_t remaining = used_ - consumed_;
    std::memmove(bytes_ + kept_, bytes_ + consumed_end, used_ - consumed_end);
    std::memset(bytes_ + remaining, 0, used_ - remaining);
    // The kept bytes hold no start tag of their own, and none may come about where they meet the rest.
    start_from_ = kept_;
    end_from_ = kept_;
    used_ = remaining;
    consumed_ = 0;
    kept_ = 0;
}

void receive_buffer::Discard() {
    std::memset(bytes_, 0, used_);
    used_ = 0;
    ResetSearch();
}

void receive_buffer::DiscardAllButPartialStartTag() {
    // Not from before `start_from_`: what lay before a message that is gone does not begin one with what came
    // behind it.
    const std::string_view unsearched = Held().substr(start_from_);
    std::size_t length = std::min(kStartTag.size() - 1, unsearched.size());
    while (length != 0 && !unsearched.ends_with(kStartTag.substr(0, length))) {
        --length;
    }
    std::memmove(bytes_, bytes_ + used_ - length, length);
    std::memset(bytes_ + length, 0, used_ - length);
    used_ = length;
    ResetSearch();
}

void receive_buffer::ResetSearch() {
    consumed_ = 0;
    kept_ = 0;
    start_from_ = 0;
    end_from_ = 0;
}

}  // namespace brivelnox
