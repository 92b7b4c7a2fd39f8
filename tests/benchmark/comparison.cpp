#include "tests/benchmark/comparison.h"

#include <algorithm>
#include <utility>

namespace brivelnox::benchmark {

namespace {

/// The figures of one side.
struct series {
    std::vector<double> first;
    std::vector<double> second;

    void Add(const sample& taken, double parts) {
        first.push_back(taken.first / parts);
        second.push_back(taken.second / parts);
    }
};

}  // namespace

spread SpreadOf(std::vector<double> figures) {
    std::ranges::sort(figures);
    const std::size_t last = figures.size() - 1;
    return {figures[last / 2], figures[last / 4], figures[last - last / 4]};
}

comparisons Compare(scenario& measured, std::size_t samples, std::size_t parts) {
    series provider;
    series floor;
    (void)measured.Provider();
    (void)measured.Floor();
    for (std::size_t i = 0; i < samples; ++i) {
        provider.Add(measured.Provider(), static_cast<double>(parts));
        floor.Add(measured.Floor(), static_cast<double>(parts));
    }
    return {{SpreadOf(std::move(provider.first)), SpreadOf(std::move(floor.first))},
            {SpreadOf(std::move(provider.second)), SpreadOf(std::move(floor.second))}};
}

}  // namespace brivelnox::benchmark
