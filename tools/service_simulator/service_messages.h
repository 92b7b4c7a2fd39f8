#pragma once

// The responses and events that the service sends, as texts.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brivelnox::simulator {

/// One registered softphone. Text is in the ANSI code page.
struct registration {
    std::int32_t permanent_line_id = 0;
    std::string tapi_line_name;
    std::uint32_t tcp_port = 5070;
    bool client_connected = true;
    bool sip_connected = true;
};

/// A party of a call.
struct party {
    std::string phone_number;
    std::string name;
};

/// The party that forwarded a call, and how ("CFU", "CFB", "PICKUP", ...).
struct forwarder : party {
    std::string forward_type;
};

/// One CallState event. A party that is absent has no element in the message.
struct call_state_event {
    std::int32_t permanent_line_id = 0;
    std::string client_call_id;
    std::string call_state;  ///< "Incoming", "Ringing", "Connected", ...
    bool is_caller = false;
    std::int32_t call_reason = 0;
    std::optional<party> self;
    std::optional<party> peer;
    std::optional<forwarder> forwarded_by;
};

/// Why a RegistrationChanged event is sent.
enum class registration_change { kRegistered, kRefreshed, kUnregistered };

/// The value of the `reason` attribute.
std::string_view ChangeName(registration_change change);

/// The text with "&", "<", ">", "'" and '"' as entities, fit for a quoted attribute. Other bytes stay as they
/// are.
std::string XmlEscape(std::string_view text);

/// `<msg>...</msg>` texts, values escaped, attributes in single quotes.
std::string RegistrationListResponse(std::int32_t id, const std::vector<registration>& registrations);
std::string KeepAliveResponse(std::int32_t id);
std::string RegistrationChangedEvent(registration_change change, const registration& subject);
/// The same with any reason, also one that the protocol does not know.
std::string RegistrationChangedEvent(std::string_view reason, const registration& subject);
std::string CallStateEvent(const call_state_event& event);
std::string CallRemovedEvent(std::int32_t permanent_line_id, std::string_view client_call_id);

}  // namespace brivelnox::simulator
