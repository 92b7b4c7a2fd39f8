#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "received_chunks.h"

namespace brivelnox::fuzz {

/// Says whether what was received behind a message still counts: a message that is none, and one whose
/// handler closes the link, lose it.
using message_outcome = std::function<bool(const std::string& message)>;

/// The messages in what is received, found the plain way. It knows nothing of buffers: it keeps only what may
/// still become a message, that is from the last start tag on, or a start tag's own beginning.
std::vector<std::string> FindMessages(const received_chunks& chunks, const message_outcome& rest_counts);

/// Whether the link hands the message over: it is one XML document whose first node is an element that has
/// one, and it is not refused for the time that it would take, which is the product's own word; that such a
/// time is never taken is another rule.
bool IsDelivered(std::string_view message);

}  // namespace brivelnox::fuzz
