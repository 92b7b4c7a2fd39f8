#pragma once

// The built provider driven step by step, without the telephony host: for tests of the steps themselves.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/tapi_recorder.h"

namespace brivelnox::test {

/// One call of the completion procedure.
struct completion {
    DRV_REQUESTID request_id = 0;
    LONG result = 0;

    bool operator==(const completion&) const = default;
};

/// Records what arrives at its procedure while it lives. The procedure is a plain function, so there is one
/// recorder at a time.
class completion_recorder {
  public:
    completion_recorder();
    ~completion_recorder();
    completion_recorder(const completion_recorder&) = delete;
    completion_recorder& operator=(const completion_recorder&) = delete;

    [[nodiscard]] ASYNC_COMPLETION Procedure() const;
    [[nodiscard]] std::vector<completion> Completions() const;

  private:
    static void CALLBACK OnCompletion(DRV_REQUESTID request_id, LONG result);

    mutable std::mutex mutex_;
    std::vector<completion> completions_;
};

/// Fixture: a service with the softphones "Desk 1001", "Desk 1002" and "Desk 1003", published but not yet
/// asked for anything.
class raw_provider : public loaded_provider {
  protected:
    static constexpr DWORD kNoBase = 0xFFFFFFFF;
    static constexpr std::uintptr_t kProviderHandle = 0x00A0C0DE;
    static constexpr DWORD kPattern = 0xA5A5A5A5;

    void SetUp() override;
    /// Before the recorders and the service go.
    void TearDown() override { (void)Shutdown(); }

    LONG Enumerate() {
        return module_.TSPI_providerEnumDevices(7, &lines_, &phones_, AsHandle<HPROVIDER>(kProviderHandle),
                                                tapi_.Procedure(), nullptr);
    }
    LONG Init(DWORD base, DWORD version = kVersion) {
        return module_.TSPI_providerInit(version, 7, base, 20, lines_, phones_, completions_.Procedure(),
                                         &options_);
    }
    LONG Shutdown(DWORD version = kVersion) { return module_.TSPI_providerShutdown(version, 7); }

    /// The softphone reports a call in this state, with no parties.
    void Play(std::int32_t permanent_line_id, const std::string& id, const std::string& state);
    [[nodiscard]] bool Settled(std::int32_t permanent_line_id) {
        return HasHandled(service_, permanent_line_id);
    }

    /// Whether there is a telephony manager, as far as TAPI can tell.
    [[nodiscard]] bool IsInitialised() {
        return module_.TSPI_lineSetDefaultMediaDetection(nullptr, 0) != kUninitialized;
    }
    /// What TSPI_lineGetID says of the line with this driver line handle; 0 where it fails.
    [[nodiscard]] DWORD DeviceIdOf(std::uintptr_t driver_line_handle);
    /// The permanent identifier of the line that is found under a device identifier; 0 where there is none.
    [[nodiscard]] DWORD PermanentIdOf(DWORD device_id);

    tapi_recorder tapi_;
    completion_recorder completions_;
    simulator::service_simulator service_;
    DWORD lines_ = kPattern;
    DWORD phones_ = kPattern;
    DWORD options_ = kPattern;
};

}  // namespace brivelnox::test
