#include "tests/benchmark/event_scenario.h"

#include <string>

namespace brivelnox::benchmark {

namespace {
const std::string kNewCall = kCall + "-new";

}  // namespace

event_plan KnownCall(std::uint32_t lines, std::uint32_t further_calls) {
    return {lines, 1, further_calls, Parked(1, kCall), Resumed(1, kCall), {}};
}

event_plan NewCall() {
    const std::string call = kCall + "-new";
    return {1, 1, 0, {}, Ringing(1, call), Removed(1, call)};
}

event_plan Burst(std::uint32_t lines, std::size_t events) {
    event_plan plan{lines, lines, 0, {}, {}, {}};
    while (plan.timed.count < events) {
        for (std::uint32_t line = 1; line <= lines; ++line) {
            plan.timed += Parked(line, kCall);
            plan.timed += Resumed(line, kCall);
        }
    }
    return plan;
}

event_scenario::event_scenario(const host::provider_module& provider, const event_plan& plan)
    : stage_(provider, plan.lines) {
    SetUp(plan);
    Rehearse(plan.before, false);
    Rehearse(plan.timed, true);
    Rehearse(plan.after, false);
}

void event_scenario::SetUp(const event_plan& plan) {
    stage_.UseInstantFiles(true);
    stage_.StartProvider();
    event_act calls;
    for (std::uint32_t line = 1; line <= plan.open_lines; ++line) {
        (void)stage_.Provider().Open(line);
        calls += Ringing(line, kCall);
        calls += Answered(line, kCall);
    }
    for (std::uint32_t call = 1; call <= plan.further_calls; ++call) {
        calls += Ringing(1, kCall + std::to_string(call));
    }
    (void)stage_.Play(calls);
    stage_.StartFloor(kNoLines);
}

void event_scenario::Rehearse(const event_act& act, bool is_timed) {
    if (act.count != 0) {
        acts_.push_back({act, stage_.Rehearse(stage_.Told(), [&] { (void)stage_.Play(act); }), is_timed});
    }
}

sample event_scenario::Provider() {
    sample timed;
    for (const rehearsed_act& each : acts_) {
        const sample taken = stage_.Play(each.act);
        timed = each.is_timed ? taken : timed;
    }
    return timed;
}

sample event_scenario::Floor() {
    sample timed;
    for (const rehearsed_act& each : acts_) {
        const sample taken = stage_.PlayToFloor(each.act, each.script);
        timed = each.is_timed ? taken : timed;
    }
    return timed;
}

}  // namespace brivelnox::benchmark
