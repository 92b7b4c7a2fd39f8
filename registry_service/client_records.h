#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace brivelnox {

/// One softphone client that is registered at the service: one TAPI line.
struct client_registration {
    std::int32_t permanentLineId = 0;  // the line's stable identifier at the service
    std::uint32_t tcpPort = 0;         // the client's own port; 0 in a list means "not registered"
    bool clientConnected = false;      // the softphone is connected to the service
    bool sipConnected = false;         // the softphone's telephony registration is up
    std::wstring tapiLineName;         // the name for TAPI, may be empty
};

/// A registration list, in the order of the service's message.
using client_registration_list = std::vector<client_registration>;

/// One CallState event: the state of one call as its softphone sees it. Absent parties are empty texts.
struct client_call_state {
    std::wstring clientCallId;
    std::wstring callState;
    bool isCaller = false;
    std::wstring selfPhoneNumber;
    std::wstring selfName;
    std::wstring peerPhoneNumber;
    std::wstring peerName;
    std::wstring forwarderPhoneNumber;
    std::wstring forwarderName;
    std::wstring forwardType;
    std::int32_t callReason = 0;
};

}  // namespace brivelnox
