#include "tests/stress/stress_report.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace brivelnox::stress {

namespace {

constexpr std::size_t kLineSize = 512;
/// A run of this length has enough lives of the provider to tell whether something grows.
constexpr std::chrono::seconds kJudgedFrom{60};

/// Guards all figures. One for all of them: some runtimes give each mutex a handle when it is first waited
/// for, and this one has its own soon.
std::mutex figures_mutex;

std::string Text(const char* format, ...) {
    char line[kLineSize] = {};
    va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    return line;
}

std::string Row(const char* name, const std::string& value) {
    return Text("%-22s", name) + value + "\n";
}

std::string Row(const char* name, const counter_table& table) {
    std::string text = Row(name, std::to_string(table.Sum()));
    for (const auto& [kind, count] : table.All()) {
        text += Text("    %-32s%10llu\n", kind.c_str(), static_cast<unsigned long long>(count));
    }
    return text;
}

std::string UsageRow(const char* when, const usage_sample& sample) {
    return Text("%-10s%8.1f s%10zu%8zu%8lld%14llu%8llu%8lld\n", when, sample.seconds, sample.handles,
                sample.kept_handles, static_cast<long long>(sample.NetHandles()),
                static_cast<unsigned long long>(sample.private_bytes / 1024),
                static_cast<unsigned long long>(sample.kept_bytes / 1024),
                static_cast<long long>(sample.NetBytes() / 1024));
}

}  // namespace

void counter_table::Add(const std::string& name, std::uint64_t by) {
    const std::lock_guard lock(figures_mutex);
    counts_[name] += by;
}

std::uint64_t counter_table::Sum() const {
    const std::lock_guard lock(figures_mutex);
    std::uint64_t sum = 0;
    for (const auto& [name, count] : counts_) {
        sum += count;
    }
    return sum;
}

std::map<std::string, std::uint64_t> counter_table::All() const {
    const std::lock_guard lock(figures_mutex);
    return counts_;
}

void duration_figures::Add(milliseconds time) {
    const std::lock_guard lock(figures_mutex);
    ++count_;
    sum_ += time;
    longest_ = std::max(longest_, time);
}

std::string duration_figures::Text() const {
    const std::lock_guard lock(figures_mutex);
    const auto mean = count_ == 0 ? 0 : static_cast<std::uint64_t>(sum_.count()) / count_;
    return std::to_string(count_) + ", mean " + std::to_string(mean) + " ms, longest " +
           std::to_string(longest_.count()) + " ms";
}

std::chrono::milliseconds duration_figures::Longest() const {
    const std::lock_guard lock(figures_mutex);
    return longest_;
}

std::uint64_t duration_figures::Count() const {
    const std::lock_guard lock(figures_mutex);
    return count_;
}

void stress_report::Print(const std::string& what) {
    const std::string line = Text("[%8.2f s] ", Seconds()) + what + "\n";
    (void)std::fputs(line.c_str(), stdout);
    (void)std::fflush(stdout);
}

void stress_report::Fail(const std::string& what) {
    {
        const std::lock_guard lock(figures_mutex);
        ++failures_;
    }
    Print("FAILED (seed " + std::to_string(options_.seed) + "): " + what);
}

bool stress_report::Failed() const {
    const std::lock_guard lock(figures_mutex);
    return failures_ != 0;
}

void stress_report::Note(const std::string& what) {
    Print(what);
}

void stress_report::AddSample(const usage_sample& sample) {
    const std::lock_guard lock(figures_mutex);
    samples_.push_back(sample);
}

std::vector<usage_sample> stress_report::Samples() const {
    const std::lock_guard lock(figures_mutex);
    return samples_;
}

double stress_report::Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begun_).count();
}

void stress_report::PrintUsage(const std::vector<usage_sample>& samples) {
    if (samples.empty()) {
        return;
    }
    const std::size_t last = samples.size() - 1;
    std::string text = "at quiet points       handles    kept     net    private KB    kept     net\n";
    text += UsageRow("start", samples.front());
    text += UsageRow("quarter", samples[last / 4]);
    text += UsageRow("half", samples[last / 2]);
    text += UsageRow("end", samples[last]);
    (void)std::fputs(text.c_str(), stdout);
}

void stress_report::Close(std::size_t connections, std::size_t breaches) {
    const std::vector<usage_sample> samples = Samples();
    const growth_verdict growth = JudgeGrowth(samples);
    if (options_.check_growth && !growth.judged && !Failed() && options_.duration >= kJudgedFrom) {
        Fail("growth was " + growth.text);
    }
    if (options_.check_growth && growth.judged && (growth.handles_grow || growth.bytes_grow)) {
        Fail("handles or private memory grow: " + growth.text);
    }
    std::string text = "\n";
    text += Row("seed", std::to_string(options_.seed));
    text += Row("seconds", Text("%.1f", Seconds()));
    text += Row("threads, lines", Text("%zu, %d", options_.threads, static_cast<int>(options_.lines)));
    text += Row("requests", requests);
    text += Row("results", results);
    text += Row("inside callbacks", inside);
    text += Row("events", events);
    text += Row("calls", calls);
    text += Row("faults", faults);
    text += Row("connections", std::to_string(connections));
    text += Row("kept deliberately", kept);
    text += Row("time of a request", request_times.Text());
    text += Row("starts", starts.Text());
    text += Row("shutdowns", shutdowns.Text());
    (void)std::fputs(text.c_str(), stdout);
    PrintUsage(samples);
    text = Row("growth", growth.text);
    text += Row("breaches", std::to_string(breaches));
    text += Row("result", Failed() ? "FAILED" : "passed");
    (void)std::fputs(text.c_str(), stdout);
    (void)std::fflush(stdout);
}

}  // namespace brivelnox::stress
