#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/stress/growth_check.h"
#include "tests/stress/stress_options.h"

namespace brivelnox::stress {

/// Numbers by name. Thread-safe.
class counter_table {
  public:
    void Add(const std::string& name, std::uint64_t by = 1);
    [[nodiscard]] std::uint64_t Sum() const;
    [[nodiscard]] std::map<std::string, std::uint64_t> All() const;

  private:
    std::map<std::string, std::uint64_t> counts_;
};

/// How long one kind of thing took. Thread-safe.
class duration_figures {
  public:
    using milliseconds = std::chrono::milliseconds;

    void Add(milliseconds time);
    /// "12, mean 3 ms, longest 20 ms"
    [[nodiscard]] std::string Text() const;
    [[nodiscard]] milliseconds Longest() const;
    [[nodiscard]] std::uint64_t Count() const;

  private:
    std::uint64_t count_ = 0;
    milliseconds sum_{};
    milliseconds longest_{};
};

/// Everything that is counted in a run, what failed in it, and the closing table. Thread-safe.
class stress_report {
  public:
    explicit stress_report(const stress_options& options) : options_(options) {}

    counter_table requests;  ///< by kind
    counter_table results;   ///< accepted, refused, answered
    counter_table events;    ///< messages and completions of the provider
    counter_table inside;    ///< requests made from inside callbacks
    counter_table faults;    ///< by kind
    counter_table calls;     ///< by who began them
    counter_table kept;      ///< what the provider keeps deliberately
    duration_figures request_times;
    duration_figures starts;
    duration_figures shutdowns;

    /// A finding: printed at once with the time, and makes the run fail.
    void Fail(const std::string& what);
    [[nodiscard]] bool Failed() const;
    /// A line for the reader, with the time.
    void Note(const std::string& what);

    void AddSample(const usage_sample& sample);
    [[nodiscard]] std::vector<usage_sample> Samples() const;
    [[nodiscard]] double Seconds() const;

    /// Judges growth, then prints the table.
    void Close(std::size_t connections, std::size_t breaches);

  private:
    void Print(const std::string& what);
    void PrintUsage(const std::vector<usage_sample>& samples);

    const stress_options options_;
    const std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
    std::size_t failures_ = 0;
    std::vector<usage_sample> samples_;
};

}  // namespace brivelnox::stress
