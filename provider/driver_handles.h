#pragma once

#include <windows.h>
#include <tspi.h>

#include <cstdint>

namespace brivelnox {

// TAPI carries the provider's handles as opaque pointers; they are small counter values.

/// The key by which the line manager finds a line.
inline std::uintptr_t LineKey(HDRVLINE line_handle) {
    return reinterpret_cast<std::uintptr_t>(line_handle);
}

/// The key by which the call manager finds a call.
inline std::uint64_t CallKey(HDRVCALL call) {
    return reinterpret_cast<std::uintptr_t>(call);
}

/// A call's handle as TAPI carries it.
inline HDRVCALL ToDriverCallHandle(std::uint64_t handle) {
    return reinterpret_cast<HDRVCALL>(static_cast<std::uintptr_t>(handle));
}

}  // namespace brivelnox
