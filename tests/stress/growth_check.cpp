#include "tests/stress/growth_check.h"

#include <cstdio>
#include <numeric>
#include <span>

namespace brivelnox::stress {

namespace {

constexpr std::size_t kFewestSamples = 8;

struct series {
    std::vector<double> at;
    std::vector<double> value;
};

double Mean(std::span<const double> values) {
    return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

/// How much more the last quarter is than the first, on the mean.
double Rise(const series& of) {
    const std::span<const double> values(of.value);
    const std::size_t quarter = values.size() / 4;
    return Mean(values.last(quarter)) - Mean(values.first(quarter));
}

/// By least squares, per second.
double Slope(const series& of) {
    const double mean_at = Mean(of.at);
    const double mean_value = Mean(of.value);
    double together = 0;
    double alone = 0;
    for (std::size_t i = 0; i < of.at.size(); ++i) {
        together += (of.at[i] - mean_at) * (of.value[i] - mean_value);
        alone += (of.at[i] - mean_at) * (of.at[i] - mean_at);
    }
    return alone > 0 ? together / alone : 0;
}

}  // namespace

growth_verdict JudgeGrowth(const std::vector<usage_sample>& samples) {
    growth_verdict verdict;
    const std::size_t warm = samples.size() / 5 + 1;
    if (samples.size() < kFewestSamples + warm) {
        verdict.text = "not judged, too few samples";
        return verdict;
    }
    series handles;
    series bytes;
    for (const usage_sample& each : std::span(samples).subspan(warm)) {
        handles.at.push_back(each.seconds);
        bytes.at.push_back(each.seconds);
        handles.value.push_back(static_cast<double>(each.NetHandles()));
        bytes.value.push_back(static_cast<double>(each.NetBytes()));
    }
    verdict.judged = true;
    verdict.handles_grow = Rise(handles) > kHandleTolerance;
    verdict.bytes_grow = Rise(bytes) > kByteTolerance;
    char text[256] = {};
    (void)std::snprintf(text, sizeof text,
                        "net handles %+.1f (allowed %+.0f, %+.2f a minute), net private KB %+.0f (allowed "
                        "%+.0f, %+.0f a minute), of %zu samples after %zu to warm up",
                        Rise(handles), kHandleTolerance, Slope(handles) * 60, Rise(bytes) / 1024,
                        kByteTolerance / 1024, Slope(bytes) * 60 / 1024, handles.at.size(), warm);
    verdict.text = text;
    return verdict;
}

}  // namespace brivelnox::stress
