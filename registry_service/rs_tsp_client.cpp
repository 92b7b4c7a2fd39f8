#include "registry_service/rs_tsp_client.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

#include <tinyxml2.h>

#include "logging/category_log.h"
#include "registry_service/protocol_reader.h"
#include "registry_service/service_registry_key.h"

namespace brivelnox {

namespace {

constexpr category_log Log{L"RsTspClient"};

constexpr DWORD kServiceIsRunning = 1;
constexpr std::int32_t kWaitingRequestId = 0;
constexpr std::int32_t kFirstRequestId = 1;
constexpr std::int32_t kLastRequestId = 10000;
// What a request is formatted into, its closing null included.
constexpr std::size_t kRequestBufferSize = 1024;

client_registration ReadLoggedRegistration(const tinyxml2::XMLElement& element) {
    client_registration registration = ReadRegistration(element);
    Log(L"Parsed client registration. TAPI line name: %s, permanentLineId: 0x%08X, tcpPort: %d, client connected: %d, sip connected: %d",
        registration.tapiLineName.c_str(), registration.permanentLineId, registration.tcpPort,
        registration.clientConnected, registration.sipConnected);
    return registration;
}

}  // namespace

rs_tsp_client::rs_tsp_client(registry_service_event_handler& handler, const rs_tsp_client_timing& timing)
    : handler_(handler), timing_(timing), list_arrived_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    Log(L"()");
}

rs_tsp_client::~rs_tsp_client() {
    Stop();
}

void rs_tsp_client::Start(const std::weak_ptr<void>& owner) {
    SetOwner(owner);
    ConnectToService(false);
    timer_.Start(timing_.keep_alive_period, owner, [this] { KeepAliveTick(); });
}

void rs_tsp_client::Stop() {
    timer_.Stop();
    CloseForGood();
}

void rs_tsp_client::ConnectToService(bool send_list) {
    const std::optional<service_publication> publication = ReadServicePublication();
    if (!publication) {
        Log(L"Could not open SOFTWARE\\Brivelnox\\TspRegistryService");
        return;
    }
    if (!publication->up_and_running) {
        Log(L"Could not read UpAndRunning");
    }
    if (!publication->tcp_port) {
        Log(L"Could not read RegistryServiceTcpPort");
    }
    if (publication->up_and_running.value_or(0) != kServiceIsRunning) {
        Log(L"Registry service not yet running");
        return;
    }
    const DWORD port = publication->tcp_port.value_or(0);
    if (port == 0) {
        Log(L"Registry service listening port not known");
        return;
    }
    Log(L"Connect to port %d", port);
    if (OpenLink(static_cast<std::uint16_t>(port)) && send_list) {
        (void)RequestClientRegistrations(false);
    }
}

void rs_tsp_client::KeepAliveTick() {
    if (!IsConnected()) {
        Log(L"ReConnect");
        ConnectToService(true);
        return;
    }
    const std::uint32_t id = keep_alive_counter_.fetch_add(1);
    last_keep_alive_sent_.store(id);
    // One that cannot be sent closes the link; the next tick repairs it.
    (void)SendRequest("<msg><request id='%d'><KeepAlive/></request></msg>", static_cast<int>(id));
}

std::int32_t rs_tsp_client::NextRequestId() {
    std::int32_t id = request_counter_.load();
    while (!request_counter_.compare_exchange_weak(id, id >= kLastRequestId ? kFirstRequestId : id + 1)) {
    }
    return id;
}

client_registration_list rs_tsp_client::RequestClientRegistrations(bool wait) {
    const std::int32_t id = wait ? kWaitingRequestId : NextRequestId();
    (void)SendRequest("<msg><request id='%d'><GetClientRegistrations/></request></msg>", id);
    if (!wait) {
        return {};
    }
    // Whether it was signalled is deliberately ignored: after the time-out the stored list counts as it is.
    (void)WaitForSingleObject(list_arrived_.get(), timing_.list_wait);
    const lock_guard guard(list_lock_);
    return registrations_;
}

bool rs_tsp_client::SendRequest(const char* format, ...) {
    char text[kRequestBufferSize] = {};
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    return length >= 0 && static_cast<std::size_t>(length) < sizeof(text) && SendText(text);
}

