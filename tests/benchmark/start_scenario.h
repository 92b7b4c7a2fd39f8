#pragma once

#include <cstdint>

#include "tests/benchmark/log_script.h"
#include "tests/benchmark/scenario.h"
#include "tests/benchmark/stage.h"

namespace brivelnox::benchmark {

/// Measures how long the provider takes to start, from the first question for its lines to its being
/// initialised, and how long to shut down. The service lists so many softphones.
class start_scenario : public scenario {
  public:
    start_scenario(const host::provider_module& provider, std::uint32_t softphones);

    void UseInstantFiles(bool instant) override { stage_.UseInstantFiles(instant); }
    sample Provider() override;
    sample Floor() override;

  private:
    stage stage_;
    log_script start_;
    log_script shutdown_;
};

}  // namespace brivelnox::benchmark
