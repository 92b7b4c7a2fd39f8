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
    client_registration registration;
    registration.tapiLineName = WideAttribute(element, "tapiLineName");
    registration.permanentLineId = IntegerAttribute(element, "permanentLineId");
    registration.tcpPort = static_cast<std::uint32_t>(IntegerAttribute(element, "tcpPort"));
    registration.clientConnected = BooleanAttribute(element, "clientConnected");
    registration.sipConnected = BooleanAttribute(element, "sipConnected");
    return registration;
}

client_call_state ReadCallState(const tinyxml2::XMLElement& element) {
    client_call_state state;
    state.isCaller = BooleanAttribute(element, "isCaller");
    state.callReason = IntegerAttribute(element, "callReason");
    state.clientCallId = WideAttribute(element, "clientCallId");
    state.callState = WideAttribute(element, "callState");
    if (const tinyxml2::XMLElement* self = element.FirstChildElement("Self")) {
        state.selfPhoneNumber = WideAttribute(*self, "phoneNumber");
        state.selfName = WideAttribute(*self, "name");
    }
    if (const tinyxml2::XMLElement* peer = element.FirstChildElement("Peer")) {
        state.peerPhoneNumber = WideAttribute(*peer, "phoneNumber");
        state.peerName = WideAttribute(*peer, "name");
    }
    if (const tinyxml2::XMLElement* forwarder = element.FirstChildElement("Forwarder")) {
        state.forwarderPhoneNumber = WideAttribute(*forwarder, "phoneNumber");
        state.forwarderName = WideAttribute(*forwarder, "name");
        state.forwardType = WideAttribute(*forwarder, "forwardType");
    }
    return state;
}

}  // namespace brivelnox
