#include "framing_model.h"

#include <algorithm>
#include <cstddef>

#include <tinyxml2.h>

#include "registry_service/parse_cost.h"

namespace brivelnox::fuzz {

namespace {

constexpr std::string_view kStart = "<msg>";
constexpr std::string_view kEnd = "</msg>";

/// Leaves of a text without a start tag what may be the beginning of one.
void KeepBeginningOfStart(std::string& text) {
    for (std::size_t length = std::min(text.size(), kStart.size() - 1); length != 0; --length) {
        if (text.ends_with(kStart.substr(0, length))) {
            text.erase(0, text.size() - length);
            return;
        }
    }
    text.clear();
}

/// Takes the next message out of the text, with everything before it; empty when there is none.
std::string TakeMessage(std::string& text) {
    const std::size_t start = text.find(kStart);
    if (start == std::string::npos) {
        KeepBeginningOfStart(text);
        return {};
    }
    text.erase(0, start);
    const std::size_t end = text.find(kEnd);
    if (end == std::string::npos) {
        return {};
    }
    std::string message = text.substr(0, end + kEnd.size());
    text.erase(0, message.size());
    return message;
}

}  // namespace

std::vector<std::string> FindMessages(const received_chunks& chunks, const message_outcome& rest_counts) {
    std::vector<std::string> messages;
    std::string text;
    for (const std::string& piece : chunks.pieces) {
        text += piece;
        for (std::string message = TakeMessage(text); !message.empty(); message = TakeMessage(text)) {
            messages.push_back(message);
            if (!rest_counts(message)) {
                text.clear();
            }
        }
    }
    return messages;
}

bool IsDelivered(std::string_view message) {
    if (!IsParsedInLinearTime(message)) {
        return false;
    }
    tinyxml2::XMLDocument document(true, tinyxml2::PRESERVE_WHITESPACE);
    if (document.Parse(message.data(), message.size()) != tinyxml2::XML_SUCCESS) {
        return false;
    }
    const tinyxml2::XMLNode* const first = document.FirstChild();
    const tinyxml2::XMLElement* const element = first != nullptr ? first->ToElement() : nullptr;
    return element != nullptr && element->FirstChildElement() != nullptr;
}

}  // namespace brivelnox::fuzz
