// Follows the frame pointers, which everything here is compiled with: the lock checks look at the stack with
// every lock, and the runtime's own walk would cost more than all the rest.

#include <windows.h>

#include <cstddef>
#include <cstdint>

namespace {

struct stack_bounds {
    std::uintptr_t low;
    std::uintptr_t high;
};

struct stack_frame {
    const stack_frame* caller;
    void* return_address;
};

stack_bounds OwnStack() {
    pthread_attr_t attributes;
    void* low = nullptr;
    std::size_t size = 0;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) {
        return {};
    }
    (void)pthread_attr_getstack(&attributes, &low, &size);
    (void)pthread_attr_destroy(&attributes);
    const auto begin = reinterpret_cast<std::uintptr_t>(low);
    return {begin, begin + size};
}

/// Above where the walk is and inside the stack: the system's libraries are compiled without frame pointers,
/// so that what is read behind one of their frames may be anything.
bool IsPlausible(const stack_frame* frame, const stack_frame* above, const stack_bounds& stack) {
    const auto address = reinterpret_cast<std::uintptr_t>(frame);
    return address > reinterpret_cast<std::uintptr_t>(above) && address >= stack.low &&
           address + sizeof(stack_frame) <= stack.high && address % alignof(stack_frame) == 0;
}

}  // namespace

__attribute__((noinline, no_sanitize("address", "thread", "undefined"))) USHORT RtlCaptureStackBackTrace(
    ULONG skipped, ULONG wanted, void** frames, ULONG*) {
    thread_local const stack_bounds stack = OwnStack();
    const auto* frame = static_cast<const stack_frame*>(__builtin_frame_address(0));
    USHORT count = 0;
    for (ULONG depth = 0; count < wanted; ++depth) {
        if (depth >= skipped) {
            frames[count++] = frame->return_address;
        }
        if (!IsPlausible(frame->caller, frame, stack)) {
            break;
        }
        frame = frame->caller;
    }
    return count;
}
