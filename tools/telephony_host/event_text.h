#pragma once

#include <string>

#include "tools/telephony_host/tapi_event.h"

namespace brivelnox::host {

/// A handle as the host prints it, for example "0x00010001".
std::string HandleText(const void* handle);

/// A message or completion in one line with symbolic names, for example
/// "LINE_CALLSTATE 0x01000001 DISCONNECTED BUSY" (the call, its state and mode) or "request 3 completed: 0".
std::string EventText(const tapi_event& event);

}  // namespace brivelnox::host
