#include "shim/kernel_object.h"

#include <array>

namespace brivelnox::native {

namespace {

// Relaxed throughout: counting must not order the threads that are counted.
std::array<std::atomic<long>, static_cast<std::size_t>(object_kind::count)> open_handles{};

thread_local DWORD last_error = 0;

}  // namespace

kernel_object::kernel_object(object_kind kind) : kind_(kind) {
    open_handles[static_cast<std::size_t>(kind)].fetch_add(1, std::memory_order_relaxed);
}

kernel_object::~kernel_object() = default;

void kernel_object::Release() {
    if (references_.fetch_sub(1) == 1) {
        delete this;
    }
}

void kernel_object::CloseByHandle() {
    if (closed_.exchange(true)) {
        Misuse("a handle is closed twice");
    }
    open_handles[static_cast<std::size_t>(kind_)].fetch_sub(1, std::memory_order_relaxed);
    OnClose();
    Release();
}

long OpenHandles(object_kind kind) {
    return open_handles[static_cast<std::size_t>(kind)].load(std::memory_order_relaxed);
}

}  // namespace brivelnox::native

DWORD GetLastError() {
    return brivelnox::native::last_error;
}

void SetLastError(DWORD error) {
    brivelnox::native::last_error = error;
}

BOOL CloseHandle(HANDLE handle) {
    const auto object = brivelnox::native::FromHandle<brivelnox::native::kernel_object>(handle);
    if (!object) {
        return FALSE;
    }
    object->CloseByHandle();
    return TRUE;
}
