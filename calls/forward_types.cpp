#include "calls/forward_types.h"

#include <windows.h>
#include <tapi.h>

namespace brivelnox {

namespace {

constexpr struct {
    std::wstring_view text;
    forward_type type;
    DWORD reason;
} kForwardTypes[] = {
    {L"NONE", forward_type::none, LINECALLREASON_DIRECT},
    {L"CFI", forward_type::cfi, LINECALLREASON_REDIRECT},
    {L"CFU", forward_type::cfu, LINECALLREASON_FWDUNCOND},
    {L"CFB", forward_type::cfb, LINECALLREASON_FWDBUSY},
    {L"CFNR", forward_type::cfnr, LINECALLREASON_FWDNOANSWER},
    {L"PICKUP", forward_type::pickup, LINECALLREASON_PICKUP},
    {L"BLINDTRANSFER", forward_type::blind_transfer, LINECALLREASON_TRANSFER},
    {L"TRANSFER", forward_type::transfer, LINECALLREASON_TRANSFER},
    {L"BL_BACK", forward_type::bl_back, LINECALLREASON_TRANSFER},
};

}  // namespace

forward_type ParseForwardType(std::wstring_view text) {
    for (const auto& row : kForwardTypes) {
        if (row.text == text) {
            return row.type;
        }
    }
    return forward_type::none;
}

DWORD CallReasonOf(forward_type type) {
    for (const auto& row : kForwardTypes) {
        if (row.type == type) {
            return row.reason;
        }
    }
    return LINECALLREASON_DIRECT;
}

}  // namespace brivelnox
