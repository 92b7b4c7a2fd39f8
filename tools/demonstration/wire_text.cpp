#include "tools/demonstration/wire_text.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include <tinyxml2.h>

#include "tools/console/command_words.h"

namespace brivelnox::demonstration {

namespace {

constexpr std::size_t kLongestForeignText = 200;
constexpr std::size_t kUuidLength = 36;
constexpr std::size_t kUuidFirstGroup = 8;

/// The attributes that are shown first, in this order, and their short names; an empty short name shows the
/// value alone. Others follow under their own names.
struct short_name {
    const char* name;
    std::string_view shown;
};
constexpr std::array kShortNames{
    short_name{"callState", ""},
    short_name{"reason", ""},
    short_name{"tapiLineName", ""},
    short_name{"permanentLineId", "line"},
    short_name{"clientCallId", "call"},
    short_name{"requestedClientCallId", "call"},
    short_name{"clientCallOnHoldId", "held"},
    short_name{"phoneNumber", "number"},
    short_name{"name", ""},
    short_name{"callReason", "reason"},
    short_name{"isCaller", "caller"},
    short_name{"tcpPort", "port"},
    short_name{"clientConnected", "client"},
    short_name{"sipConnected", "sip"},
};

void Append(std::string& text, std::string_view more) {
    text.append(text.empty() || more.empty() ? "" : " ").append(more);
}

/// The attribute as it is shown; nothing for what goes without saying.
std::string AttributeText(std::string_view name, std::string_view shown, std::string_view value) {
    if (value.empty() || (name == "callReason" && value == "0")) {
        return {};
    }
    const bool is_uuid = name.ends_with("Id") && value.size() == kUuidLength && value[kUuidFirstGroup] == '-';
    std::string text(shown);
    text.append(shown.empty() ? "" : "=");
    return text +
           (is_uuid ? std::string(value.substr(0, kUuidFirstGroup)) + ".." : console::QuoteWord(value));
}

std::string AttributesText(const tinyxml2::XMLElement& subject) {
    std::string text;
    for (const short_name& each : kShortNames) {
        if (const char* const value = subject.Attribute(each.name)) {
            Append(text, AttributeText(each.name, each.shown, value));
        }
    }
    for (const tinyxml2::XMLAttribute* each = subject.FirstAttribute(); each != nullptr;
         each = each->Next()) {
        const std::string_view name = each->Name();
        if (std::none_of(kShortNames.begin(), kShortNames.end(),
                         [name](const short_name& known) { return known.name == name; })) {
            Append(text, AttributeText(name, name, each->Value()));
        }
    }
    return text;
}

/// A party: number, name and how it forwarded, without names of attributes. The own side is known by its
/// number.
std::string PartyText(const tinyxml2::XMLElement& party) {
    std::string text;
    for (const tinyxml2::XMLAttribute* each = party.FirstAttribute(); each != nullptr; each = each->Next()) {
        const bool tells =
            party.Name() != std::string_view("Self") || each->Name() == std::string_view("phoneNumber");
        Append(text, tells ? AttributeText(each->Name(), "", each->Value()) : "");
    }
    return text;
}

/// The element that is all there is in the other; null if there is none, or something else.
const tinyxml2::XMLElement* OnlyChild(const tinyxml2::XMLNode* parent) {
    const tinyxml2::XMLNode* const child = parent == nullptr ? nullptr : parent->FirstChild();
    return child == nullptr || child->NextSibling() != nullptr ? nullptr : child->ToElement();
}

}  // namespace

std::string WireText(std::string_view message) {
    const std::string readable = console::ToUtf8(console::FromAnsi(message));
    tinyxml2::XMLDocument document;
    const bool is_xml = document.Parse(readable.data(), readable.size()) == tinyxml2::XML_SUCCESS;
    // The request, response or event, whose id belongs to what it carries.
    const tinyxml2::XMLElement* const envelope = is_xml ? OnlyChild(OnlyChild(&document)) : nullptr;
    const tinyxml2::XMLElement* const payload = OnlyChild(envelope);
    if (payload == nullptr) {
        const std::string escaped = console::EscapeLine(message.substr(0, kLongestForeignText));
        return escaped + (message.size() > kLongestForeignText ? "..." : "");
    }
    const std::string_view name = payload->Name();
    std::string text(name);
    Append(text, AttributesText(*envelope));
    Append(text, AttributesText(*payload));
    for (const tinyxml2::XMLElement* each = payload->FirstChildElement(); each != nullptr;
         each = each->NextSiblingElement()) {
        const std::string inside = name == "CallState" ? PartyText(*each) : AttributesText(*each);
        text.append(" ").append(each->Name()).append("(").append(inside).append(")");
    }
    return text;
}

}  // namespace brivelnox::demonstration
