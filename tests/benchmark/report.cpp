#include "tests/benchmark/report.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string_view>

namespace brivelnox::benchmark {

namespace {

constexpr std::size_t kTitleWidth = 36;
constexpr std::size_t kTimeWidth = 24;
constexpr std::size_t kNumberWidth = 9;

/// A figure with the digits that mean something.
std::string Figure(double figure) {
    char text[32] = {};
    const int decimals = figure >= 100 || figure == 0 ? 0 : figure >= 10 ? 1 : 2;
    (void)std::snprintf(text, sizeof text, "%.*f", decimals, figure);
    return text;
}

std::string Ratio(double ratio) {
    char text[32] = {};
    (void)std::snprintf(text, sizeof text, "%.3f", ratio);
    return text;
}

struct time_unit {
    const char* name;
    double microseconds;
};

/// The one in which a time is easy to read.
time_unit UnitOf(double microseconds) {
    if (microseconds < 1e4) {
        return {"\u00B5s", 1};
    }
    return microseconds < 1e7 ? time_unit{"ms", 1e3} : time_unit{"s", 1e6};
}

std::string Time(const spread& time) {
    const time_unit unit = UnitOf(time.median);
    const auto figure = [&](double microseconds) { return Figure(microseconds / unit.microseconds); };
    return figure(time.median) + " " + unit.name + " (" + figure(time.lower) + "-" + figure(time.upper) + ")";
}

/// The characters of a text in UTF-8.
std::size_t Characters(std::string_view text) {
    constexpr unsigned kBits = 0xC0;
    constexpr unsigned kContinuation = 0x80;
    return static_cast<std::size_t>(std::ranges::count_if(
        text, [](char byte) { return (static_cast<unsigned char>(byte) & kBits) != kContinuation; }));
}

/// One row of a table. The first cell is aligned to the left, the others to the right.
class table_row {
  public:
    explicit table_row(std::string_view title) { Add(title, kTitleWidth, true); }

    table_row& operator()(std::string_view text, std::size_t width) {
        Add(text, width, false);
        return *this;
    }
    void Print() const {
        (void)std::printf("%s\n", line_.c_str());
        (void)std::fflush(stdout);
    }

  private:
    void Add(std::string_view text, std::size_t width, bool left) {
        const std::string filler(width - std::min(width, Characters(text)), ' ');
        line_.append(" ").append(left ? "" : filler).append(text).append(left ? filler : "").append(" |");
    }

    std::string line_ = "|";
};

/// Nothing where the floor has nothing to do.
std::string Ratio(const comparison& compared) {
    return compared.floor.median < 1 ? "" : Ratio(compared.Ratio());
}

void PrintComparisons(const std::string& title, const comparison& with_log, const comparison& without_files) {
    table_row row(title);
    for (const comparison* const each : {&with_log, &without_files}) {
        row(Time(each->provider), kTimeWidth)(Time(each->floor), kTimeWidth)(Ratio(*each), kNumberWidth);
    }
    row.Print();
}

}  // namespace

void report::BeginTimes() {
    table_row heading("time");
    for (const std::string mode : {"with the log", "no files"}) {
        heading("provider, " + mode, kTimeWidth)("floor, " + mode, kTimeWidth)("ratio", kNumberWidth);
    }
    heading.Print();
    (void)std::printf("|---|--:|--:|--:|--:|--:|--:|\n");
}

void report::Print(const timed_result& result) {
    PrintComparisons(result.title, result.with_log, result.without_files);
    Check(result.title + ", with the log", result.with_log.Ratio(), result.wanted.with_log);
    Check(result.title + ", no files", result.without_files.Ratio(), result.wanted.without_files);
}

void report::PrintHeap(std::span<const heap_figure> figures) {
    (void)std::printf("\n");
    table_row("heap")("provider", kNumberWidth)("floor", kNumberWidth).Print();
    (void)std::printf("|---|--:|--:|\n");
    for (const heap_figure& each : figures) {
        const std::string floor = each.floor ? Figure(*each.floor) : "";
        table_row(each.title)(Figure(each.provider), kNumberWidth)(floor, kNumberWidth).Print();
        Check(each.title, each.provider, each.wanted.value_or(0));
    }
}

void report::PrintVerdict() const {
    (void)std::printf("\n%s\n", over_.empty() ? "Nothing is over its bound." : "Over its bound:");
    for (const std::string& each : over_) {
        (void)std::printf("* %s\n", each.c_str());
    }
}

void report::Check(const std::string& what, double figure, double wanted) {
    const double bound = wanted * tolerance_;
    if (wanted != 0 && figure > bound) {
        over_.push_back(what + ": " + Ratio(figure) + " instead of " + Figure(bound));
    }
}

}  // namespace brivelnox::benchmark
