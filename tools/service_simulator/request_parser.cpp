#include "tools/service_simulator/request_parser.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include <tinyxml2.h>

namespace brivelnox::simulator {

namespace {

constexpr std::string_view kStartTag = "<msg>";
constexpr std::string_view kEndTag = "</msg>";

/// An argument of a request that is a text.
struct text_argument {
    const char* name = nullptr;
    std::string request::*value = nullptr;
};

/// How a request is written: with an id and no arguments, or with the line and then the texts.
struct request_form {
    request_kind kind = request_kind::kMalformed;
    std::string_view name;
    bool has_id = false;
    std::vector<text_argument> texts;
};

const std::vector<request_form>& Forms() {
    using enum request_kind;
    static constexpr text_argument kCall{"clientCallId", &request::client_call_id};
    static constexpr text_argument kPlacedCall{"requestedClientCallId", &request::client_call_id};
    static constexpr text_argument kCallOnHold{"clientCallOnHoldId", &request::client_call_on_hold_id};
    static constexpr text_argument kNumber{"phoneNumber", &request::phone_number};
    static constexpr text_argument kDigits{"digits", &request::digits};
    static const std::vector<request_form> forms{
        {kGetClientRegistrations, "GetClientRegistrations", true, {}},
        {kKeepAlive, "KeepAlive", true, {}},
        {kPlaceCall, "placeCall", false, {kNumber, kPlacedCall}},
        {kAcceptCall, "acceptCall", false, {kCall}},
        {kHoldCall, "holdCall", false, {kCall}},
        {kResumeCall, "resumeCall", false, {kCall}},
        {kTransferCall, "transferCall", false, {kCall, kCallOnHold}},
        {kForwardCall, "forwardCall", false, {kCall, kNumber}},
        {kPlayDtmf, "playDtmf", false, {kCall, kDigits}},
        {kHangupCall, "hangupCall", false, {kCall}},
    };
    return forms;
}

const request_form* FindForm(std::string_view name) {
    const auto found =
        std::find_if(Forms().begin(), Forms().end(), [name](const auto& each) { return each.name == name; });
    return found == Forms().end() ? nullptr : &*found;
}

std::optional<request> Read(const request_form& form, const tinyxml2::XMLElement& envelope,
                            const tinyxml2::XMLElement& command) {
    request result;
    result.kind = form.kind;
    result.id = envelope.IntAttribute("id");
    result.permanent_line_id = command.IntAttribute("permanentLineId");
    for (const text_argument& each : form.texts) {
        const char* const value = command.Attribute(each.name);
        // XML forbids both characters in a value; the library lets them pass.
        if (value == nullptr || std::string_view(value).find_first_of("<&") != std::string_view::npos) {
            return std::nullopt;
        }
        result.*each.value = value;
    }
    return result;
}

std::string Attribute(std::string_view name, std::string_view value) {
    return std::string(" ").append(name).append("='").append(value).append("'");
}

/// The request as the protocol writes it.
std::string Write(const request_form& form, const request& subject) {
    std::string id;
    std::string arguments;
    if (form.has_id) {
        id = Attribute("id", std::to_string(subject.id));
    } else {
        arguments = Attribute("permanentLineId", std::to_string(subject.permanent_line_id));
    }
    for (const text_argument& each : form.texts) {
        arguments += Attribute(each.name, subject.*each.value);
    }
    std::string text = "<msg><request" + id + "><";
    return text.append(form.name).append(arguments).append("/></request></msg>");
}

}  // namespace

std::string_view RequestName(request_kind kind) {
    const auto found =
        std::find_if(Forms().begin(), Forms().end(), [kind](const auto& each) { return each.kind == kind; });
    return found == Forms().end() ? "malformed" : found->name;
}

request ParseRequest(std::string_view message) {
    // Entities stay as they are, so that they are seen.
    tinyxml2::XMLDocument document(false);
    if (document.Parse(message.data(), message.size()) != tinyxml2::XML_SUCCESS) {
        return {};
    }
    const auto envelope =
        tinyxml2::XMLConstHandle(document).FirstChildElement("msg").FirstChildElement("request");
    const tinyxml2::XMLElement* const command = envelope.FirstChildElement().ToElement();
    const request_form* const form = command == nullptr ? nullptr : FindForm(command->Name());
    if (form == nullptr) {
        return {};
    }
    const std::optional<request> read = Read(*form, *envelope.ToElement(), *command);
    // Written again it has to be the same bytes: so nothing stands there that was not read.
    return read && Write(*form, *read) == message ? *read : request{};
}

std::vector<std::string> message_splitter::Add(std::string_view bytes) {
    std::vector<std::string> complete;
    rest_.append(bytes);
    std::size_t position = 0;
    while (position < rest_.size()) {
        const std::size_t start = rest_.find(kStartTag, position);
        if (start != position) {
            // Bytes between messages. Without a start tag behind them they may be the beginning of one.
            if (start == std::string::npos) {
                if (kStartTag.substr(0, rest_.size() - position) ==
                    std::string_view(rest_).substr(position)) {
                    break;
                }
                complete.push_back(rest_.substr(position));
                position = rest_.size();
                break;
            }
            complete.push_back(rest_.substr(position, start - position));
            position = start;
        }
        const std::size_t end = rest_.find(kEndTag, position);
        if (end == std::string::npos) {
            break;
        }
        complete.push_back(rest_.substr(position, end + kEndTag.size() - position));
        position = end + kEndTag.size();
    }
    rest_.erase(0, position);
    return complete;
}

}  // namespace brivelnox::simulator
