#include "tools/windows_acceptance/steps.h"

#include "tools/windows_acceptance/client_steps.h"
#include "tools/windows_acceptance/disruption_steps.h"
#include "tools/windows_acceptance/install_steps.h"
#include "tools/windows_acceptance/load_steps.h"

namespace brivelnox::acceptance {

namespace {

constexpr step kSteps[] = {
    {"rights", "Without an elevated prompt the setup refuses and changes nothing",
     "brivelnox_setup install, as a user", &RefuseWithoutRights},
    {"junction", "A junction that a user has put in the log folder's place is refused",
     "mklink /J as a user, then brivelnox_setup install", &RefuseJunction},
    {"package", "The package installs, repairs and removes silently", "msiexec /qn", &InstallPackage},
    {"install", "The setup installs, and the telephony service runs as before", "brivelnox_setup install",
     &Install},
    {"repair", "Installing again brings back the file, and lists the provider once",
     "delete the file, then brivelnox_setup install", &Repair},
    {"upgrade", "A file that is loaded is replaced; the old one waits for the next start",
     "load the file, then brivelnox_setup install", &UpgradeWhileLoaded},
    {"load", "The telephony service loads the provider, and it writes its log", "tapi_client opens a line",
     &LoadIntoService},
    {"day_window", "A working day, notified by window", "tapi_client --mode window working-day",
     [](bench& machine) { return PlayWorkingDay(machine, L"window"); }},
    {"day_event", "A working day, notified by event", "tapi_client --mode event working-day",
     [](bench& machine) { return PlayWorkingDay(machine, L"event"); }},
    {"day_port", "A working day, notified by completion port", "tapi_client --mode port working-day",
     [](bench& machine) { return PlayWorkingDay(machine, L"port"); }},
    {"configure", "The service still logs after an administrator's Configure has written the first line",
     "lineConfigProvider without a log, then tapi_client", &ConfigureAsAdministrator},
    {"configure_user", "The service still logs after a user's Configure without a log",
     "lineConfigProvider as a user, then tapi_client", &ConfigureAsUser},
    {"thousand", "A thousand softphones are a thousand lines", "tapi_client lists and opens them",
     &MakeThousandLines},
    {"log", "The log is as fast at 100 MB as at 1 MB, within a factor of three",
     "two hundred calls at each size", &MeasureLog},
    {"midnight", "At midnight the log is put away, and a new one begun", "the clock set to 23:59:55",
     &RollLogAtMidnight},
    {"stop", "The telephony service stops in time while calls are told to TAPI", "stop TapiSrv under traffic",
     &StopDuringCallback},
    {"refused", "A port that refuses costs at most two sockets a minute",
     "ten minutes of a refused port, then netstat -qno", &CountRefusedSockets},
    {"remove", "Removing leaves only the log, and with --purge nothing", "brivelnox_setup remove", &Remove},
};

}  // namespace

std::span<const step> AllSteps() {
    return kSteps;
}

std::string ClaimsAsMarkdown() {
    std::string text = "| step | claim | how | |\n|---|---|---|---|\n";
    for (const step& each : kSteps) {
        text +=
            std::string("| `") + each.name + "` | " + each.claim + " | " + each.how + " | not yet run |\n";
    }
    return text;
}

}  // namespace brivelnox::acceptance
