#include "provider/provider_lifecycle.h"

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

provider_lifecycle& provider_lifecycle::Process() {
    static provider_lifecycle instance;
    return instance;
}

provider_lifecycle::provider_lifecycle(line_manager_factory factory)
    : factory_(factory != nullptr ? std::move(factory) : [this](auto calls, std::uint32_t device_id_base) {
          return MakeLineManager(std::move(calls), device_id_base);
      }) {}

provider_lifecycle::~provider_lifecycle() {
    // This runs when the process detaches, under the loader lock, when the other threads are already gone or
    // must not be waited for. Tear-down is the shutdown entry point's.
    if (manager_ != nullptr) {
        (void)new (std::nothrow) std::shared_ptr<telephony_manager>(std::move(manager_));
    }
}

std::shared_ptr<telephony_manager> provider_lifecycle::Manager() const {
    const lock_guard guard(manager_lock_);
    return manager_;
}

std::shared_ptr<line_manager> provider_lifecycle::MakeLineManager(std::shared_ptr<call_manager> calls,
                                                                  std::uint32_t device_id_base) const {
    return line_manager::Create(std::move(calls), line_create_procedure_.load(), provider_handle_.load(),
                                device_id_base);
}

std::shared_ptr<telephony_manager> provider_lifecycle::EnsureManager(std::uint32_t device_id_base) {
    const lock_guard creation(creation_lock_);
    std::uint32_t shutdowns = 0;
    {
        const lock_guard guard(manager_lock_);
        if (manager_ != nullptr) {
            return manager_;
        }
        shutdowns = shutdowns_;
    }
    auto created = telephony_manager::Create(device_id_base, factory_);
    {
        const lock_guard guard(manager_lock_);
        if (shutdowns_ == shutdowns) {
            manager_ = created;
            return created;
        }
    }
    // TAPI has shut the provider down in the meantime, and been told that it is.
    created->Destroy();
    throw std::runtime_error("shut down while initialising");
}

void provider_lifecycle::Forget() noexcept {
    std::shared_ptr<telephony_manager> manager;
    {
        const lock_guard guard(manager_lock_);
        manager = std::move(manager_);
        manager_ = nullptr;
    }
    if (manager != nullptr) {
        manager->Destroy();
    }
}

LONG provider_lifecycle::EnumDevices(DWORD* line_count, DWORD* phone_count, HPROVIDER provider_handle,
                                     LINEEVENT line_create_procedure) noexcept {
    ProviderLog(L"TSPI_providerEnumDevices");
    if (line_create_procedure == nullptr) {
        ProviderLog(L"lpfnLineCreateProc is null, return LINEERR_INVALPOINTER");
        return LINEERR_INVALPOINTER;
    }
    try {
        line_create_procedure_.store(line_create_procedure);
        provider_handle_.store(provider_handle);
        ProviderLog(L"InitAppDomain and logging");
        const auto manager = EnsureManager(kUnknownDeviceId);
        Require(line_count) = manager->LineCount();
        Require(phone_count) = 0;
        return 0;
    } catch (...) {
        Forget();
        ProviderLog(L"Exception in TSPI_providerEnumDevices");
        return LINEERR_OPERATIONFAILED;
    }
}

LONG provider_lifecycle::Init(DWORD version, DWORD device_id_base,
                              ASYNC_COMPLETION completion_procedure) noexcept {
    ProviderLog(L"TSPI_providerInit");
    if (!IsSupportedVersion(version)) {
        return LINEERR_INCOMPATIBLEAPIVERSION;
    }
    try {
        const auto manager = EnsureManager(device_id_base);
        manager->SetCompletionProcedure(completion_procedure);
        manager->SetDeviceIdBase(device_id_base);
        ProviderLog(L"Initial line count: %d", manager->LineCount());
        return 0;
    } catch (...) {
        Forget();
        ProviderLog(L"Exception in TSPI_providerInit");
        return LINEERR_OPERATIONFAILED;
    }
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
    std::shared_ptr<telephony_manager> manager;
    {
        const lock_guard guard(manager_lock_);
        ++shutdowns_;
        manager = manager_;
    }
    if (manager != nullptr) {
        manager->CleanUp();
        // A second CleanUp: the log deliberately shows two.
        Forget();
    }
    return 0;
}

}  // namespace brivelnox
