#include "message_records.h"

#include <strings.h>

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <optional>
#include <stdexcept>

#include <tinyxml2.h>

#include "fuzz_input.h"
#include "platform/ansi_text.h"
#include "registry_service/protocol_reader.h"

namespace brivelnox::fuzz {

namespace {

std::string ToText(const client_registration& registration) {
    return std::to_string(registration.permanentLineId) + ' ' + std::to_string(registration.tcpPort) + ' ' +
           std::to_string(registration.clientConnected) + std::to_string(registration.sipConnected) + " '" +
           ToAnsi(registration.tapiLineName) + "'";
}

std::string ToText(const client_call_state& state) {
    std::string text = std::to_string(state.isCaller) + ' ' + std::to_string(state.callReason);
    for (const std::wstring* const field :
         {&state.clientCallId, &state.callState, &state.selfPhoneNumber, &state.selfName,
          &state.peerPhoneNumber, &state.peerName, &state.forwarderPhoneNumber, &state.forwarderName,
          &state.forwardType}) {
        text += " '" + ToAnsi(*field) + "'";
    }
    return text;
}

/// The number at the text's start, if 32 bits can hold it. No XML library and no product in it.
std::optional<long> NumberIn(const char* text) {
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(text, &end, 10);
    if (end == text || errno != 0 || number < std::numeric_limits<std::int32_t>::min() ||
        number > std::numeric_limits<std::int32_t>::max()) {
        return std::nullopt;
    }
    return number;
}

void CheckElement(const tinyxml2::XMLElement& element) {
    for (const tinyxml2::XMLAttribute* attribute = element.FirstAttribute(); attribute != nullptr;
         attribute = attribute->Next()) {
        // The first of several with the same name counts.
        const char* const value = element.Attribute(attribute->Name());
        const std::optional<long> number = NumberIn(value);
        Require(IntegerAttribute(element, attribute->Name()) == number.value_or(0), "numbers are decimal");
        Require(BooleanAttribute(element, attribute->Name()) ==
                    (number ? *number != 0 : strcasecmp(value, "true") == 0),
                "flags are numbers or words");
    }
    for (const tinyxml2::XMLElement* child = element.FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        CheckElement(*child);
    }
}

}  // namespace

void noting_link::OnMessage(const tinyxml2::XMLElement& message) {
    tinyxml2::XMLPrinter printer(nullptr, true);
    message.Accept(&printer);
    notes_.emplace_back(printer.CStr());
    if (message.Attribute("id", "close") != nullptr) {
        closed_ = true;
        CloseLink(false);
    }
    if (message.Attribute("id", "throw") != nullptr) {
        throw std::runtime_error("the handler fails");
    }
}

void noting_client::OnRegistrationList(const client_registration_list& registrations, bool initial) {
    std::string text = initial ? "initial list" : "list";
    for (const client_registration& registration : registrations) {
        text += " [" + ToText(registration) + "]";
    }
    notes_.push_back(text);
}

void noting_client::OnClientRegistered(const client_registration& registration) {
    notes_.push_back("registered " + ToText(registration));
}

void noting_client::OnClientRefreshed(const client_registration& registration) {
    notes_.push_back("refreshed " + ToText(registration));
}

void noting_client::OnClientUnregistered(const client_registration& registration) {
    notes_.push_back("unregistered " + ToText(registration));
}

void noting_client::OnCallState(std::int32_t permanent_line_id, const client_call_state& state) {
    notes_.push_back("state " + std::to_string(permanent_line_id) + ' ' + ToText(state));
    React(ToAnsi(state.clientCallId));
}

void noting_client::OnCallRemoved(std::int32_t permanent_line_id, const char* client_call_id) {
    notes_.push_back("removed " + std::to_string(permanent_line_id) + " '" + client_call_id + "'");
    React(client_call_id);
}

void noting_client::React(const std::string& call_id) {
    if (call_id == "close") {
        closed_ = true;
        client_.CloseLink(false);
    }
    if (call_id == "throw") {
        throw std::runtime_error("the handler fails");
    }
}

void CheckAttributes(const std::string& message) {
    tinyxml2::XMLDocument document(true, tinyxml2::PRESERVE_WHITESPACE);
    if (document.Parse(message.data(), message.size()) == tinyxml2::XML_SUCCESS &&
        document.RootElement() != nullptr) {
        CheckElement(*document.RootElement());
    }
}

}  // namespace brivelnox::fuzz
