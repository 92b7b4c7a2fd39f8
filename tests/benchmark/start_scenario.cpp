#include "tests/benchmark/start_scenario.h"

namespace brivelnox::benchmark {

start_scenario::start_scenario(const host::provider_module& provider, std::uint32_t softphones)
    : stage_(provider, softphones) {
    start_ = stage_.Rehearse(stage_.Told(), [this] { stage_.StartProvider(); });
    shutdown_ = stage_.Rehearse(stage_.Told(), [this] { stage_.Provider().Shutdown(); });
}

sample start_scenario::Provider() {
    const time_point begun = benchmark_clock::now();
    stage_.StartProvider();
    const time_point started = benchmark_clock::now();
    stage_.Provider().Shutdown();
    return {Microseconds(begun, started), Microseconds(started, benchmark_clock::now())};
}

sample start_scenario::Floor() {
    const time_point begun = benchmark_clock::now();
    stage_.StartFloor(start_);
    const time_point started = benchmark_clock::now();
    stage_.Floor().Append(shutdown_, 0, shutdown_.lines.size());
    stage_.Floor().Disconnect();
    return {Microseconds(begun, started), Microseconds(started, benchmark_clock::now())};
}

}  // namespace brivelnox::benchmark
