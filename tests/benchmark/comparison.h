#pragma once

#include <cstddef>
#include <vector>

#include "tests/benchmark/scenario.h"

namespace brivelnox::benchmark {

/// The median of a number of figures and its spread: the quartiles.
struct spread {
    double median = 0;
    double lower = 0;
    double upper = 0;
};

/// At least one figure.
spread SpreadOf(std::vector<double> figures);

/// The provider beside its floor, in microseconds.
struct comparison {
    spread provider;
    spread floor;

    [[nodiscard]] double Ratio() const { return provider.median / floor.median; }
};

/// A scenario's two times.
struct comparisons {
    comparison first;
    comparison second;
};

/// Takes so many samples of the provider and of the floor in turn, so that both meet the same machine, and
/// divides their times by the number of parts. One more of each comes first and does not count.
comparisons Compare(scenario& measured, std::size_t samples, std::size_t parts);

}  // namespace brivelnox::benchmark
