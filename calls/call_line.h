#pragma once

#include <windows.h>
#include <tspi.h>

#include <cstdint>
#include <string>

#include "platform/event_lock.h"

namespace brivelnox {

class line_calls;

/// The life of a line towards TAPI.
enum class line_life : std::uint8_t {
    closed,
    open,
    closing,       // its calls are being ended; TAPI still hears of them
    closed_again,  // by TAPI from inside the messages of its closing, which is still at it
    retired,       // closed for good by a shutdown
};

/// What calls need of the line they are on: its names, for the log and for the service, whether it can be
/// used, and the one way to TAPI. The line implements it; nothing here looks up to the line itself.
///
/// All operations may be called on any thread. The line outlives its calls' use of it.
class call_line {
  public:
    [[nodiscard]] virtual const std::wstring& Name() const = 0;
    /// The line's identifier at the service.
    [[nodiscard]] virtual std::int32_t PermanentLineId() const = 0;
    /// TAPI's handle of the last opening; null before the first.
    [[nodiscard]] virtual HTAPILINE TapiLineHandle() const = 0;
    [[nodiscard]] virtual std::uint32_t DeviceId() const = 0;

    [[nodiscard]] virtual line_life Life() const = 0;
    /// Whether the softphone is connected to the service.
    [[nodiscard]] virtual bool ClientConnected() const = 0;
    /// Whether a call could be answered now: the softphone and its telephony registration are both up.
    [[nodiscard]] virtual bool CanAnswer() const = 0;

    /// The gate to TAPI: sends a message with the line's handle through the line's event procedure. A closed
    /// line or a missing procedure is logged and nothing is sent. Takes the event lock.
    virtual void SendEvent(HTAPICALL tapi_call_handle, DWORD message, DWORD_PTR param1, DWORD_PTR param2,
                           DWORD_PTR param3) = 0;
    /// The lock around everything that is told to TAPI.
    [[nodiscard]] virtual event_lock& EventLock() const = 0;
    /// The calls of the line.
    [[nodiscard]] virtual line_calls& Calls() = 0;

    /// Whether TAPI has the line open; also still while it is being closed.
    [[nodiscard]] bool IsOpen() const { return Life() == line_life::open || Life() == line_life::closing; }
    /// Whether the line is being closed. With the event lock held only the closing thread itself can find it
    /// so, from inside one of the messages of that.
    [[nodiscard]] bool IsClosing() const {
        return Life() == line_life::closing || Life() == line_life::closed_again;
    }
    [[nodiscard]] bool IsRetired() const { return Life() == line_life::retired; }

  protected:
    ~call_line() = default;
};

}  // namespace brivelnox
