#include "tests/benchmark/timed_rows.h"

#include <cstdint>

#include "tests/benchmark/event_scenario.h"
#include "tests/benchmark/request_scenario.h"
#include "tests/benchmark/start_scenario.h"

namespace brivelnox::benchmark {

namespace {

using module = host::provider_module;
using scenario_ptr = std::unique_ptr<scenario>;

constexpr wanted_ratios kEvent{1.03, 1.30};
// Without the log the floor has next to nothing to do.
constexpr wanted_ratios kRequest{1.03, 0};
constexpr wanted_ratios kList{1.03, 0};
constexpr wanted_ratios kNone{};

constexpr std::size_t kMany = 300;
constexpr std::size_t kSome = 40;

scenario_ptr KnownCallOf(const module& provider, std::size_t) {
    return std::make_unique<event_scenario>(provider, KnownCall(1, 0));
}

scenario_ptr NewCallOf(const module& provider, std::size_t) {
    return std::make_unique<event_scenario>(provider, NewCall());
}

scenario_ptr WithLines(const module& provider, std::size_t lines) {
    return std::make_unique<event_scenario>(provider, KnownCall(static_cast<std::uint32_t>(lines), 0));
}

scenario_ptr WithCalls(const module& provider, std::size_t calls) {
    return std::make_unique<event_scenario>(provider, KnownCall(1, static_cast<std::uint32_t>(calls - 1)));
}

template <request_scenario::request requested>
scenario_ptr Request(const module& provider, std::size_t) {
    return std::make_unique<request_scenario>(provider, requested);
}

template <std::uint32_t lines>
scenario_ptr BurstOn(const module& provider, std::size_t events) {
    return std::make_unique<event_scenario>(provider, Burst(lines, events));
}

scenario_ptr StartWith(const module& provider, std::size_t softphones) {
    return std::make_unique<start_scenario>(provider, static_cast<std::uint32_t>(softphones));
}

constexpr timed_rows kRows[] = {
    {{"event of a known call, to its first message to TAPI", kEvent},
     {"event of a known call, to its last message to TAPI", kEvent},
     &KnownCallOf,
     {1, kMany},
     {1, kSome}},
    {{"new ringing call, to its first message to TAPI", kEvent},
     {"new ringing call, to its last message to TAPI", kEvent},
     &NewCallOf,
     {1, kMany},
     {1, kSome}},
    {{"hold, to `send`", kRequest},
     {"hold, to its return", kRequest},
     &Request<request_scenario::request::hold>,
     {1, kMany},
     {1, kSome}},
    {{"make call, to `send`", kRequest},
     {"make call, to its return", kRequest},
     &Request<request_scenario::request::make_call>,
     {1, kMany},
     {1, kSome}},
    {{}, {"burst of # events on one line, each", kEvent}, &BurstOn<1>, {20000, 5}, {1000, 3}, true},
    {{}, {"burst of # events on 100 lines, each", kEvent}, &BurstOn<100>, {20000, 5}, {1000, 3}, true},
    {{}, {"event with # line", kEvent}, &WithLines, {1, kMany}, {1, kSome}},
    {{}, {"event with # lines", kEvent}, &WithLines, {100, kMany}, {100, kSome}},
    {{}, {"event with # lines", kEvent}, &WithLines, {1000, kMany}, {1000, kSome}},
    {{}, {"event with # lines", kEvent}, &WithLines, {10000, kMany}, {}},
    {{}, {"event with # live call on one line", kEvent}, &WithCalls, {1, kMany}, {1, kSome}},
    {{}, {"event with # live calls on one line", kEvent}, &WithCalls, {100, kMany}, {100, kSome}},
    {{}, {"event with # live calls on one line", kEvent}, &WithCalls, {1000, kMany}, {1000, kSome}},
    {{}, {"event with # live calls on one line", kEvent}, &WithCalls, {10000, kMany}, {}},
    {{"start with a list of #", kNone}, {"shutdown with # line", kNone}, &StartWith, {1, 20}, {1, 5}},
    {{"start with a list of #", kList}, {"shutdown with # lines", kNone}, &StartWith, {1000, 5}, {1000, 3}},
    {{"start with a list of #", kList}, {"shutdown with # lines", kNone}, &StartWith, {10000, 5}, {}},
    {{"start with a list of #", kList}, {"shutdown with # lines", kNone}, &StartWith, {40000, 3}, {}},
};

std::string Title(const measured_time& row, std::size_t size) {
    std::string title = row.title;
    if (const std::size_t at = title.find('#'); at != std::string::npos) {
        title.replace(at, 1, std::to_string(size));
    }
    return title;
}

}  // namespace

std::span<const timed_rows> TimedRows() {
    return kRows;
}

void Measure(const timed_rows& rows, const module& provider, bool quick,
             const std::function<void(const timed_result&)>& on_result) {
    const effort& chosen = quick ? rows.quick : rows.full;
    if (chosen.samples == 0) {
        return;
    }
    const std::size_t parts = rows.is_for_each ? chosen.size : 1;
    const scenario_ptr measured = rows.make(provider, chosen.size);
    measured->UseInstantFiles(false);
    const comparisons with_log = Compare(*measured, chosen.samples, parts);
    measured->UseInstantFiles(true);
    const comparisons without_files = Compare(*measured, chosen.samples, parts);
    if (*rows.first.title != '\0') {
        on_result({Title(rows.first, chosen.size), rows.first.wanted, with_log.first, without_files.first});
    }
    on_result({Title(rows.second, chosen.size), rows.second.wanted, with_log.second, without_files.second});
}

}  // namespace brivelnox::benchmark
