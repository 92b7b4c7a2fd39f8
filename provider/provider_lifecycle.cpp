#include "provider/provider_lifecycle.h"

#include <cstddef>
#include <new>
#include <stdexcept>
#include <utility>

#include "provider/guarded.h"
#include "provider/provider_log.h"

namespace brivelnox {

namespace {

// More than all the bounds of one shutdown together.
constexpr std::chrono::seconds kShutdownWait{40};

}  // namespace

provider_lifecycle& provider_lifecycle::Process() noexcept {
    alignas(provider_lifecycle) static std::byte storage[sizeof(provider_lifecycle)];
    static provider_lifecycle& instance = *new (storage) provider_lifecycle;
    return instance;
}

provider_lifecycle::provider_lifecycle(line_manager_factory factory)
    : factory_(factory != nullptr ? std::move(factory) : [this](auto calls, std::uint32_t device_id_base) {
          return line_manager::Create(std::move(calls), line_create_procedure_.load(),
                                      provider_handle_.load(), device_id_base);
      }) {}

std::shared_ptr<telephony_manager> provider_lifecycle::Manager() const noexcept {
    const lock_guard guard(manager_lock_);
    return manager_;
}

provider_lifecycle::creation provider_lifecycle::EnsureManager(std::uint32_t device_id_base) {
    const lock_guard creation_guard(creation_lock_);
    std::uint32_t shutdowns = 0;
    {
        const lock_guard guard(manager_lock_);
        if (is_shutting_down_) {
            throw std::runtime_error("shutting down");
        }
        if (manager_ != nullptr) {
            return {manager_, false};
        }
        shutdowns = shutdowns_;
    }
    manager_ptr created = telephony_manager::Create(device_id_base, factory_);
    {
        const lock_guard guard(manager_lock_);
        if (shutdowns_ == shutdowns) {
            manager_ = created;
            return {std::move(created), true};
        }
    }
    // TAPI has shut the provider down in the meantime, and been told that it is.
    created->CleanUp();
    throw std::runtime_error("shut down while initialising");
}

/// Throws when a shutdown has come in between: TAPI must not be told that the provider is initialised.
void provider_lifecycle::RequireInstalled(const manager_ptr& manager) const {
    const lock_guard guard(manager_lock_);
    if (manager_ != manager || is_shutting_down_) {
        throw std::runtime_error("shut down while initialising");
    }
}

/// Gives up this manager, if it is still the one. Another thread may have made the next one already.
void provider_lifecycle::GiveUp(const manager_ptr& manager) noexcept {
    {
        const lock_guard guard(manager_lock_);
        if (manager == nullptr || manager_ != manager) {
            return;
        }
        manager_ = nullptr;
    }
    manager->CleanUp();
}

/// What both creating entry points are: `body` with the manager, all of it undone when it fails.
template <class Body>
LONG provider_lifecycle::Initialize(std::uint32_t device_id_base, const wchar_t* failure,
                                    Body&& body) noexcept {
    creation created;
    try {
        created = EnsureManager(device_id_base);
        body(created);
        RequireInstalled(created.manager);
        return 0;
    } catch (...) {
        GiveUp(created.manager);
        ProviderLog(L"%s", failure);
        return LINEERR_OPERATIONFAILED;
    }
}

LONG provider_lifecycle::EnumDevices(DWORD* line_count, DWORD* phone_count, HPROVIDER provider_handle,
                                     LINEEVENT line_create_procedure) noexcept {
    ProviderLog(L"TSPI_providerEnumDevices");
    if (line_create_procedure == nullptr) {
        ProviderLog(L"lpfnLineCreateProc is null, return LINEERR_INVALPOINTER");
        return LINEERR_INVALPOINTER;
    }
    line_create_procedure_.store(line_create_procedure);
    provider_handle_.store(provider_handle);
    ProviderLog(L"InitAppDomain and logging");
    return Initialize(kUnknownDeviceId, L"Exception in TSPI_providerEnumDevices", [&](const creation& made) {
        Require(line_count) = made.is_new ? made.manager->InitialLineCount() : made.manager->LineCount();
        Require(phone_count) = 0;
    });
}

LONG provider_lifecycle::Init(DWORD version, DWORD device_id_base,
                              ASYNC_COMPLETION completion_procedure) noexcept {
    ProviderLog(L"TSPI_providerInit");
    if (!IsSupportedVersion(version)) {
        return LINEERR_INCOMPATIBLEAPIVERSION;
    }
    return Initialize(device_id_base, L"Exception in TSPI_providerInit", [&](const creation& made) {
        made.manager->SetCompletionProcedure(completion_procedure);
        made.manager->SetDeviceIdBase(device_id_base);
        ProviderLog(L"Initial line count: %d", made.manager->LineCount());
    });
}

LONG provider_lifecycle::Shutdown(DWORD version) noexcept {
    ProviderLog(L"TSPI_providerShutdown");
    if (!IsSupportedVersion(version)) {
        return LINEERR_INCOMPATIBLEAPIVERSION;
    }
    // A second thread waits for the first, so that nothing is told to TAPI after either of them has returned.
    if (!shutdown_lock_.try_lock_until(lock_clock::now() + kShutdownWait)) {
        return 0;
    }
    const lock_guard shutdown(shutdown_lock_, std::adopt_lock);
    manager_ptr manager;
    {
        const lock_guard guard(manager_lock_);
        ++shutdowns_;
        is_shutting_down_ = true;
        manager = manager_;
    }
    if (manager != nullptr) {
        manager->CleanUp();
        // A second CleanUp: the log deliberately shows two.
        GiveUp(manager);
    }
    const lock_guard guard(manager_lock_);
    is_shutting_down_ = false;
    return 0;
}

}  // namespace brivelnox
