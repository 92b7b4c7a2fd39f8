#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace brivelnox {

/// The size of the buffer a request is formatted into, its closing null included.
inline constexpr std::size_t kRequestBufferSize = 1024;

// The requests of the service's protocol, as printf texts. Values go into the single-quoted attributes
// exactly as they are: a value with a quote, "<" or "&" makes a malformed message. That is intended; callers
// pass telephone numbers, digits and call identifiers.
inline constexpr char kGetClientRegistrationsRequest[] =
    "<msg><request id='%d'><GetClientRegistrations/></request></msg>";
inline constexpr char kKeepAliveRequest[] = "<msg><request id='%d'><KeepAlive/></request></msg>";
inline constexpr char kPlaceCallRequest[] =
    "<msg><request><placeCall permanentLineId='%d' phoneNumber='%s' "
    "requestedClientCallId='%s'/></request></msg>";
inline constexpr char kAcceptCallRequest[] =
    "<msg><request><acceptCall permanentLineId='%d' clientCallId='%s'/></request></msg>";
inline constexpr char kHoldCallRequest[] =
    "<msg><request><holdCall permanentLineId='%d' clientCallId='%s'/></request></msg>";
inline constexpr char kResumeCallRequest[] =
    "<msg><request><resumeCall permanentLineId='%d' clientCallId='%s'/></request></msg>";
inline constexpr char kTransferCallRequest[] =
    "<msg><request><transferCall permanentLineId='%d' clientCallId='%s' "
    "clientCallOnHoldId='%s'/></request></msg>";
inline constexpr char kForwardCallRequest[] =
    "<msg><request><forwardCall permanentLineId='%d' clientCallId='%s' phoneNumber='%s'/></request></msg>";
inline constexpr char kPlayDtmfRequest[] =
    "<msg><request><playDtmf permanentLineId='%d' clientCallId='%s' digits='%s'/></request></msg>";
inline constexpr char kHangupCallRequest[] =
    "<msg><request><hangupCall permanentLineId='%d' clientCallId='%s'/></request></msg>";

/// Formats a request from one of the texts above; `%d` takes an int, `%s` a `const char*`. Returns nothing
/// when the text would be longer than 1023 bytes: such a request is not sent at all.
std::optional<std::string> FormatRequest(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

}  // namespace brivelnox
