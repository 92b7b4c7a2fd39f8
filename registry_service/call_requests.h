#pragma once

#include <cstdint>
#include <string>

namespace brivelnox {

/// The call-control requests that a line can send to its softphone. All texts are in the ANSI code page and
/// are inserted into the message as they are. A request is sent at once or lost: nothing is queued while the
/// service is away, and no answer is awaited; outcomes arrive later as call events. May be called on any
/// thread and with the event lock held: no operation waits for the link's reader while a handler
/// runs, but on the reader thread itself a send that fails takes the whole 5000 ms of that wait.
class call_requests {
  public:
    virtual ~call_requests() = default;

    virtual void PlaceCall(std::int32_t permanent_line_id, const std::string& phone_number,
                           const std::string& requested_client_call_id) = 0;
    virtual void AcceptCall(std::int32_t permanent_line_id, const std::string& client_call_id) = 0;
    virtual void HoldCall(std::int32_t permanent_line_id, const std::string& client_call_id) = 0;
    virtual void ResumeCall(std::int32_t permanent_line_id, const std::string& client_call_id) = 0;
    /// Joins the active call with the one on hold. Returns whether the request was sent.
    virtual bool TransferCall(std::int32_t permanent_line_id, const std::string& client_call_id,
                              const std::string& client_call_on_hold_id) = 0;
    virtual void ForwardCall(std::int32_t permanent_line_id, const std::string& client_call_id,
                             const std::string& phone_number) = 0;
    virtual void PlayDtmf(std::int32_t permanent_line_id, const std::string& client_call_id,
                          const std::string& digits) = 0;
    /// Returns whether the request was sent.
    virtual bool HangupCall(std::int32_t permanent_line_id, const std::string& client_call_id) = 0;
};

}  // namespace brivelnox
