#pragma once

#include <windows.h>
#include <tspi.h>

#include <cstddef>

namespace brivelnox {

// The fixed sizes of TAPI's structures in their TAPI 2.2 layout, which is what the provider fills. They are
// not the sizes that the compiler's header gives: some headers always declare the fields that later versions
// added at the end.

inline constexpr DWORD kDevCapsSize = 268;
inline constexpr DWORD kAddressCapsSize = 228;
inline constexpr DWORD kLineDevStatusSize = 88;
inline constexpr DWORD kAddressStatusSize = 64;
inline constexpr DWORD kVarStringSize = 24;
inline constexpr DWORD kCallInfoSize = 324;
inline constexpr DWORD kCallStatusSize = 56;

static_assert(offsetof(LINEDEVCAPS, PermanentLineGuid) + sizeof(GUID) == kDevCapsSize);
static_assert(offsetof(LINEADDRESSCAPS, dwAvailableMediaModes) + sizeof(DWORD) == kAddressCapsSize);
static_assert(offsetof(LINEDEVSTATUS, dwAppInfoOffset) + sizeof(DWORD) == kLineDevStatusSize);
static_assert(sizeof(VARSTRING) == kVarStringSize);
static_assert(sizeof(LINECALLSTATUS) == kCallStatusSize);
static_assert(offsetof(LINECALLINFO, dwReceivingFlowspecOffset) + sizeof(DWORD) == kCallInfoSize);
static_assert(offsetof(LINEADDRESSSTATUS, dwDevSpecificOffset) + sizeof(DWORD) == kAddressStatusSize);

}  // namespace brivelnox
