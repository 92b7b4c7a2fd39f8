#pragma once

// Owners of Win32 handles: each closes its handle exactly once, moves but does not copy, and converts to
// nothing by itself. Use get() to lend the handle, reset() to close it early, release() to give it away.

#include <winsock2.h>
#include <windows.h>

#include <cstdint>
#include <type_traits>
#include <utility>

namespace brivelnox {

/// Owner of one handle. Traits names the handle type, its empty value and how it is closed.
template <class Traits>
class unique_handle {
  public:
    using type = typename Traits::type;

    unique_handle() noexcept = default;
    explicit unique_handle(type handle) noexcept : handle_(handle) {}
    ~unique_handle() { reset(); }
    unique_handle(unique_handle&& other) noexcept : handle_(other.release()) {}
    unique_handle& operator=(unique_handle&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    unique_handle(const unique_handle&) = delete;
    unique_handle& operator=(const unique_handle&) = delete;

    /// The handle, still owned here.
    [[nodiscard]] type get() const noexcept { return handle_; }
    /// Whether there is a handle.
    explicit operator bool() const noexcept { return handle_ != Traits::Empty(); }
    /// Gives the handle away: the caller closes it.
    [[nodiscard]] type release() noexcept { return std::exchange(handle_, Traits::Empty()); }
    /// Closes the handle, if there is one, and takes over another.
    void reset(type handle = Traits::Empty()) noexcept {
        const type old = std::exchange(handle_, handle);
        if (old != Traits::Empty()) {
            Traits::Close(old);
        }
    }
    /// For functions that write a handle to an address: closes the old one and hands out the address.
    [[nodiscard]] type* put() noexcept {
        reset();
        return &handle_;
    }

  private:
    type handle_ = Traits::Empty();
};

/// The traits of a handle that is a pointer or a number: its type, the function that closes it, its empty
/// value.
template <class Type, auto CloseFunction, std::intptr_t EmptyValue = 0>
struct handle_traits {
    using type = Type;
    static type Empty() noexcept {
        if constexpr (std::is_pointer_v<Type>) {
            return reinterpret_cast<Type>(EmptyValue);
        } else {
            return static_cast<Type>(EmptyValue);
        }
    }
    static void Close(type handle) noexcept { (void)CloseFunction(handle); }
};

// INVALID_HANDLE_VALUE and INVALID_SOCKET.
inline constexpr std::intptr_t kInvalidHandle = -1;

using kernel_handle_traits = handle_traits<HANDLE, &CloseHandle>;
using file_handle_traits = handle_traits<HANDLE, &CloseHandle, kInvalidHandle>;
using unique_event = unique_handle<kernel_handle_traits>;
using unique_thread = unique_handle<kernel_handle_traits>;
using unique_process = unique_handle<kernel_handle_traits>;
using unique_pipe = unique_handle<kernel_handle_traits>;
using unique_file = unique_handle<file_handle_traits>;
using unique_find = unique_handle<handle_traits<HANDLE, &FindClose, kInvalidHandle>>;
using unique_registry_key = unique_handle<handle_traits<HKEY, &RegCloseKey>>;
using unique_socket = unique_handle<handle_traits<SOCKET, &closesocket, kInvalidHandle>>;
using unique_module = unique_handle<handle_traits<HMODULE, &FreeLibrary>>;

}  // namespace brivelnox
