// brivelnox_setup: installs, upgrades, repairs and removes the provider, or leaves the machine as it was. One
// line for each step, on the screen and in the setup log. Exit codes: 0, 1 for what failed, 3010 where the
// machine has to be started again.

#include <windows.h>

#include <cstddef>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/version_numbers.h"
#include "tools/console/line_io.h"
#include "tools/console/own_program.h"
#include "tools/setup/elevation.h"
#include "tools/setup/installation.h"
#include "tools/setup/setup_log.h"
#include "tools/setup/status.h"

namespace {

using namespace brivelnox;

constexpr std::string_view kUsage =
    "usage: brivelnox_setup install [--from <folder>] [--package] | remove [--purge] [--package] | status";

constexpr int kFailed = 1;

enum class task { kInstall, kRemove, kStatus };

struct options {
    task what = task::kStatus;
    std::filesystem::path from;  ///< the folder of the provider's file
    bool purge = false;          ///< the log goes, too
    /// An installer's package runs it, which takes every exit code but 0 for a failure.
    bool in_package = false;
};

std::optional<task> ParseTask(const std::vector<std::wstring>& words) {
    const std::wstring word = words.empty() ? L"" : words[0];
    return word == L"install"  ? std::optional(task::kInstall)
           : word == L"remove" ? std::optional(task::kRemove)
           : word == L"status" ? std::optional(task::kStatus)
                               : std::nullopt;
}

std::optional<options> ParseOptions(const std::vector<std::wstring>& words) {
    const std::optional<task> what = ParseTask(words);
    if (!what) {
        return std::nullopt;
    }
    options result{*what, console::OwnFolder()};
    for (std::size_t i = 1; i < words.size(); ++i) {
        if (words[i] == L"--from" && what == task::kInstall && i + 1 < words.size()) {
            result.from = words[++i];
        } else if (words[i] == L"--purge" && what == task::kRemove) {
            result.purge = true;
        } else if (words[i] == L"--package" && what != task::kStatus) {
            result.in_package = true;
        } else {
            return std::nullopt;
        }
    }
    return result;
}

/// The last line, and the exit code.
int Conclude(setup::outcome result, bool in_package, setup::setup_log& log) {
    switch (result) {
        case setup::outcome::kDone:
            log.Write("The setup has succeeded.");
            return ERROR_SUCCESS;
        case setup::outcome::kDoneAtNextStart:
            log.Write("The setup has succeeded. A program still uses the old file: restart the machine.");
            return in_package ? ERROR_SUCCESS : ERROR_SUCCESS_REBOOT_REQUIRED;
        case setup::outcome::kUndone:
            break;
    }
    log.Write("The setup has failed.");
    return kFailed;
}

int Change(const options& wanted, const setup::places& where, console::line_writer& screen) {
    setup::setup_log log(where.setup_log, screen);
    log.Write(std::string(wanted.what == task::kInstall ? "install" : "remove") + ", version " +
              BRIVELNOX_VERSION);
    try {
        setup::windows_service_manager manager;
        setup::telephony_services services(manager);
        setup::tapi_provider_list providers;
        const setup::machine target = {where, services, providers};
        const std::filesystem::path source = wanted.from / setup::kProviderFile;
        const setup::step_list steps = wanted.what == task::kInstall
                                           ? InstallSteps(target, source)
                                           : RemoveSteps(target, source, wanted.purge);
        return Conclude(RunSteps(steps, [&](const std::string& line) { log.Write(line); }), wanted.in_package,
                        log);
    } catch (const std::exception& why) {
        log.Write(std::string("FAILED      ") + why.what());
        return Conclude(setup::outcome::kUndone, wanted.in_package, log);
    }
}

int ShowStatus(const setup::places& where, console::line_writer& screen) {
    setup::windows_service_manager manager;
    setup::tapi_provider_list providers;
    return ReportStatus(where, manager, providers, [&](const std::string& line) { (void)screen.Write(line); })
               ? 0
               : kFailed;
}

int Run(const options& wanted, console::line_writer& screen) {
    const setup::places where = setup::PlacesOfThisMachine();
    if (wanted.what == task::kStatus) {
        return ShowStatus(where, screen);
    }
    if (!setup::IsElevated()) {
        (void)screen.Write(
            "The setup needs the rights of an administrator. Start it from an elevated prompt: "
            "\"Command Prompt\" in the start menu, \"Run as administrator\".");
        return kFailed;
    }
    setup::AllowToGiveBack();
    // Somebody's Ctrl+C would leave the machine between two steps. None of them takes long.
    (void)SetConsoleCtrlHandler(nullptr, TRUE);
    return Change(wanted, where, screen);
}

}  // namespace

int main() {
    // What the system loads on demand comes from its own folder, never from the one that the setup lies in.
    (void)SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
    (void)SetConsoleOutputCP(CP_UTF8);
    console::line_writer screen(GetStdHandle(STD_OUTPUT_HANDLE));
    const std::optional<options> wanted = ParseOptions(console::CommandLineWords());
    if (!wanted) {
        (void)screen.Write(kUsage);
        return kFailed;
    }
    try {
        return Run(*wanted, screen);
    } catch (const std::exception& why) {
        (void)screen.Write(why.what());
        return kFailed;
    }
}
