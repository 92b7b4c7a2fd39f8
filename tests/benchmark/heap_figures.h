#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/telephony_host/provider_module.h"

namespace brivelnox::benchmark {

/// What the provider takes from the heap for something, with the floor's where there is one, and the most
/// that is wanted where that is said.
struct heap_figure {
    std::string title;
    double provider = 0;
    std::optional<double> floor;
    std::optional<double> wanted;
};

/// Counts with so many events, lines and calls; with so many calls that come and go. Exact, so once is
/// enough.
std::vector<heap_figure> CountHeap(const host::provider_module& provider, std::size_t count,
                                   std::size_t calls_that_go);

}  // namespace brivelnox::benchmark
