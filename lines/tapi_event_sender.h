#pragma once

#include <windows.h>
#include <tspi.h>

#include <string>

#include "platform/event_lock.h"

namespace brivelnox {

/// Calls a TAPI event procedure with exactly the given arguments, after writing the log line that belongs to
/// the message. Nothing is sent, nor logged, once the way to TAPI is shut; a null procedure is logged. What
/// the procedure throws is dropped. The caller holds the event lock. The line's name is only for the log;
/// LINE_CREATE has none.
void SendTapiEvent(const event_lock& held_lock, LINEEVENT event_procedure, const std::wstring& line_name,
                   HTAPILINE tapi_line_handle, HTAPICALL tapi_call_handle, DWORD message, DWORD_PTR param1,
                   DWORD_PTR param2, DWORD_PTR param3) noexcept BRIVELNOX_REQUIRES(held_lock);

}  // namespace brivelnox
