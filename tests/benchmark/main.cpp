// benchmark: skeleton

#include <cstdio>
#include <exception>

#include "tests/benchmark/comparison.h"
#include "tests/benchmark/event_scenario.h"
#include "tests/benchmark/heap_counter.h"
#include "tests/dll/pe_image_helper.h"

namespace {

using namespace brivelnox;
using namespace brivelnox::benchmark;

void Print(const char* title, const comparison& result, double divisor) {
    std::printf("%-40s %9.1f (%9.1f - %9.1f)  floor %9.1f (%9.1f - %9.1f)  ratio %.3f\n", title,
                result.provider.median / divisor, result.provider.lower / divisor,
                result.provider.upper / divisor, result.floor.median / divisor, result.floor.lower / divisor,
                result.floor.upper / divisor, result.Ratio());
    (void)std::fflush(stdout);
}

void Measure(const char* title, scenario& measured, std::size_t samples, double divisor) {
    for (const bool instant : {false, true}) {
        measured.UseInstantFiles(instant);
        std::printf("%s:\n", instant ? "without the file system" : "with the log");
        const comparisons result = Compare(measured, samples);
        Print((std::string(title) + ", first").c_str(), result.to_first, divisor);
        Print((std::string(title) + ", last").c_str(), result.to_last, divisor);
    }
}

}  // namespace

int main() {
    try {
        const host::provider_module provider(test::BuiltProviderPath().wstring());
        {
            event_scenario known(provider, KnownCall(1, 0));
            Measure("known call", known, 300, 1);
        }
        {
            event_scenario fresh(provider, NewCall());
            Measure("new call", fresh, 300, 1);
        }
        {
            constexpr std::size_t kEvents = 2000;
            event_scenario burst(provider, Burst(1, kEvents));
            Measure("burst, an event", burst, 11, kEvents);
            burst.UseInstantFiles(true);
            const heap_counter heap(provider.Module());
            (void)burst.Provider();
            std::printf("allocations an event: %.2f\n",
                        static_cast<double>(heap_counter::Allocations()) / kEvents);
        }
        return 0;
    } catch (const std::exception& failure) {
        std::printf("benchmark: %s\n", failure.what());
        return 1;
    }
}
