#pragma once

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <atomic>
#include <cstdint>

#include "tests/benchmark/arrivals.h"
#include "tools/telephony_host/provider_module.h"

namespace brivelnox::benchmark {

/// Drives the provider as the telephony service does, without keeping or checking anything: what it does
/// itself must not count. Notes each message that TAPI is told, and closes a call as soon as it is idle. The
/// procedures that TAPI has are plain functions, so there is one host at a time.
class provider_host {
  public:
    provider_host(const host::provider_module& provider, arrivals& told);
    /// Shuts the provider down.
    ~provider_host();
    provider_host(const provider_host&) = delete;
    provider_host& operator=(const provider_host&) = delete;

    /// Has the provider enumerate its lines, as many as are expected, and initialises it. The first line's
    /// device identifier is 1. Raises std::runtime_error when something fails.
    void Start(std::uint32_t lines);
    void Shutdown();

    /// Opens a line. TAPI's handle of it is its device identifier. Raises std::runtime_error on failure.
    HDRVLINE Open(std::uint32_t device_id);

    /// The driver's handle of the call that was announced last.
    [[nodiscard]] HDRVCALL LastNewCall() const { return last_new_call_; }

    /// Places a call and returns the driver's handle.
    HDRVCALL MakeCall(HDRVLINE line);
    void Hold(HDRVCALL call);
    void Close(HDRVCALL call);

  private:
    static void CALLBACK OnEvent(HTAPILINE line, HTAPICALL call, DWORD message, DWORD_PTR param1,
                                 DWORD_PTR param2, DWORD_PTR param3);
    static void CALLBACK OnCompletion(DRV_REQUESTID request, LONG result);
    void Require(LONG result, const char* what) const;

    const host::provider_module& provider_;
    arrivals& told_;
    bool is_started_ = false;
    std::atomic<HDRVCALL> last_new_call_{nullptr};
};

}  // namespace brivelnox::benchmark
