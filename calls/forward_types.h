#pragma once

#include <windows.h>

#include <cstdint>
#include <string_view>

namespace brivelnox {

/// How a call was forwarded, as the softphone tells it.
enum class forward_type : std::int32_t {
    none = 0,
    cfi = 1,
    cfu = 2,
    cfb = 3,
    cfnr = 4,
    pickup = 5,
    blind_transfer = 6,
    transfer = 7,
    bl_back = 8,
};

/// The type that the text names, compared as a whole and with regard to case; `none` for any other text.
forward_type ParseForwardType(std::wstring_view text);

/// The LINECALLREASON value that TAPI is told for the type.
DWORD CallReasonOf(forward_type type);

}  // namespace brivelnox
