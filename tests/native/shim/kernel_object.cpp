#include "shim/kernel_object.h"

#include <array>
#include <cstddef>

namespace brivelnox::native {

namespace {

// Relaxed throughout: counting must not order the threads that are counted.
std::array<std::atomic<long>, static_cast<std::size_t>(object_kind::count)> open_handles{};

void Count(object_kind kind, long change) {
    open_handles[static_cast<std::size_t>(kind)].fetch_add(change, std::memory_order_relaxed);
}

thread_local DWORD last_error = 0;

}  // namespace

kernel_object::kernel_object(object_kind kind) : counted_as_(kind) {
    Count(kind, 1);
}

kernel_object::~kernel_object() = default;

void kernel_object::Release() {
    // Who gives up the last reference comes after all the others, but only for what is done in here.
    const hidden_from_order hidden;
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete this;
    }
}

void kernel_object::CloseByHandle() {
    const hidden_from_order hidden;
    if (closed_.exchange(true, std::memory_order_relaxed)) {
        Misuse("a handle is closed twice");
    }
    Count(counted_as_.exchange(object_kind::count, std::memory_order_relaxed), -1);
    OnClose();
    Release();
}

void kernel_object::CountAs(object_kind kind) {
    object_kind before = counted_as_.load(std::memory_order_relaxed);
    // Another thread may be closing it.
    if (before != object_kind::count && counted_as_.compare_exchange_strong(before, kind)) {
        Count(before, -1);
        Count(kind, 1);
    }
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
