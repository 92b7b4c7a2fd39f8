#pragma once

#include <windows.h>
#include <tspi.h>

#include <string>

#include "platform/event_lock.h"

namespace brivelnox {

/// Calls a TAPI event procedure with exactly the given arguments, after writing the log line that belongs to
/// the message. A null procedure is logged and nothing is sent. The caller holds the event lock. The line's
/// name is only for the log; LINE_CREATE has none. May throw when the log line cannot be built; nothing has
/// been sent then.
void SendTapiEvent(const event_lock& held_lock, LINEEVENT event_procedure, const std::wstring& line_name,
                   HTAPILINE tapi_line_handle, HTAPICALL tapi_call_handle, DWORD message, DWORD_PTR param1,
                   DWORD_PTR param2, DWORD_PTR param3) BRIVELNOX_REQUIRES(held_lock);

/// The names of the LINECALLINFOSTATE bits that the log knows, each followed by a blank, in the log's order;
/// empty when none of them is set.
std::wstring CallInfoStateNames(DWORD_PTR bits);

/// The name of a LINEDISCONNECTMODE value; empty for 0, for combined bits and for anything else that is none.
const wchar_t* DisconnectModeName(DWORD_PTR mode);

}  // namespace brivelnox
