#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/benchmark/event_acts.h"
#include "tests/benchmark/log_script.h"
#include "tests/benchmark/scenario.h"
#include "tests/benchmark/stage.h"

namespace brivelnox::benchmark {

/// What there is before, and what happens in each sample. Acts without messages are left out.
struct event_plan {
    std::uint32_t lines = 1;
    /// Lines that are open, each with one connected call; at most all.
    std::uint32_t open_lines = 1;
    /// Calls that ring on the first line besides.
    std::uint32_t further_calls = 0;
    event_act before;
    event_act timed;
    event_act after;
};

/// The connected call of the first line is parked and resumed; the latter is timed.
event_plan KnownCall(std::uint32_t lines, std::uint32_t further_calls);
/// A new call rings, which is timed, and goes.
event_plan NewCall();
/// So many events, an even number for each open line, come as fast as they are taken: calls are parked and
/// resumed.
event_plan Burst(std::uint32_t lines, std::size_t events);

/// Measures the times from when the service begins to send to the first and to the last message that TAPI is
/// told.
class event_scenario : public scenario {
  public:
    event_scenario(const host::provider_module& provider, const event_plan& plan);

    void UseInstantFiles(bool instant) override { stage_.UseInstantFiles(instant); }
    sample Provider() override;
    sample Floor() override;

  private:
    struct rehearsed_act {
        event_act act;
        log_script script;
        bool is_timed;
    };

    void SetUp(const event_plan& plan);
    void Rehearse(const event_act& act, bool is_timed);

    stage stage_;
    std::vector<rehearsed_act> acts_;
};

}  // namespace brivelnox::benchmark
