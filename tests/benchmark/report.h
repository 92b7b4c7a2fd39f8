#pragma once

#include <span>
#include <string>
#include <vector>

#include "tests/benchmark/heap_figures.h"
#include "tests/benchmark/timed_rows.h"

namespace brivelnox::benchmark {

/// Prints the results as tables of Markdown while they come, and keeps what is over what is wanted.
class report {
  public:
    /// Nothing counts as over that is within so many times what is wanted.
    explicit report(double tolerance) : tolerance_(tolerance) {}

    void BeginTimes();
    void Print(const timed_result& result);
    void PrintHeap(std::span<const heap_figure> figures);
    /// What is over, in a sentence.
    void PrintVerdict() const;

    [[nodiscard]] bool IsWithin() const { return over_.empty(); }

  private:
    void Check(const std::string& what, double figure, double wanted);

    const double tolerance_;
    std::vector<std::string> over_;
};

}  // namespace brivelnox::benchmark
