#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "tests/benchmark/comparison.h"
#include "tests/benchmark/scenario.h"
#include "tools/telephony_host/provider_module.h"

namespace brivelnox::benchmark {

/// The most that the provider may take as a multiple of its floor; 0 where nothing is wanted.
struct wanted_ratios {
    double with_log = 0;
    double without_files = 0;
};

/// One of the times that a scenario measures: a row of the table.
struct measured_time {
    /// Empty: not shown. A "#" stands for the size.
    const char* title = "";
    wanted_ratios wanted;
};

/// How much of something is measured, and how often.
struct effort {
    std::size_t size = 1;
    /// 0: not at all.
    std::size_t samples = 0;
};

/// A scenario and what is shown of it.
struct timed_rows {
    measured_time first;
    measured_time second;
    std::unique_ptr<scenario> (*make)(const host::provider_module& provider, std::size_t size);
    effort full;
    effort quick;
    /// Whether the times are divided by the size.
    bool is_for_each = false;
};

/// Everything that is timed, in the order in which it is shown.
std::span<const timed_rows> TimedRows();

/// A row with its figures.
struct timed_result {
    std::string title;
    wanted_ratios wanted;
    comparison with_log;
    comparison without_files;
};

/// Measures what is to be shown and hands each result on.
void Measure(const timed_rows& rows, const host::provider_module& provider, bool quick,
             const std::function<void(const timed_result&)>& on_result);

}  // namespace brivelnox::benchmark
