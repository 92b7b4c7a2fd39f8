#include "tests/benchmark/comparison.h"

#include <algorithm>
#include <utility>

namespace brivelnox::benchmark {

namespace {

/// The figures of one side.
struct series {
    std::vector<double> to_first;
    std::vector<double> to_last;

    void Add(const sample& taken) {
        to_first.push_back(taken.to_first);
        to_last.push_back(taken.to_last);
    }
};

}  // namespace

spread SpreadOf(std::vector<double> figures) {
    std::ranges::sort(figures);
    const auto at = [&](std::size_t quarter) { return figures[(figures.size() - 1) * quarter / 4]; };
    return {at(2), at(1), at(3)};
}

comparisons Compare(scenario& measured, std::size_t samples) {
    series provider;
    series floor;
    (void)measured.Provider();
    (void)measured.Floor();
    for (std::size_t i = 0; i < samples; ++i) {
        provider.Add(measured.Provider());
        floor.Add(measured.Floor());
    }
    return {{SpreadOf(std::move(provider.to_first)), SpreadOf(std::move(floor.to_first))},
            {SpreadOf(std::move(provider.to_last)), SpreadOf(std::move(floor.to_last))}};
}

}  // namespace brivelnox::benchmark
