#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/benchmark/arrivals.h"
#include "tests/benchmark/log_script.h"
#include "tests/benchmark/scenario.h"
#include "tests/benchmark/stage.h"

namespace brivelnox::benchmark {

/// Messages of the service, and what becomes of them.
struct event_act {
    std::string messages;
    std::size_t count = 0;  ///< how many messages
    std::size_t told = 0;   ///< how many messages TAPI is told, at least one
};

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

/// On the one line, its connected call is parked and connected again, which is timed: TAPI is told the state,
/// and then that the parties have changed.
event_plan KnownCall(std::uint32_t lines, std::uint32_t further_calls);
/// A new call rings, which is timed, and goes.
event_plan NewCall();
/// So many events, an even number for each open line, come as fast as they are taken: calls are parked and
/// connected again.
event_plan Burst(std::uint32_t lines, std::size_t events);

/// Times from when the service begins to send to when TAPI is told what follows.
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
    };

    void SetUp(const event_plan& plan);
    void Rehearse(const event_plan& plan);
    sample PlayToProvider(const event_act& act);
    sample PlayToFloor(const rehearsed_act& rehearsed);

    stage stage_;
    std::vector<rehearsed_act> acts_;
    std::size_t timed_ = 0;
};

}  // namespace brivelnox::benchmark
