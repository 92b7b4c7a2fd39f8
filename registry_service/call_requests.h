#pragma once

#include <cstdint>
#include <string>

namespace brivelnox {

/// A request about a call in the words of the service's protocol: its command, and the names of the one or
/// two arguments that stand behind the line's identifier.
struct call_request {
    const char* command;
    const char* argument;
    const char* second_argument = nullptr;
};

inline constexpr call_request kPlaceCall = {"placeCall", "phoneNumber", "requestedClientCallId"};
inline constexpr call_request kAcceptCall = {"acceptCall", "clientCallId"};
inline constexpr call_request kHoldCall = {"holdCall", "clientCallId"};
inline constexpr call_request kResumeCall = {"resumeCall", "clientCallId"};
/// Joins the active call with the one on hold.
inline constexpr call_request kTransferCall = {"transferCall", "clientCallId", "clientCallOnHoldId"};
inline constexpr call_request kForwardCall = {"forwardCall", "clientCallId", "phoneNumber"};
inline constexpr call_request kPlayDtmf = {"playDtmf", "clientCallId", "digits"};
inline constexpr call_request kHangupCall = {"hangupCall", "clientCallId"};

/// The way of a line's requests to its softphone. A request is sent at once or lost: nothing is queued while
/// the service is away, and no answer is awaited; outcomes arrive later as call events.
class call_requests {
  public:
    virtual ~call_requests() = default;

    /// Sends a request; a second argument that it does not have is ignored. The arguments are in the ANSI
    /// code page and go into the single-quoted attributes exactly as they are: one with a quote, "<" or "&"
    /// makes a malformed message. That is intended; callers pass telephone numbers, digits and call
    /// identifiers.
    ///
    /// Returns whether the request was sent; one of more than 1023 bytes is not. May be called on any thread
    /// and with the event lock held: it does not wait for the link's reader while a handler runs, but on the
    /// reader thread itself a send that fails takes the whole 5000 ms of that wait.
    virtual bool SendCallRequest(const call_request& request, std::int32_t permanent_line_id,
                                 const std::string& argument, const std::string& second_argument) = 0;
};

}  // namespace brivelnox
