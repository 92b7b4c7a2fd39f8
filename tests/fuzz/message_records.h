#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "registry_service/receive_buffer.h"
#include "registry_service/registry_service_event_handler.h"
#include "registry_service/rs_tsp_client.h"
#include "registry_service/tcp_link.h"

namespace brivelnox::fuzz {

/// A link that writes down each message as XML. The attribute `id` of a message can ask its handler for two
/// things: "close" that it closes the link, "throw" that it throws.
class noting_link : public tcp_link {
  public:
    [[nodiscard]] const std::vector<std::string>& Notes() const { return notes_; }
    /// Whether a handler has closed the link since the last time.
    [[nodiscard]] bool TakeClosed() { return std::exchange(closed_, false); }

  protected:
    void OnMessage(const tinyxml2::XMLElement& message) override;

  private:
    std::vector<std::string> notes_;
    bool closed_ = false;
};

/// The provider's client with a handler that writes down each record with all that is in it. A call whose id
/// is "close" closes the link, one whose id is "throw" throws.
class noting_client : private registry_service_event_handler {
  public:
    noting_client() : client_(*this) {}

    [[nodiscard]] tcp_link& Link() { return client_; }
    [[nodiscard]] const std::vector<std::string>& Notes() const { return notes_; }
    [[nodiscard]] bool TakeClosed() { return std::exchange(closed_, false); }

  private:
    void OnRegistrationList(const client_registration_list& registrations, bool initial) override;
    void OnClientRegistered(const client_registration& registration) override;
    void OnClientRefreshed(const client_registration& registration) override;
    void OnClientUnregistered(const client_registration& registration) override;
    void OnCallState(std::int32_t permanent_line_id, const client_call_state& state) override;
    void OnCallRemoved(std::int32_t permanent_line_id, const char* client_call_id) override;
    void React(const std::string& call_id);

    std::vector<std::string> notes_;
    bool closed_ = false;
    rs_tsp_client client_;
};

/// Compares the numbers and flags that the provider reads from each attribute of the message with what the C
/// library's own conversion makes of it.
void CheckAttributes(const std::string& message);

}  // namespace brivelnox::fuzz
