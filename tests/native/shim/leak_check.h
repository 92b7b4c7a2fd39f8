#pragma once

// The address sanitizer's leak check, where there is one.

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define BRIVELNOX_NATIVE_LEAKS_CHECKED
#include <sanitizer/lsan_interface.h>
#endif
#endif

namespace brivelnox::native {

/// Leaves out the object that starts here, and everything that nothing but it points to.
inline void LeaveOutOfLeakCheck([[maybe_unused]] const void* object) {
#ifdef BRIVELNOX_NATIVE_LEAKS_CHECKED
    __lsan_ignore_object(object);
#endif
}

}  // namespace brivelnox::native
