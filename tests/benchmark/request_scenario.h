#pragma once

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

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

    const request requested_;
    stage stage_;
    send_watch sends_;
    HDRVLINE line_ = nullptr;
    HDRVCALL call_ = nullptr;
    log_script script_;
};

}  // namespace brivelnox::benchmark
