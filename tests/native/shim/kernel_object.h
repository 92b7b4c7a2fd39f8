#pragma once

// What lies behind a handle. A handle is the object's address and nothing more, without a table of handles: a
// table's lock would order all threads that make any Windows call, and the thread sanitizer would take that
// order for the program's own. What is used after its last handle has been closed is found by the address
// sanitizer as a use of freed memory.

#include <windows.h>

#include <atomic>
#include <utility>

#include "shim/misuse.h"
#include "shim/thread_order.h"

namespace brivelnox::native {

enum class object_kind {
    event,
    thread,
    file,
    file_search,
    timer_queue,
    registry_key,
    socket,
    unconnected_socket,  // neither connected nor listening, so far
    count
};

class kernel_object {
  public:
    explicit kernel_object(object_kind kind);
    kernel_object(const kernel_object&) = delete;
    kernel_object& operator=(const kernel_object&) = delete;

    [[nodiscard]] bool IsClosed() const { return closed_.load(std::memory_order_relaxed); }

    void AddReference() { references_.fetch_add(1, std::memory_order_relaxed); }
    void Release();

    /// What CloseHandle does: marks it closed and gives up the handle's reference.
    void CloseByHandle();

    /// Called once, before the handle is given up.
    virtual void OnClose() {}

  protected:
    /// Counts the open handle as one of another kind from now on.
    void CountAs(object_kind kind);
    virtual ~kernel_object();

  private:
    std::atomic<object_kind> counted_as_;
    std::atomic<int> references_{1};
    std::atomic<bool> closed_{false};
};

/// Handles of a kind that are open at this moment.
long OpenHandles(object_kind kind);

/// Holds an object for the length of a call, whatever happens to its handle.
template <class T>
class object_ref {
  public:
    object_ref() = default;
    explicit object_ref(T* object) : object_(object) {
        if (object_ != nullptr) {
            object_->AddReference();
        }
    }
    object_ref(const object_ref& other) : object_ref(other.object_) {}
    object_ref(object_ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    object_ref& operator=(object_ref other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~object_ref() {
        if (object_ != nullptr) {
            object_->Release();
        }
    }

    [[nodiscard]] T* get() const { return object_; }
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }

  private:
    T* object_ = nullptr;
};

/// The object behind a handle; nothing for the two values that stand for no handle, with the last error set.
template <class T>
object_ref<T> FromHandle(HANDLE handle) {
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) {
        SetLastError(ERROR_INVALID_HANDLE);
        return {};
    }
    const hidden_from_order hidden;
    auto* const object = static_cast<kernel_object*>(handle);
    if (object->IsClosed()) {
        Misuse("a handle is used after it has been closed");
    }
    auto* const wanted = dynamic_cast<T*>(object);
    if (wanted == nullptr) {
        Misuse("a handle is of another kind than the call expects");
    }
    return object_ref<T>(wanted);
}

/// The handle of a new object, which the caller of the Windows function owns.
inline HANDLE ToHandle(kernel_object* object) {
    return object;
}

}  // namespace brivelnox::native
