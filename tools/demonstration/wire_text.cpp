#include "tools/demonstration/wire_text.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "tools/console/command_words.h"

namespace brivelnox::demonstration {

namespace {

constexpr std::size_t kLongestForeignText = 200;
constexpr std::size_t kUuidLength = 36;
constexpr std::size_t kUuidFirstGroup = 8;

struct attribute {
    std::string name;
    std::string value;
};

struct element {
    std::string name;
    std::vector<attribute> attributes;
};

/// The attributes in the order in which they are shown, and their short names; an empty short name shows the
/// value alone. Others follow under their own names.
struct short_name {
    std::string_view name;
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

constexpr std::array<std::pair<std::string_view, char>, 5> kEntities{
    {{"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&apos;", '\''}, {"&quot;", '"'}}};

std::string Decode(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        const auto entity = std::find_if(kEntities.begin(), kEntities.end(), [&](const auto& each) {
            return text.substr(i, each.first.size()) == each.first;
        });
        if (entity == kEntities.end()) {
            result += text[i];
            ++i;
        } else {
            result += entity->second;
            i += entity->first.size();
        }
    }
    return console::ToUtf8(console::FromAnsi(result));
}

std::string Shorten(std::string_view name, const std::string& value) {
    const bool is_uuid = name.ends_with("Id") && value.size() == kUuidLength && value[kUuidFirstGroup] == '-';
    return console::QuoteWord(is_uuid ? value.substr(0, kUuidFirstGroup) + ".." : value);
}

/// Reads one tag's inside, "name a='b' c='d'/".
std::optional<element> ReadTag(std::string_view tag) {
    element result;
    std::size_t position = tag.find_first_of(" /");
    result.name = tag.substr(0, position);
    while (position != std::string_view::npos && position < tag.size()) {
        position = tag.find_first_not_of(' ', position);
        if (position == std::string_view::npos || tag[position] == '/') {
            break;
        }
        const std::size_t equals = tag.find("='", position);
        const std::size_t end = equals == std::string_view::npos ? equals : tag.find('\'', equals + 2);
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        result.attributes.push_back({std::string(tag.substr(position, equals - position)),
                                     Decode(tag.substr(equals + 2, end - equals - 2))});
        position = end + 1;
    }
    return result;
}

/// The elements of a message in document order, its end tags left out.
std::optional<std::vector<element>> ReadElements(std::string_view message) {
    std::vector<element> elements;
    while (!message.empty()) {
        const std::size_t end = message.find('>');
        if (message.front() != '<' || end == std::string_view::npos) {
            return std::nullopt;
        }
        const std::string_view tag = message.substr(1, end - 1);
        message.remove_prefix(end + 1);
        if (tag.starts_with('/')) {
            continue;
        }
        std::optional<element> read = ReadTag(tag);
        if (!read) {
            return std::nullopt;
        }
        elements.push_back(std::move(*read));
    }
    return elements;
}

/// What goes without saying.
bool IsNothing(const attribute& each) {
    return each.value.empty() || (each.name == "callReason" && each.value == "0");
}

const short_name* FindShortName(std::string_view name) {
    const auto found = std::find_if(kShortNames.begin(), kShortNames.end(),
                                    [name](const auto& each) { return each.name == name; });
    return found == kShortNames.end() ? nullptr : &*found;
}

std::string AttributesText(element subject) {
    const auto rank = [](const attribute& each) {
        const short_name* const known = FindShortName(each.name);
        return known == nullptr ? kShortNames.data() + kShortNames.size() : known;
    };
    std::stable_sort(subject.attributes.begin(), subject.attributes.end(),
                     [&](const attribute& a, const attribute& b) { return rank(a) < rank(b); });
    std::string text;
    for (const attribute& each : subject.attributes) {
        if (IsNothing(each)) {
            continue;
        }
        const short_name* const known = FindShortName(each.name);
        const std::string_view shown = known == nullptr ? std::string_view(each.name) : known->shown;
        text.append(text.empty() ? "" : " ").append(shown).append(shown.empty() ? "" : "=");
        text.append(Shorten(each.name, each.value));
    }
    return text;
}

/// A party: number, name and how it forwarded, without names of attributes. The own side is known by its
/// number.
std::string PartyText(const element& subject) {
    std::string text;
    for (const attribute& each : subject.attributes) {
        if (!each.value.empty() && (subject.name != "Self" || each.name == "phoneNumber")) {
            text.append(text.empty() ? "" : " ").append(console::QuoteWord(each.value));
        }
    }
    return text;
}

}  // namespace

std::string WireText(std::string_view message) {
    const std::optional<std::vector<element>> elements = ReadElements(message);
    if (!elements || elements->size() < 3) {
        const std::string escaped = console::EscapeLine(message.substr(0, kLongestForeignText));
        return escaped + (message.size() > kLongestForeignText ? "..." : "");
    }
    // msg, then request, response or event, whose id belongs to what it carries.
    const element& envelope = (*elements)[1];
    std::string text;
    for (std::size_t i = 2; i < elements->size(); ++i) {
        const std::string attributes = AttributesText((*elements)[i]);
        if (i == 2) {
            text = (*elements)[i].name;
            const std::string id = AttributesText(envelope);
            text.append(id.empty() ? "" : " ")
                .append(id)
                .append(attributes.empty() ? "" : " ")
                .append(attributes);
        } else {
            const bool is_party = (*elements)[2].name == "CallState";
            const std::string inside = is_party ? PartyText((*elements)[i]) : attributes;
            text.append(" ").append((*elements)[i].name).append("(").append(inside).append(")");
        }
    }
    return text;
}

}  // namespace brivelnox::demonstration
