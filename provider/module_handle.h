#pragma once

#include <windows.h>

#include <atomic>

namespace brivelnox {

/// The handle of this DLL: stored when the process attaches, null before and after. It names the DLL's own
/// file.
inline std::atomic<HINSTANCE> module_handle{nullptr};

}  // namespace brivelnox
