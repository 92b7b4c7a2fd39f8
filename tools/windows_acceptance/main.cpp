// windows_acceptance: settles on one Windows machine, which can be thrown away afterwards, what is claimed of
// the provider there. It runs the steps, and writes what it saw as JSON and as a table for docs/windows.md.
// Exit codes: 0 if no step failed, 1 if one did or nothing was begun, 2 for a wrong command line.

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/version_numbers.h"
#include "tools/console/command_words.h"
#include "tools/console/line_io.h"
#include "tools/console/own_program.h"
#include "tools/setup/elevation.h"
#include "tools/windows_acceptance/bench.h"
#include "tools/windows_acceptance/client_steps.h"
#include "tools/windows_acceptance/report.h"
#include "tools/windows_acceptance/steps.h"
#include "tools/windows_acceptance/system_name.h"
#include "tools/windows_acceptance/tapi_session.h"

namespace {

using namespace brivelnox;
using namespace brivelnox::acceptance;

constexpr std::string_view kUsage =
    "usage: windows_acceptance --throw-away <name of this machine> [--from <folder>] [--package <file>]\n"
    "                          [--report <folder>] [--only <step>]... [--refused-minutes <number>]\n"
    "       windows_acceptance --list";

constexpr int kFailed = 1;
constexpr int kWrong = 2;

struct options {
    std::wstring machine;  ///< that may be thrown away
    inputs with;
    std::filesystem::path report = L".";
    std::vector<std::string> only;  ///< none for all steps
    bool list = false;
    bool configure = false;  ///< this is the user's program of a step
};

bool IsStep(const std::string& name) {
    return std::ranges::any_of(AllSteps(), [&](const step& each) { return each.name == name; });
}

/// Takes an option that has a value. Returns whether both are sensible.
bool TakeValue(const std::wstring& word, const std::wstring& value, options& result) {
    if (word == L"--throw-away") {
        result.machine = value;
    } else if (word == L"--from") {
        result.with.provider = std::filesystem::path(value) / L"Brivelnox.tsp";
    } else if (word == L"--package") {
        result.with.package = value;
    } else if (word == L"--report") {
        result.report = value;
    } else if (word == L"--only") {
        result.only.push_back(console::ToUtf8(value));
        return IsStep(result.only.back());
    } else if (word == L"--refused-minutes") {
        const std::optional<std::int32_t> minutes = console::ToNumber(console::ToUtf8(value));
        result.with.refused = std::chrono::minutes(minutes.value_or(0));
        return minutes.value_or(0) > 0;
    } else {
        return false;
    }
    return true;
}

std::optional<options> ParseOptions(const std::vector<std::wstring>& words) {
    const std::filesystem::path own = console::OwnFolder();
    options result;
    result.with.provider = own / L"Brivelnox.tsp";
    result.with.package = own / L"Brivelnox.msi";
    if (words.size() == 1) {
        result.list = words[0] == L"--list";
        result.configure = words[0] == L"--configure";
        return result.list || result.configure ? std::optional(result) : std::nullopt;
    }
    for (std::size_t i = 0; i < words.size(); i += 2) {
        if (i + 1 == words.size() || !TakeValue(words[i], words[i + 1], result)) {
            return std::nullopt;
        }
    }
    return result.machine.empty() ? std::nullopt : std::optional(result);
}

/// Why nothing may be begun here; empty if it may.
std::string WhyNot(const options& wanted) {
    if (CompareStringOrdinal(wanted.machine.c_str(), -1, MachineName().c_str(), -1, TRUE) != CSTR_EQUAL) {
        return "This machine is " + console::ToUtf8(MachineName()) +
               ". The run leaves it changed: give that name only if it can be thrown away.";
    }
    if (!setup::IsElevated()) {
        return "The run needs the rights of an administrator. Start it from an elevated prompt.";
    }
    if (!std::filesystem::exists(wanted.with.provider)) {
        return "There is no " + console::ToUtf8(wanted.with.provider.native()) + ".";
    }
    return {};
}

std::string Today() {
    SYSTEMTIME now = {};
    GetLocalTime(&now);
    char text[32] = {};
    (void)std::snprintf(text, sizeof text, "%04d-%02d-%02d", now.wYear, now.wMonth, now.wDay);
    return text;
}

std::vector<report_row> RunSteps(const options& wanted, console::line_writer& screen) {
    bench machine(wanted.with);
    std::vector<report_row> rows;
    for (const step& each : AllSteps()) {
        if (!wanted.only.empty() && std::ranges::find(wanted.only, each.name) == wanted.only.end()) {
            continue;
        }
        (void)screen.WritePart(std::string(each.name) + ": " + each.claim + "\n");
        rows.push_back({&each, RunStep(each, machine)});
        (void)screen.Write(std::string("    ") + VerdictName(rows.back().seen.what) + ": " +
                           rows.back().seen.text);
    }
    return rows;
}

int Run(const options& wanted, console::line_writer& screen) {
    const std::string why_not = WhyNot(wanted);
    if (!why_not.empty()) {
        (void)screen.Write(why_not);
        return kFailed;
    }
    const std::vector<report_row> rows = RunSteps(wanted, screen);
    const report_head head = {SystemName(), BRIVELNOX_VERSION, Today()};
    std::ofstream(wanted.report / L"acceptance.json", std::ios::binary) << ToJson(head, rows);
    std::ofstream(wanted.report / L"acceptance.md", std::ios::binary) << ToMarkdown(head, rows);
    const auto failed = std::ranges::count_if(
        rows, [](const report_row& each) { return each.seen.what == verdict::kFailed; });
    (void)screen.Write(std::to_string(rows.size()) + " steps, " + std::to_string(failed) + " failed");
    return failed == 0 ? 0 : kFailed;
}

int Configure(console::line_writer& screen) {
    try {
        ConfigureProvider();
        return 0;
    } catch (const left_out& why) {
        (void)screen.Write(why.what());
        return kNoWindows;
    }
}

}  // namespace

int main() {
    (void)SetConsoleOutputCP(CP_UTF8);
    console::line_writer screen(GetStdHandle(STD_OUTPUT_HANDLE));
    const std::optional<options> wanted = ParseOptions(console::CommandLineWords());
    if (!wanted) {
        (void)screen.Write(kUsage);
        return kWrong;
    }
    try {
        if (wanted->list) {
            (void)screen.WritePart(ClaimsAsMarkdown());
            return 0;
        }
        return wanted->configure ? Configure(screen) : Run(*wanted, screen);
    } catch (const std::exception& why) {
        (void)screen.Write(why.what());
        return kFailed;
    }
}
