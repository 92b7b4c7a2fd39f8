#pragma once

// How an application gets its messages.

#include <windows.h>
#include <tapi.h>

#include <memory>

namespace brivelnox::tapi32 {

/// A message, and what becomes valid with it: the handle of a call that the application asked for is written
/// to the place it named when the reply is handed over, no sooner, for it must not rely on it before.
struct application_message {
    LINEMESSAGE content{};
    LPHCALL place = nullptr;  ///< null if the message brings no call
    HCALL call = 0;
};

/// The messages of one application, in the order in which they were put, delivered in the way that it chose.
/// All operations may be called from any thread.
class message_channel {
  public:
    virtual ~message_channel() = default;

    virtual void Put(const application_message& message) = 0;
    /// Waits for the next message. Returns 0; LINEERR_OPERATIONFAILED when there was none in that time, or
    /// the application chose another way; LINEERR_INVALAPPHANDLE when the channel was closed meanwhile.
    virtual LONG Get(LINEMESSAGE& message, DWORD milliseconds);
    /// Nothing is delivered any more. May be called from inside a callback.
    virtual void Close() = 0;
};

/// The channel that the parameters ask for, and what TAPI writes into them (the event's handle). Null when
/// they ask for none, or for one that cannot be made. A hidden window belongs to the calling thread, which
/// has to dispatch its messages.
std::shared_ptr<message_channel> MakeChannel(LINECALLBACK callback, LINEINITIALIZEEXPARAMS& parameters);

}  // namespace brivelnox::tapi32
