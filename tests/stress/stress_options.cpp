#include "tests/stress/stress_options.h"

#include <charconv>
#include <string_view>
#include <system_error>

namespace brivelnox::stress {

namespace {

using setter = void (*)(stress_options&, std::uint64_t);

struct option_row {
    std::string_view word;
    std::uint64_t least;
    std::uint64_t most;
    setter set;
    std::string_view help;
};

constexpr option_row kOptions[] = {
    {"--seed", 0, UINT64_MAX, [](stress_options& o, std::uint64_t v) { o.seed = v; },
     "gives each thread the same orders again; what they meet depends on the others (default: from the "
     "clock)"},
    {"--seconds", 1, 1000000,
     [](stress_options& o, std::uint64_t v) { o.duration = std::chrono::seconds(v); },
     "how long to run (default 60)"},
    {"--minutes", 1, 10000, [](stress_options& o, std::uint64_t v) { o.duration = std::chrono::minutes(v); },
     "the same in minutes"},
    {"--threads", 1, 64, [](stress_options& o, std::uint64_t v) { o.threads = static_cast<std::size_t>(v); },
     "application threads (default 4)"},
    {"--lines", 1, 1000, [](stress_options& o, std::uint64_t v) { o.lines = static_cast<std::int32_t>(v); },
     "softphones (default 8)"},
    {"--patience", 1, 100,
     [](stress_options& o, std::uint64_t v) { o.patience = static_cast<std::int32_t>(v); },
     "multiplies every bound, for slow builds (default 1)"},
    {"--timer-life-seconds", 1, 1000,
     [](stress_options& o, std::uint64_t v) { o.timer_life = std::chrono::seconds(v); },
     "how long a life takes that waits for the provider's timer (default 45)"},
    {"--check-growth", 0, 1, [](stress_options& o, std::uint64_t v) { o.check_growth = v != 0; },
     "1: growing handles or memory are a failure (default 1)"},
};

const option_row* FindOption(std::string_view word) {
    for (const option_row& row : kOptions) {
        if (row.word == word) {
            return &row;
        }
    }
    return nullptr;
}

std::uint64_t SeedOfTheClock() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

}  // namespace

std::optional<stress_options> ParseOptions(const std::vector<std::string>& words, std::string& error) {
    stress_options options;
    options.seed = SeedOfTheClock();
    for (std::size_t i = 0; i < words.size(); i += 2) {
        const option_row* const row = FindOption(words[i]);
        if (row == nullptr || i + 1 == words.size()) {
            error = row == nullptr ? "no such option: " + words[i] : words[i] + " wants a number";
            return std::nullopt;
        }
        const std::string& text = words[i + 1];
        std::uint64_t value = 0;
        const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (failure != std::errc() || end != text.data() + text.size() || value < row->least ||
            value > row->most) {
            error = words[i] + " cannot be " + text;
            return std::nullopt;
        }
        row->set(options, value);
    }
    return options;
}

std::string Usage() {
    std::string text = "usage: stress [option number]...\n";
    for (const option_row& row : kOptions) {
        text.append("  ").append(row.word).append(22 - row.word.size(), ' ').append(row.help).append("\n");
    }
    return text;
}

}  // namespace brivelnox::stress
