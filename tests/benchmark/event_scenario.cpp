#include "tests/benchmark/event_scenario.h"

#include "tools/service_simulator/service_messages.h"

namespace brivelnox::benchmark {

namespace {

constexpr char kCall[] = "6f9d1b2a-call";
constexpr char kNewCall[] = "6f9d1b2a-next";

std::string Event(std::uint32_t line, const std::string& id, const char* state) {
    simulator::call_state_event event;
    event.permanent_line_id = static_cast<std::int32_t>(line);
    event.client_call_id = id;
    event.call_state = state;
    event.self = simulator::party{"1001", "Desk 1001"};
    event.peer = simulator::party{"+49304711", "Anna Beispiel"};
    return simulator::CallStateEvent(event);
}

// What TAPI is told of each. The parties of a call that is parked count as new when it is connected again.
event_act Ringing(std::uint32_t line, const std::string& id) {
    return {Event(line, id, "Ringing"), 1, 4};  // the call, OFFERING, its parties, ACCEPTED
}

event_act FirstConnected(std::uint32_t line) {
    return {Event(line, kCall, "Connected"), 1, 1};
}

event_act Parked(std::uint32_t line) {
    return {Event(line, kCall, "Parked"), 1, 1};
}

event_act Connected(std::uint32_t line) {
    return {Event(line, kCall, "Connected"), 1, 2};
}

event_act Removed(std::uint32_t line, const std::string& id) {
    return {simulator::CallRemovedEvent(static_cast<std::int32_t>(line), id), 1, 2};  // DISCONNECTED, IDLE
}

event_act& operator+=(event_act& acts, const event_act& next) {
    acts.messages += next.messages;
    acts.count += next.count;
    acts.told += next.told;
    return acts;
}

}  // namespace

event_plan KnownCall(std::uint32_t lines, std::uint32_t further_calls) {
    return {lines, 1, further_calls, Parked(1), Connected(1), {}};
}

event_plan NewCall() {
    return {1, 1, 0, {}, Ringing(1, kNewCall), Removed(1, kNewCall)};
}

event_plan Burst(std::uint32_t lines, std::size_t events) {
    event_plan plan{lines, lines, 0, {}, {}, {}};
    while (plan.timed.count < events) {
        for (std::uint32_t line = 1; line <= lines; ++line) {
            plan.timed += Parked(line);
            plan.timed += Connected(line);
        }
    }
    return plan;
}

event_scenario::event_scenario(const host::provider_module& provider, const event_plan& plan)
    : stage_(provider, plan.lines) {
    SetUp(plan);
    Rehearse(plan);
}

void event_scenario::SetUp(const event_plan& plan) {
    stage_.UseInstantFiles(true);
    stage_.StartProvider();
    event_act calls;
    for (std::uint32_t line = 1; line <= plan.open_lines; ++line) {
        (void)stage_.Provider().Open(line);
        calls += Ringing(line, kCall);
        calls += FirstConnected(line);
    }
    for (std::uint32_t call = 1; call <= plan.further_calls; ++call) {
        calls += Ringing(1, "6f9d1b2a-" + std::to_string(call));
    }
    (void)PlayToProvider(calls);
    const log_script of_the_list = {{""}, 1, 1};
    stage_.StartFloor(of_the_list);
}

void event_scenario::Rehearse(const event_plan& plan) {
    for (const event_act* const act : {&plan.before, &plan.timed, &plan.after}) {
        if (act == &plan.timed) {
            timed_ = acts_.size();
        }
        if (act->count != 0) {
            acts_.push_back({*act, stage_.Rehearse(stage_.Told(), [&] { (void)PlayToProvider(*act); })});
        }
    }
}

sample event_scenario::Provider() {
    sample timed;
    for (std::size_t i = 0; i < acts_.size(); ++i) {
        const sample taken = PlayToProvider(acts_[i].act);
        timed = i == timed_ ? taken : timed;
    }
    return timed;
}

sample event_scenario::Floor() {
    sample timed;
    for (std::size_t i = 0; i < acts_.size(); ++i) {
        const sample taken = PlayToFloor(acts_[i]);
        timed = i == timed_ ? taken : timed;
    }
    return timed;
}

sample event_scenario::PlayToProvider(const event_act& act) {
    arrivals& told = stage_.Told();
    stage_.ExpectTold(act.told);
    const time_point begun = benchmark_clock::now();
    stage_.ProviderService().Send(act.messages);
    told.Wait();
    return {Microseconds(begun, told.First()), Microseconds(begun, told.Last())};
}

sample event_scenario::PlayToFloor(const rehearsed_act& rehearsed) {
    arrivals& done = stage_.Done();
    stage_.Floor().Expect(rehearsed.script, rehearsed.act.count);
    const time_point begun = benchmark_clock::now();
    stage_.FloorService().Send(rehearsed.act.messages);
    done.Wait();
    return {Microseconds(begun, done.First()), Microseconds(begun, done.Last())};
}

}  // namespace brivelnox::benchmark
