#pragma once

#include <cstdint>
#include <string>

#include "tools/telephony_host/tapi_event.h"

namespace brivelnox::host {

/// A handle as the host prints it, for example "0x00020001".
std::string HandleText(const void* handle);

/// A message or completion in one line with symbolic names, for example
/// "LINE_CALLSTATE call 0x00020001 DISCONNECTED BUSY".
std::string EventText(const tapi_event& event);

}  // namespace brivelnox::host
