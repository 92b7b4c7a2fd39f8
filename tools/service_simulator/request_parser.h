#pragma once

// The requests that the service receives, read strictly: a message counts as a request only if it is, byte
// for byte, one of the texts that the protocol knows. Everything else is malformed.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace brivelnox::simulator {

enum class request_kind {
    kMalformed,
    kGetClientRegistrations,
    kKeepAlive,
    kPlaceCall,
    kAcceptCall,
    kHoldCall,
    kResumeCall,
    kTransferCall,
    kForwardCall,
    kPlayDtmf,
    kHangupCall,
};

/// The protocol's own name of a request ("placeCall"), "malformed" for kMalformed.
std::string_view RequestName(request_kind kind);

/// One request. Text is in the ANSI code page, exactly as it came; a field that the request does not have is
/// empty or 0.
struct request {
    request_kind kind = request_kind::kMalformed;
    std::int32_t id = 0;                 ///< GetClientRegistrations, KeepAlive
    std::int32_t permanent_line_id = 0;  ///< every other request
    std::string client_call_id;          ///< the call; for placeCall the requested id
    std::string client_call_on_hold_id;  ///< transferCall: the call that the active one is joined with
    std::string phone_number;            ///< placeCall, forwardCall
    std::string digits;                  ///< playDtmf
};

/// Reads one message, from its "<msg>" to its "</msg>". Numbers must be written as a signed decimal without
/// leading zeros, blanks or plus sign; values must not hold "'", "<" or "&". Never fails: what is not a
/// request comes back as kMalformed with all other fields empty.
request ParseRequest(std::string_view message);

/// Cuts the received bytes into messages. For one thread at a time.
class message_splitter {
  public:
    /// Adds bytes and returns what is now complete, in order: each message from "<msg>" to "</msg>", and each
    /// run of bytes between messages as an item of its own (which ParseRequest finds malformed). An
    /// unfinished message stays inside until its end comes.
    std::vector<std::string> Add(std::string_view bytes);

    /// The bytes of the unfinished message, empty if there is none.
    [[nodiscard]] const std::string& Rest() const { return rest_; }

  private:
    std::string rest_;
};

}  // namespace brivelnox::simulator
