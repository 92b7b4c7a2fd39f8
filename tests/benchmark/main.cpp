// benchmark: what the provider costs beside its floor, which is what nothing in its place could do without.
// Prints tables; see scripts/benchmark, which runs it, and docs/performance.md for what is measured. With
// --quick less of it, to see that it works; then only what is over twice its bound counts. Ends with 0 when
// nothing is over its bound, with 1 when something is, and with 2 when it could not be measured.

#include <cstddef>
#include <cstdio>
#include <exception>
#include <string_view>

#include "tests/benchmark/heap_figures.h"
#include "tests/benchmark/report.h"
#include "tests/benchmark/timed_rows.h"
#include "tests/dll/pe_image_helper.h"

namespace {

using namespace brivelnox;
using namespace brivelnox::benchmark;

/// How much is counted on the heap: so many events, lines and calls, and so many calls that go.
struct heap_effort {
    std::size_t count;
    std::size_t calls_that_go;
};

constexpr heap_effort kFullHeap{10000, 100000};
constexpr heap_effort kQuickHeap{1000, 1000};

bool Run(bool quick) {
    const host::provider_module provider(test::BuiltProviderPath().wstring());
    report results(quick ? 2.0 : 1.0);
    results.BeginTimes();
    for (const timed_rows& each : TimedRows()) {
        Measure(each, provider, quick, [&](const timed_result& result) { results.Print(result); });
    }
    const heap_effort& heap = quick ? kQuickHeap : kFullHeap;
    results.PrintHeap(CountHeap(provider, heap.count, heap.calls_that_go));
    results.PrintVerdict();
    return results.IsWithin();
}

}  // namespace

int main(int argument_count, char** arguments) {
    const bool quick = argument_count == 2 && std::string_view(arguments[1]) == "--quick";
    if (argument_count > 1 && !quick) {
        (void)std::fprintf(stderr, "usage: benchmark [--quick]\n");
        return 2;
    }
    try {
        return Run(quick) ? 0 : 1;
    } catch (const std::exception& failure) {
        (void)std::fprintf(stderr, "benchmark: %s\n", failure.what());
        return 2;
    }
}
