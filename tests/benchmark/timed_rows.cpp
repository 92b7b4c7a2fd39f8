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
constexpr effort kFull{1, kMany};
constexpr effort kQuick{1, kSome};

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

constexpr auto kHold = request_scenario::request::hold;
constexpr auto kMakeCall = request_scenario::request::make_call;

constexpr timed_rows kRows[] = {
    {{"known call, first message", kEvent},
     {"known call, last message", kEvent},
     &KnownCallOf,
     kFull,
     kQuick},
    {{"new call, first message", kEvent}, {"new call, last message", kEvent}, &NewCallOf, kFull, kQuick},
    {{"hold, `send`", kRequest}, {"hold, return", kRequest}, &Request<kHold>, kFull, kQuick},
    {{"make call, `send`", kRequest}, {"make call, return", kRequest}, &Request<kMakeCall>, kFull, kQuick},
    {{}, {"each of # events on one line", kEvent}, &BurstOn<1>, {20000, 5}, {1000, 3}, true},
    {{}, {"each of # events on 100 lines", kEvent}, &BurstOn<100>, {20000, 5}, {1000, 3}, true},
    {{}, {"event with # line", kEvent}, &WithLines, kFull, kQuick},
    {{}, {"event with # lines", kEvent}, &WithLines, {100, kMany}, {100, kSome}},
    {{}, {"event with # lines", kEvent}, &WithLines, {1000, kMany}, {1000, kSome}},
    {{}, {"event with # lines", kEvent}, &WithLines, {10000, kMany}, {}},
    {{}, {"event with # live call", kEvent}, &WithCalls, kFull, kQuick},
    {{}, {"event with # live calls", kEvent}, &WithCalls, {100, kMany}, {100, kSome}},
    {{}, {"event with # live calls", kEvent}, &WithCalls, {1000, kMany}, {1000, kSome}},
    {{}, {"event with # live calls", kEvent}, &WithCalls, {10000, kMany}, {}},
    {{"start, list of #", kNone}, {"shutdown, # line", kNone}, &StartWith, {1, 20}, {1, 5}},
    {{"start, list of #", kList}, {"shutdown, # lines", kNone}, &StartWith, {1000, 5}, {1000, 3}},
    {{"start, list of #", kList}, {"shutdown, # lines", kNone}, &StartWith, {10000, 5}, {}},
    {{"start, list of #", kList}, {"shutdown, # lines", kNone}, &StartWith, {40000, 3}, {}},
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