bool rs_tsp_client::SendCallRequest(const call_request& request, std::int32_t permanent_line_id,
                                    const std::string& argument, const std::string& second_argument) {
    if (request.second_argument == nullptr) {
        return SendRequest("<msg><request><%s permanentLineId='%d' %s='%s'/></request></msg>",
                           request.command, permanent_line_id, request.argument, argument.c_str());
    }
    return SendRequest("<msg><request><%s permanentLineId='%d' %s='%s' %s='%s'/></request></msg>",
                       request.command, permanent_line_id, request.argument, argument.c_str(),
                       request.second_argument, second_argument.c_str());
}

/// Which payload of which envelope goes where. Anything else is ignored.
struct rs_tsp_client::payload_row {
    const char* envelope;
    const char* payload;
    payload_handler handle;
};

void rs_tsp_client::OnMessage(const tinyxml2::XMLElement& message) {
    static constexpr payload_row kPayloads[] = {
        {"event", "RegistrationChanged", &rs_tsp_client::OnRegistrationChanged},
        {"event", "CallState", &rs_tsp_client::OnCallState},
        {"event", "CallRemoved", &rs_tsp_client::OnCallRemoved},
        {"response", "RegistrationList", &rs_tsp_client::OnRegistrationList},
        {"response", "KeepAlive", &rs_tsp_client::OnKeepAlive},
    };
    const tinyxml2::XMLElement* const payload = message.FirstChildElement();
    if (payload == nullptr) {
        return;
    }
    for (const payload_row& row : kPayloads) {
        if (std::strcmp(row.envelope, message.Name()) == 0 &&
            std::strcmp(row.payload, payload->Name()) == 0) {
            (this->*row.handle)(*payload, IntegerAttribute(message, "id"));
            return;
        }
    }
}

void rs_tsp_client::OnRegistrationChanged(const tinyxml2::XMLElement& payload, std::int32_t) {
    using registration_slot = void (registry_service_event_handler::*)(const client_registration&);
    static constexpr struct {
        std::string_view reason;
        registration_slot slot;
    } kReasons[] = {
        {"registered", &registry_service_event_handler::OnClientRegistered},
        {"refreshed", &registry_service_event_handler::OnClientRefreshed},
        {"unregistered", &registry_service_event_handler::OnClientUnregistered},
    };
    const tinyxml2::XMLElement* const element = payload.FirstChildElement("Registration");
    if (element == nullptr) {
        return;
    }
    const client_registration registration = ReadLoggedRegistration(*element);
    const std::string_view reason = TextAttribute(payload, "reason");
    for (const auto& row : kReasons) {
        if (row.reason == reason) {
            (handler_.*row.slot)(registration);
        }
    }
}

void rs_tsp_client::OnCallState(const tinyxml2::XMLElement& payload, std::int32_t) {
    handler_.OnCallState(IntegerAttribute(payload, "permanentLineId"), ReadCallState(payload));
}

void rs_tsp_client::OnCallRemoved(const tinyxml2::XMLElement& payload, std::int32_t) {
    handler_.OnCallRemoved(IntegerAttribute(payload, "permanentLineId"),
                           TextAttribute(payload, "clientCallId"));
}

void rs_tsp_client::OnRegistrationList(const tinyxml2::XMLElement& payload, std::int32_t id) {
    client_registration_list registrations;
    for (const tinyxml2::XMLElement* element = payload.FirstChildElement("Registration"); element != nullptr;
         element = element->NextSiblingElement("Registration")) {
        registrations.push_back(ReadLoggedRegistration(*element));
    }
    const bool initial = id == kWaitingRequestId;
    {
        const lock_guard guard(list_lock_);
        registrations_ = registrations;
    }
    if (initial) {
        Log(L"Got initial line list");
    }
    (void)SetEvent(list_arrived_.get());
    handler_.OnRegistrationList(registrations, initial);
}

void rs_tsp_client::OnKeepAlive(const tinyxml2::XMLElement&, std::int32_t id) {
    last_keep_alive_answered_.store(static_cast<std::uint32_t>(id));
}

}  // namespace brivelnox
