#pragma once

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>

#include "tests/benchmark/log_script.h"
#include "tests/benchmark/scenario.h"
#include "tests/benchmark/send_watch.h"
#include "tests/benchmark/stage.h"

namespace brivelnox::benchmark {

/// Measures the times from when TAPI makes a request to when the provider sends, and to when the request
/// returns.
class request_scenario : public scenario {
  public:
    enum class request { hold, make_call };

    request_scenario(const host::provider_module& provider, request requested);

    void UseInstantFiles(bool instant) override { stage_.UseInstantFiles(instant); }
    sample Provider() override;
    sample Floor() override;

  private:
    void Expect();
    void Request();
    void CleanUp();
    static void Await(const test::loopback_service& service, std::size_t requests);

    const request requested_;
    stage stage_;
    send_watch sends_;
    // What each service has received up to now, beginning with the request for the list.
    std::size_t provider_requests_ = 1;
    std::size_t floor_requests_ = 1;
    HDRVLINE line_ = nullptr;
    HDRVCALL call_ = nullptr;
    log_script script_;
};

}  // namespace brivelnox::benchmark
