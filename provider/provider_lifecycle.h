#pragma once

#include <windows.h>

#include <atomic>
#include <memory>

#include <tspi.h>

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
    /// Tears nothing down: a manager that was never shut down is abandoned with the process.
    ~provider_lifecycle();

    /// The one of this process.
    static provider_lifecycle& Process();

    /// The telephony manager, or null while the provider is not initialised. Any thread; never waits for the
    /// others.
    [[nodiscard]] std::shared_ptr<telephony_manager> Manager() const;

    /// TSPI_providerEnumDevices: stores TAPI's procedure and handle, initialises, and writes the number of
    /// lines and of phones (none). LINEERR_INVALPOINTER without a procedure; LINEERR_OPERATIONFAILED, and not
    /// initialised any more, after an exception.
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
    std::shared_ptr<telephony_manager> EnsureManager(std::uint32_t device_id_base);
    void Forget() noexcept;
    [[nodiscard]] std::shared_ptr<line_manager> MakeLineManager(std::shared_ptr<call_manager> calls,
                                                                std::uint32_t device_id_base) const;

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
    std::shared_ptr<telephony_manager> manager_ BRIVELNOX_GUARDED_BY(manager_lock_);
};

}  // namespace brivelnox
