#include "tools/windows_acceptance/install_steps.h"

#include "platform/unique_handle.h"
#include "tools/setup/files.h"
#include "tools/windows_acceptance/plain_user.h"
#include "tools/windows_acceptance/step.h"

namespace brivelnox::acceptance {

namespace {

namespace fs = std::filesystem;
using console::program_result;

constexpr std::chrono::minutes kInstallerPatience{10};

setup::unique_token RequirePlainUser() {
    setup::unique_token user = PlainUser();
    if (!user) {
        throw left_out("this system gives no token of a user without rights");
    }
    return user;
}

void RequireExit(const program_result& run, DWORD code) {
    Require(run.ended && run.exit_code == code,
            "exit code " + std::to_string(run.exit_code) + ": " + run.output);
}

void RunInstaller(const std::wstring& arguments) {
    RequireExit(console::RunProgram(L"msiexec /qn " + arguments, {}, kInstallerPatience), ERROR_SUCCESS);
}

/// A folder link that the user has made, taken away at the end; what it leads to stays.
class junction {
  public:
    junction(fs::path link, const fs::path& target, HANDLE user) : link_(std::move(link)) {
        const program_result made = console::RunProgram(
            L"cmd /c mklink /J \"" + link_.wstring() + L"\" \"" + target.wstring() + L"\"", {},
            std::chrono::minutes(1), user);
        if (!setup::IsLink(link_)) {
            throw left_out("a user can make no junction here: " + made.output);
        }
    }
    ~junction() { (void)RemoveDirectoryW(link_.c_str()); }
    junction(const junction&) = delete;
    junction& operator=(const junction&) = delete;

  private:
    const fs::path link_;
};

}  // namespace

std::string Install(bench& machine) {
    RequireExit(bench::RunSetup(L"remove --purge"), ERROR_SUCCESS);
    setup::windows_service_manager services;
    const DWORD before = services.State(setup::kTelephonyService);
    RequireExit(bench::RunSetup(machine.InstallCommand()), ERROR_SUCCESS);
    machine.RequireInstalled();
    Require(services.State(setup::kTelephonyService) == before, "the telephony service is not as before");
    RequireExit(bench::RunSetup(L"status"), ERROR_SUCCESS);
    return "the file, its entry in TAPI's list and the log folder are there";
}

std::string Repair(bench& machine) {
    machine.EnsureInstalled();
    {
        const stopped_services stopped;
        Require(DeleteFileW(machine.Where().provider.c_str()) != FALSE,
                "the file cannot be deleted, error " + std::to_string(GetLastError()));
    }
    RequireExit(bench::RunSetup(machine.InstallCommand()), ERROR_SUCCESS);
    machine.RequireInstalled();
    return "the file is there again, and listed once";
}

std::string UpgradeWhileLoaded(bench& machine) {
    machine.EnsureInstalled();
    {
        const unique_module user(LoadLibraryW(machine.Where().provider.c_str()));
        Require(static_cast<bool>(user), "the installed file cannot be loaded");
        RequireExit(bench::RunSetup(machine.InstallCommand()), ERROR_SUCCESS_REBOOT_REQUIRED);
    }
    machine.RequireInstalled();
    return "the new file is in its place; the old one goes when the machine starts next";
}

std::string RefuseWithoutRights(bench& machine) {
    const setup::unique_token user = RequirePlainUser();
    RequireExit(bench::RunSetup(L"remove --purge"), ERROR_SUCCESS);
    const program_result run = bench::RunSetup(machine.InstallCommand(), user.get());
    RequireExit(run, 1);
    Require(run.output.find("elevated prompt") != std::string::npos, "it does not say why: " + run.output);
    machine.RequireRemoved(true);
    return "refused, and nothing was changed";
}

std::string RefuseJunction(bench& machine) {
    const setup::unique_token user = RequirePlainUser();
    RequireExit(bench::RunSetup(L"remove --purge"), ERROR_SUCCESS);
    const fs::path target = fs::temp_directory_path() / L"brivelnox_acceptance_target";
    fs::create_directories(target);
    fs::create_directories(machine.Where().maker_folder);
    {
        const junction link(machine.Where().OwnFolder(), target, user.get());
        const program_result run = bench::RunSetup(machine.InstallCommand());
        RequireExit(run, 1);
        Require(run.output.find("is a link to another place") != std::string::npos,
                "it does not say why: " + run.output);
    }
    Require(fs::is_empty(target), "something was written where the link leads");
    fs::remove(target);
    machine.RequireRemoved(true);
    return "refused, and nothing was written where it leads";
}

std::string InstallPackage(bench& machine) {
    if (!fs::exists(machine.With().package)) {
        throw left_out("no package was given (--package)");
    }
    RequireExit(bench::RunSetup(L"remove --purge"), ERROR_SUCCESS);
    const std::wstring package = L"\"" + machine.With().package.wstring() + L"\"";
    RunInstaller(L"/i " + package);
    machine.RequireInstalled();
    RunInstaller(L"/i " + package + L" REINSTALL=ALL REINSTALLMODE=amus");
    machine.RequireInstalled();
    RunInstaller(L"/x " + package);
    machine.RequireRemoved(false);
    return "installed, repaired and removed silently";
}

std::string Remove(bench& machine) {
    machine.EnsureInstalled();
    RequireExit(bench::RunSetup(L"remove"), ERROR_SUCCESS);
    machine.RequireRemoved(false);
    Require(fs::is_directory(machine.Where().LogFolder()), "the log has gone, too");
    RequireExit(bench::RunSetup(L"remove --purge"), ERROR_SUCCESS);
    machine.RequireRemoved(true);
    return "first all but the log, then the log";
}

}  // namespace brivelnox::acceptance
