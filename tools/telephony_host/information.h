#pragma once

// What the provider tells about lines and calls, copied out of TAPI's structures.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <string>

namespace brivelnox::host {

/// The parts of LINEDEVCAPS that say which line it is.
struct line_caps {
    DWORD permanent_line_id = 0;
    std::wstring line_name;
    std::wstring provider_info;
    DWORD num_addresses = 0;
    DWORD media_modes = 0;
    DWORD max_active_calls = 0;
    DWORD line_features = 0;
};

/// One party of LINECALLINFO: its LINECALLPARTYID_ flags, number and name.
struct call_party {
    DWORD flags = 0;
    std::wstring number;
    std::wstring name;
};

/// The parts of LINECALLINFO that the provider fills.
struct call_information {
    DWORD line_device_id = 0;
    DWORD address_id = 0;
    DWORD bearer_mode = 0;
    DWORD media_mode = 0;
    DWORD call_id = 0;
    DWORD origin = 0;
    DWORD reason = 0;
    DWORD trunk = 0;
    call_party caller;
    call_party called;
    call_party connected;
    call_party redirection;
    call_party redirecting;
};

/// The parts of LINECALLSTATUS that the provider fills.
struct call_status {
    DWORD state = 0;
    DWORD mode = 0;
    DWORD features = 0;
};

/// Numbers of calls from LINEDEVSTATUS or LINEADDRESSSTATUS.
struct call_counts {
    DWORD active = 0;
    DWORD on_hold = 0;
    DWORD on_hold_pending = 0;
};

/// The text at an offset of a structure with a variable part, without its closing null; empty if the size is
/// 0 or the part does not lie within `total` bytes.
std::wstring VariableText(const void* structure, DWORD total, DWORD size, DWORD offset);

}  // namespace brivelnox::host
