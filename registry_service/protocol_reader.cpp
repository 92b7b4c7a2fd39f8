#include "registry_service/protocol_reader.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include <tinyxml2.h>

#include "platform/ansi_text.h"

namespace brivelnox {

namespace {

// What a letter of ASCII has in lower case and not in upper case.
constexpr char kLowerCaseBit = 0x20;

/// The decimal number at the start of the text. Not the XML library's own reader, which also takes
/// hexadecimal.
std::optional<std::int32_t> ParseDecimal(const char* text) {
    text += std::strspn(text, " \t\r\n\v\f");
    // Of the two signs std::from_chars knows the minus only.
    text += text[0] == '+' && text[1] != '-' ? 1 : 0;
    std::int32_t value = 0;
    const std::from_chars_result read = std::from_chars(text, text + std::strlen(text), value);
    return read.ec == std::errc() ? std::optional(value) : std::nullopt;
}

std::wstring WideAttribute(const tinyxml2::XMLElement& element, const char* name) {
    return ToWide(TextAttribute(element, name));
}

/// The attribute of the first child of that name; empty when there is none.
std::wstring ChildAttribute(const tinyxml2::XMLElement& element, const char* child, const char* name) {
    const tinyxml2::XMLElement* const found = element.FirstChildElement(child);
    return found != nullptr ? WideAttribute(*found, name) : std::wstring();
}

}  // namespace

const char* TextAttribute(const tinyxml2::XMLElement& element, const char* name) {
    const char* value = element.Attribute(name);
    return value != nullptr ? value : "";
}

std::int32_t IntegerAttribute(const tinyxml2::XMLElement& element, const char* name) {
    return ParseDecimal(TextAttribute(element, name)).value_or(0);
}

bool BooleanAttribute(const tinyxml2::XMLElement& element, const char* name) {
    // Not the XML library's own reader, which knows three spellings of "true" only.
    const char* value = TextAttribute(element, name);
    if (const std::optional<std::int32_t> number = ParseDecimal(value)) {
        return *number != 0;
    }
    return std::ranges::equal(
        std::string_view(value), std::string_view("true"),
        [](char left, char lower_case) { return (left | kLowerCaseBit) == lower_case; });
}

client_registration ReadRegistration(const tinyxml2::XMLElement& element) {
    return {
        .permanentLineId = IntegerAttribute(element, "permanentLineId"),
        .tcpPort = static_cast<std::uint32_t>(IntegerAttribute(element, "tcpPort")),
        .clientConnected = BooleanAttribute(element, "clientConnected"),
        .sipConnected = BooleanAttribute(element, "sipConnected"),
        .tapiLineName = WideAttribute(element, "tapiLineName"),
    };
}

client_call_state ReadCallState(const tinyxml2::XMLElement& element) {
    return {
        .clientCallId = WideAttribute(element, "clientCallId"),
        .callState = WideAttribute(element, "callState"),
        .isCaller = BooleanAttribute(element, "isCaller"),
        .selfPhoneNumber = ChildAttribute(element, "Self", "phoneNumber"),
        .selfName = ChildAttribute(element, "Self", "name"),
        .peerPhoneNumber = ChildAttribute(element, "Peer", "phoneNumber"),
        .peerName = ChildAttribute(element, "Peer", "name"),
        .forwarderPhoneNumber = ChildAttribute(element, "Forwarder", "phoneNumber"),
        .forwarderName = ChildAttribute(element, "Forwarder", "name"),
        .forwardType = ChildAttribute(element, "Forwarder", "forwardType"),
        .callReason = IntegerAttribute(element, "callReason"),
    };
}

}  // namespace brivelnox
