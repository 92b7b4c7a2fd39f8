#pragma once

#include <windows.h>
#include <tspi.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/locks.h"
#include "provider/telephony_manager.h"

namespace brivelnox {

/// Whether the provider is initialised, and the entry points that make it so: holds the one telephony manager
/// and what TAPI hands over before there is one. A request that finds the manager holds it while it runs.
/// A shutdown does not wait for a manager that is being made: that one is given up as soon as it is there.
class provider_lifecycle {
  public:
    /// `factory` makes the line manager of each telephony manager; without one it is the real one.
    explicit provider_lifecycle(line_manager_factory factory = {});
    provider_lifecycle(const provider_lifecycle&) = delete;
    provider_lifecycle& operator=(const provider_lifecycle&) = delete;

    /// The one of this process. It is never destroyed: a manager that was never shut down is abandoned with
    /// the process, since its end would run under the loader lock, when the other threads are already gone or
    /// must not be waited for.
    static provider_lifecycle& Process() noexcept;

    /// The telephony manager, or null while the provider is not initialised. Any thread; never waits for the
    /// others.
    [[nodiscard]] std::shared_ptr<telephony_manager> Manager() const noexcept;

    /// TSPI_providerEnumDevices: stores TAPI's procedure and handle, initialises, and writes the number of
    /// lines and of phones (none): where it makes the manager, the lines that TAPI is not told of by
    /// LINE_CREATE, otherwise those there are. LINEERR_INVALPOINTER without a procedure;
    /// LINEERR_OPERATIONFAILED after an exception, or when a shutdown has come in between: the manager that
    /// this call has made or met is given up then, and no other.
    LONG EnumDevices(DWORD* line_count, DWORD* phone_count, HPROVIDER provider_handle,
                     LINEEVENT line_create_procedure) noexcept;

    /// TSPI_providerInit: initialises if need be, stores the completion procedure and numbers the lines.
    /// LINEERR_INCOMPATIBLEAPIVERSION for a version that fails the test; after an exception as EnumDevices.
    LONG Init(DWORD version, DWORD device_id_base, ASYNC_COMPLETION completion_procedure) noexcept;

    /// TSPI_providerShutdown: back to not initialised. 0 without initialisation; the version is tested all
    /// the same. Does not wait for a thread that is making the manager meanwhile; that one gives it up, and
    /// until then may still tell TAPI of a new line.
    LONG Shutdown(DWORD version) noexcept;

  private:
    using manager_ptr = std::shared_ptr<telephony_manager>;

    /// The manager that a creating entry point works with.
    struct creation {
        manager_ptr manager;
        bool is_new = false;
    };

    template <class Body>
    LONG Initialize(std::uint32_t device_id_base, const wchar_t* failure, Body&& body) noexcept;
    [[nodiscard]] creation EnsureManager(std::uint32_t device_id_base);
    void RequireInstalled(const manager_ptr& manager) const;
    void GiveUp(const manager_ptr& manager) noexcept;

    // Keeps two threads from making a manager each; held while one is made, which may take the whole wait for
    // the first list.
    recursive_mutex creation_lock_{lock_rank::creation};
    // Keeps a second shutdown waiting for the first. Recursive: TAPI may shut down from inside a message of
    // the shutdown.
    recursive_mutex shutdown_lock_{lock_rank::shutdown};
    std::atomic<LINEEVENT> line_create_procedure_{nullptr};
    std::atomic<HPROVIDER> provider_handle_{nullptr};
    const line_manager_factory factory_;
    // Guards only the pointer; never held while calling out.
    mutable mutex manager_lock_;
    // Counts the shutdowns, so that a manager that was being made during one is given up.
    std::uint32_t shutdowns_ BRIVELNOX_GUARDED_BY(manager_lock_) = 0;
    // A manager that is being shut down is still found by requests, but no creating entry point works with
    // it.
    bool is_shutting_down_ BRIVELNOX_GUARDED_BY(manager_lock_) = false;
    manager_ptr manager_ BRIVELNOX_GUARDED_BY(manager_lock_);
};

}  // namespace brivelnox
