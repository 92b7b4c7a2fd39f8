#pragma once

#include <cstdint>

#include "registry_service/client_records.h"

namespace brivelnox {

/// Receives what the registry service reports. All operations run on the link's reader thread with the link's
/// lock held, so a handler must not wait for anything that needs that thread; the records are valid only for
/// the duration of the call. What a handler throws is caught and dropped by the link.
class registry_service_event_handler {
  public:
    virtual ~registry_service_event_handler() = default;

    /// A complete registration list; `initial` is true when it answers the request that the provider waits
    /// for.
    virtual void OnRegistrationList(const client_registration_list& registrations, bool initial) = 0;
    /// A client has registered.
    virtual void OnClientRegistered(const client_registration& registration) = 0;
    /// A client has renewed its registration.
    virtual void OnClientRefreshed(const client_registration& registration) = 0;
    /// A client has gone.
    virtual void OnClientUnregistered(const client_registration& registration) = 0;
    /// A call on the line has a new state or new parties.
    virtual void OnCallState(std::int32_t permanent_line_id, const client_call_state& state) = 0;
    /// A call no longer exists. The call id is in the ANSI code page, exactly as received.
    virtual void OnCallRemoved(std::int32_t permanent_line_id, const char* client_call_id) = 0;
};

}  // namespace brivelnox
