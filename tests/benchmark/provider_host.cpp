#include "tests/benchmark/provider_host.h"

#include <atomic>
#include <stdexcept>
#include <string>

#include "tests/support/as_handle.h"

namespace brivelnox::benchmark {

namespace {

using test::AsHandle;

constexpr DWORD kVersion = 0x00020002;
constexpr DWORD kProviderId = 7;
constexpr DWORD kFirstDevice = 1;
constexpr DWORD kRequest = 0x51;
constexpr wchar_t kNumber[] = L"+49 30 4711-0";

std::atomic<provider_host*> current{nullptr};

}  // namespace

provider_host::provider_host(const host::provider_module& provider, arrivals& told)
    : provider_(provider), told_(told) {
    current = this;
}

provider_host::~provider_host() {
    Shutdown();
    current = nullptr;
}

void provider_host::Start(std::uint32_t lines) {
    is_started_ = true;
    DWORD line_count = 0;
    DWORD phone_count = 0;
    DWORD options = 0;
    Require(provider_.TSPI_providerEnumDevices(kProviderId, &line_count, &phone_count, AsHandle<HPROVIDER>(1),
                                               &provider_host::OnEvent, nullptr),
            "enumerate");
    if (line_count != lines) {
        throw std::runtime_error("the provider has found " + std::to_string(line_count) + " lines");
    }
    Require(provider_.TSPI_providerInit(kVersion, kProviderId, kFirstDevice, 0, line_count, phone_count,
                                        &provider_host::OnCompletion, &options),
            "initialise");
}

void provider_host::Shutdown() {
    if (is_started_) {
        is_started_ = false;
        (void)provider_.TSPI_providerShutdown(kVersion, kProviderId);
    }
}

HDRVLINE provider_host::Open(std::uint32_t device_id) {
    HDRVLINE line = nullptr;
    Require(provider_.TSPI_lineOpen(device_id, AsHandle<HTAPILINE>(device_id), &line, kVersion,
                                    &provider_host::OnEvent),
            "open a line");
    return line;
}

HDRVCALL provider_host::MakeCall(HDRVLINE line) {
    HDRVCALL call = nullptr;
    if (provider_.TSPI_lineMakeCall(kRequest, line, AsHandle<HTAPICALL>(0xCA11), &call, kNumber, 0,
                                    nullptr) != static_cast<LONG>(kRequest)) {
        throw std::runtime_error("the provider does not place a call");
    }
    return call;
}

void provider_host::Hold(HDRVCALL call) {
    if (provider_.TSPI_lineHold(kRequest, call) != static_cast<LONG>(kRequest)) {
        throw std::runtime_error("the provider does not hold a call");
    }
}

void provider_host::Close(HDRVCALL call) {
    Require(provider_.TSPI_lineCloseCall(call), "close a call");
}

void provider_host::Require(LONG result, const char* what) const {
    if (result != 0) {
        throw std::runtime_error(std::string("the provider does not ") + what);
    }
}

void CALLBACK provider_host::OnEvent(HTAPILINE, HTAPICALL call, DWORD message, DWORD_PTR param1,
                                     DWORD_PTR param2, DWORD_PTR) {
    provider_host* const host = current;
    host->told_.Note();
    if (message == LINE_NEWCALL) {
        // TAPI's handle of a call is the driver's, so that the latter is known whenever something is told.
        *reinterpret_cast<HTAPICALL*>(param2) = AsHandle<HTAPICALL>(param1);
        host->last_new_call_ = AsHandle<HDRVCALL>(param1);
    } else if (message == LINE_CALLSTATE && param1 == LINECALLSTATE_IDLE) {
        // No exception may leave this procedure, so the result counts only where the call is looked for
        // again.
        (void)host->provider_.TSPI_lineCloseCall(AsHandle<HDRVCALL>(reinterpret_cast<std::uintptr_t>(call)));
    }
}

void CALLBACK provider_host::OnCompletion(DRV_REQUESTID, LONG) {}

}  // namespace brivelnox::benchmark
