#include "tools/windows_acceptance/client_steps.h"

#include "tools/windows_acceptance/plain_user.h"
#include "tools/windows_acceptance/simulated_service.h"
#include "tools/windows_acceptance/step.h"
#include "tools/windows_acceptance/tapi_session.h"

namespace brivelnox::acceptance {

namespace {

constexpr std::chrono::minutes kConfigurePatience{2};

/// An application finds and opens the line of a softphone, and the log has grown by it.
void RequireLineAndLog(const bench& machine) {
    const std::size_t before = ReadFile(machine.LogFile()).size();
    const console::program_result run = bench::RunClient(L"event", "open \"Desk 1001\"\nquit\n");
    Require(run.ended && run.exit_code == 0, "the application has no line: " + run.output);
    Require(ReadFile(machine.LogFile()).size() > before, "the log has not grown");
}

/// Presses *Configure* while there is no log: the day's first line is the one that this writes.
template <class Action>
std::string WithFirstLine(bench& machine, Action configure) {
    machine.EnsureInstalled();
    {
        const stopped_services stopped;
        (void)DeleteFileW(machine.LogFile().c_str());
        configure();
    }
    simulated_service service;
    service.RegisterDesk();
    RequireLineAndLog(machine);
    return "the telephony service logs afterwards";
}

}  // namespace

std::string LoadIntoService(bench& machine) {
    machine.EnsureInstalled();
    { const stopped_services loads_it_anew; }
    simulated_service service;
    service.RegisterDesk();
    RequireLineAndLog(machine);
    const tapi_session session;
    tapi_session::RequireProviderInService();
    return "an application opened a line, and the service wrote the log";
}

std::string PlayWorkingDay(bench& machine, const wchar_t* mode) {
    machine.EnsureInstalled();
    const console::program_result day = bench::RunClient(std::wstring(mode) + L" working-day");
    Require(day.ended && day.exit_code == 0, day.output);
    return "every step happened, and TAPI did nothing that its description rules out";
}

std::string ConfigureAsAdministrator(bench& machine) {
    return WithFirstLine(machine, [] { ConfigureProvider(); });
}

std::string ConfigureAsUser(bench& machine) {
    const setup::unique_token user = PlainUser();
    if (!user) {
        throw left_out("this system gives no token of a user without rights");
    }
    return WithFirstLine(machine, [&] {
        const console::program_result run = console::RunProgram(
            bench::Program(L"windows_acceptance.exe") + L" --configure", {}, kConfigurePatience, user.get());
        if (run.exit_code == kNoWindows) {
            throw left_out(run.output);
        }
        Require(run.ended && run.exit_code == 0, run.output);
    });
}

}  // namespace brivelnox::acceptance
