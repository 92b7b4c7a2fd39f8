#include "tests/benchmark/heap_figures.h"

#include <windows.h>

#include <cstdint>

#include "tests/benchmark/event_acts.h"
#include "tests/benchmark/event_scenario.h"
#include "tests/benchmark/heap_counter.h"
#include "tests/benchmark/stage.h"

namespace brivelnox::benchmark {

namespace {

constexpr double kWantedAllocations = 10;

double Each(std::int64_t sum, std::size_t count) {
    return static_cast<double>(sum) / static_cast<double>(count);
}

/// The provider and the floor with one line, on which there has been a call, so that what is made for the
/// first one is there. Nothing is written.
class heap_stage {
  public:
    explicit heap_stage(const host::provider_module& provider)
        : module_(provider.Module()), stage_(provider, 1) {
        stage_.UseInstantFiles(true);
        stage_.StartProvider();
        (void)stage_.Provider().Open(1);
        event_act first = Ringing(1, kCall);
        first += Removed(1, kCall);
        (void)stage_.Play(first);
        stage_.StartFloor(kNoLines);
    }

    heap_use OfProvider(const event_act& acts) {
        const heap_counter counter(module_);
        (void)stage_.Play(acts);
        return counter.Use();
    }

    heap_use OfFloor(const event_act& acts) {
        const heap_counter counter(GetModuleHandleW(nullptr));
        (void)stage_.PlayToFloor(acts, kNoLines);
        return counter.Use();
    }

  private:
    const HMODULE module_;
    stage stage_;
};

heap_figure AllocationsAnEvent(const host::provider_module& provider, std::size_t events) {
    heap_stage played(provider);
    event_act call = Ringing(1, kCall);
    call += Answered(1, kCall);
    (void)played.OfProvider(call);
    const event_act burst = Burst(1, events).timed;
    return {"allocations for an event", Each(played.OfProvider(burst).allocations, events),
            Each(played.OfFloor(burst).allocations, events), kWantedAllocations};
}

std::int64_t BytesKept(const host::provider_module& provider, const event_act& acts) {
    return heap_stage(provider).OfProvider(acts).bytes_kept;
}

event_act Lines(std::size_t count) {
    event_act acts;
    for (std::uint32_t line = 2; acts.count < count; ++line) {
        acts += Registered(line);
    }
    return acts;
}

event_act Calls(std::size_t count) {
    event_act acts;
    while (acts.count < count) {
        acts += Ringing(1, kCall + std::to_string(acts.count));
    }
    return acts;
}

event_act CallsThatGo(std::size_t count) {
    event_act acts;
    while (acts.count < 2 * count) {
        const std::string call = kCall + std::to_string(acts.count);
        acts += Ringing(1, call);
        acts += Removed(1, call);
    }
    return acts;
}

}  // namespace

std::vector<heap_figure> CountHeap(const host::provider_module& provider, std::size_t count,
                                   std::size_t calls_that_go) {
    return {
        AllocationsAnEvent(provider, count),
        {"bytes for a line", Each(BytesKept(provider, Lines(count)), count), {}, {}},
        {"bytes for a call", Each(BytesKept(provider, Calls(count)), count), {}, {}},
        {"bytes that " + std::to_string(calls_that_go) + " calls leave behind",
         static_cast<double>(BytesKept(provider, CallsThatGo(calls_that_go))),
         {},
         {}},
    };
}

}  // namespace brivelnox::benchmark
