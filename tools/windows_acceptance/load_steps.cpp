#include "tools/windows_acceptance/load_steps.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string_view>

#include "tools/windows_acceptance/simulated_service.h"
#include "tools/windows_acceptance/step.h"
#include "tools/windows_acceptance/tapi_session.h"

namespace brivelnox::acceptance {

namespace {

using steady = std::chrono::steady_clock;

constexpr std::chrono::seconds kLogPatience{60};
constexpr DWORD kLookAgain = 20;  // milliseconds

double SecondsSince(steady::time_point begun) {
    return std::chrono::duration<double>(steady::now() - begun).count();
}

std::string Rounded(double number) {
    char text[32] = {};
    (void)std::snprintf(text, sizeof text, "%.1f", number);
    return text;
}

std::string WaitForLogged(const bench& machine, std::uintmax_t since, const std::string& what) {
    const auto begun = steady::now();
    for (;;) {
        std::string text = ReadFile(machine.LogFile(), since);
        if (text.find(what) != std::string::npos) {
            return text;
        }
        Require(steady::now() - begun < kLogPatience, "the log does not tell of " + what);
        Sleep(kLookAgain);
    }
}

/// A log of the size, as the provider would have written it.
void FillLog(const std::filesystem::path& file, std::size_t size) {
    constexpr std::string_view kLine = "01-01 00:00:00 TelephonyManager     a line that was there before\r\n";
    std::string text;
    text.reserve(size + kLine.size());
    while (text.size() < size) {
        text.append(kLine);
    }
    std::ofstream(file, std::ios::binary) << text;
}

/// Two hundred calls that come and go: how many lines of the log they make in a second.
double LinesInASecond(bench& machine, std::size_t size_before) {
    constexpr int kCalls = 200;
    {
        const stopped_services nobody_writes;
        FillLog(machine.LogFile(), size_before);
    }
    simulated_service service;
    service.RegisterDesk();
    const tapi_session session;
    const std::uintmax_t since = std::filesystem::file_size(machine.LogFile());
    const auto begun = steady::now();
    std::string last;
    for (int i = 0; i < kCalls; ++i) {
        last = service.Command("ring 1001 4711");
        service.Command("remove 1001 " + last);
    }
    const std::string text = WaitForLogged(machine, since, last);
    return static_cast<double>(std::count(text.begin(), text.end(), '\n')) / SecondsSince(begun);
}

}  // namespace

std::string MakeThousandLines(bench& machine) {
    constexpr int kCount = 1000;
    machine.EnsureInstalled();
    simulated_service service;
    for (int i = 1; i <= kCount; ++i) {
        service.Command("register " + std::to_string(i) + " \"Softphone " + std::to_string(i) + "\"");
    }
    { const stopped_services loads_it_anew; }
    const auto begun = steady::now();
    const console::program_result run = bench::RunClient(L"event", "open \"Softphone 1000\"\nlines\nquit\n");
    const double took = SecondsSince(begun);
    Require(run.ended && run.exit_code == 0, "the last line cannot be opened: " + run.output.substr(0, 500));
    for (int i = 1; i <= kCount; ++i) {
        const std::string name = "permanent id " + std::to_string(i) + "  ";
        Require(run.output.find(name) != std::string::npos, "there is no line with the " + name);
    }
    return "all lines were there, one was opened, " + Rounded(took) +
           " s from the application's start to its end";
}

std::string MeasureLog(bench& machine) {
    constexpr std::size_t kMegabyte = 1000000;
    constexpr double kSlower = 3;
    machine.EnsureInstalled();
    const double small = LinesInASecond(machine, kMegabyte);
    const double large = LinesInASecond(machine, 100 * kMegabyte);
    const std::string seen = Rounded(small) + " lines a second at 1 MB, " + Rounded(large) + " at 100 MB";
    Require(large * kSlower > small, seen);
    return seen;
}

}  // namespace brivelnox::acceptance
