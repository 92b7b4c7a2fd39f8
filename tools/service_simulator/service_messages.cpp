#include "tools/service_simulator/service_messages.h"

namespace brivelnox::simulator {

namespace {

std::string Attribute(std::string_view name, std::string_view value) {
    std::string text = " ";
    text.append(name).append("='").append(XmlEscape(value)).append("'");
    return text;
}

std::string Attribute(std::string_view name, std::int32_t value) {
    return Attribute(name, std::to_string(value));
}

std::string Attribute(std::string_view name, bool value) {
    return Attribute(name, std::string_view(value ? "true" : "false"));
}

std::string RegistrationElement(const registration& subject) {
    return "<Registration" + Attribute("tapiLineName", std::string_view(subject.tapi_line_name)) +
           Attribute("permanentLineId", subject.permanent_line_id) +
           Attribute("tcpPort", std::string_view(std::to_string(subject.tcp_port))) +
           Attribute("clientConnected", subject.client_connected) +
           Attribute("sipConnected", subject.sip_connected) + "/>";
}

std::string PartyAttributes(const party& who) {
    return Attribute("phoneNumber", std::string_view(who.phone_number)) +
           Attribute("name", std::string_view(who.name));
}

std::string Event(std::string_view payload) {
    std::string text = "<msg><event>";
    text.append(payload).append("</event></msg>");
    return text;
}

std::string Response(std::int32_t id, std::string_view payload) {
    std::string text = "<msg><response";
    text.append(Attribute("id", id)).append(">").append(payload).append("</response></msg>");
    return text;
}

}  // namespace

std::string_view ChangeName(registration_change change) {
    switch (change) {
        case registration_change::kRegistered:
            return "registered";
        case registration_change::kRefreshed:
            return "refreshed";
        case registration_change::kUnregistered:
            return "unregistered";
    }
    return "";
}

std::string XmlEscape(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '\'':
                result += "&apos;";
                break;
            case '"':
                result += "&quot;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

std::string RegistrationListResponse(std::int32_t id, const std::vector<registration>& registrations) {
    std::string payload = "<RegistrationList>";
    for (const registration& entry : registrations) {
        payload += RegistrationElement(entry);
    }
    payload += "</RegistrationList>";
    return Response(id, payload);
}

std::string KeepAliveResponse(std::int32_t id) {
    return Response(id, "<KeepAlive/>");
}

std::string RegistrationChangedEvent(registration_change change, const registration& subject) {
    return RegistrationChangedEvent(ChangeName(change), subject);
}

std::string RegistrationChangedEvent(std::string_view reason, const registration& subject) {
    return Event("<RegistrationChanged" + Attribute("reason", reason) + ">" + RegistrationElement(subject) +
                 "</RegistrationChanged>");
}

std::string CallStateEvent(const call_state_event& event) {
    std::string payload = "<CallState" + Attribute("isCaller", event.is_caller) +
                          Attribute("callReason", event.call_reason) +
                          Attribute("clientCallId", std::string_view(event.client_call_id)) +
                          Attribute("callState", std::string_view(event.call_state)) +
                          Attribute("permanentLineId", event.permanent_line_id) + ">";
    if (event.self) {
        payload += "<Self" + PartyAttributes(*event.self) + "/>";
    }
    if (event.peer) {
        payload += "<Peer" + PartyAttributes(*event.peer) + "/>";
    }
    if (event.forwarded_by) {
        payload += "<Forwarder" + PartyAttributes(*event.forwarded_by) +
                   Attribute("forwardType", std::string_view(event.forwarded_by->forward_type)) + "/>";
    }
    return Event(payload + "</CallState>");
}

std::string CallRemovedEvent(std::int32_t permanent_line_id, std::string_view client_call_id) {
    return Event("<CallRemoved" + Attribute("clientCallId", client_call_id) +
                 Attribute("permanentLineId", permanent_line_id) + "/>");
}

}  // namespace brivelnox::simulator
