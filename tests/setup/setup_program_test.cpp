// The program itself, with this machine's services, TAPI and folders.

#include <windows.h>

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/unique_handle.h"
#include "tests/dll/pe_image_helper.h"
#include "tests/setup/fake_machine_helper.h"
#include "tests/setup/foreign_things_helper.h"
#include "tests/setup/this_machine_helper.h"
#include "tests/support/log_reader.h"
#include "tools/setup/files.h"

namespace brivelnox::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsSubsetOf;
using testing::Not;

constexpr DWORD kRestart = ERROR_SUCCESS_REBOOT_REQUIRED;

/// The files that Windows moves or deletes when it starts next.
std::wstring WaitsForNextStart() {
    std::wstring text(32768, L'\0');
    auto size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    const LSTATUS status =
        RegGetValueW(HKEY_LOCAL_MACHINE, L"System\\CurrentControlSet\\Control\\Session Manager",
                     L"PendingFileRenameOperations", RRF_RT_REG_MULTI_SZ, nullptr, text.data(), &size);
    return status == ERROR_SUCCESS ? text : std::wstring();
}

using setup_program = this_machine_test;

TEST_F(setup_program, installs) {
    const DWORD before = service_->ProcessId();
    const program_result run = InstallFromBuild();
    EXPECT_EQ(run.exit_code, 0U) << run.output;
    EXPECT_TRUE(IsInstalled());
    EXPECT_EQ(EntryCount(), 1U);
    EXPECT_EQ(where_.LogFolder() / L"Brivelnox.Tsp.log", log_reader::OfProvider().Path());
    EXPECT_TRUE(fs::is_directory(where_.LogFolder()));
    EXPECT_NE(service_->ProcessId(), 0U);
    EXPECT_NE(service_->ProcessId(), before);
    EXPECT_THAT(run.output, HasSubstr("done        Stop the telephony service: TapiSrv\n"));
    EXPECT_THAT(run.output, HasSubstr("The setup has succeeded."));
    EXPECT_THAT(ReadText(where_.setup_log), HasSubstr("done        Stop the telephony service: TapiSrv\r\n"));
}

TEST_F(setup_program, installs_again_and_repairs) {
    EXPECT_EQ(InstallFromBuild().exit_code, 0U);
    EXPECT_EQ(InstallFromBuild().exit_code, 0U);
    EXPECT_EQ(EntryCount(), 1U);
    fs::remove(where_.provider);
    EXPECT_EQ(InstallFromBuild().exit_code, 0U);
    EXPECT_TRUE(IsInstalled());
    EXPECT_EQ(EntryCount(), 1U);
}

TEST_F(setup_program, upgrades_what_another_program_uses) {
    EXPECT_EQ(InstallFromBuild().exit_code, 0U);
    const unique_module user(LoadLibraryW(where_.provider.c_str()));
    ASSERT_TRUE(user);
    const program_result run = InstallFromBuild();
    EXPECT_EQ(run.exit_code, kRestart) << run.output;
    EXPECT_TRUE(IsInstalled());
    EXPECT_EQ(EntryCount(), 1U);
    EXPECT_THAT(run.output, HasSubstr("restart the machine"));
    EXPECT_TRUE(setup::IsThere(where_.provider.wstring() + L".1.old"));
    EXPECT_THAT(WaitsForNextStart(), HasSubstr(L"Brivelnox.tsp.1.old"));
}

TEST_F(setup_program, in_a_package_does_not_take_a_restart_for_a_failure) {
    fs::copy_file(BuiltProviderPath(), where_.provider);
    const unique_module user(LoadLibraryW(where_.provider.c_str()));
    ASSERT_TRUE(user);
    const program_result run = RunSetup(L"remove --package");
    EXPECT_EQ(run.exit_code, 0U);
    EXPECT_THAT(run.output, HasSubstr("restart the machine"));
    EXPECT_TRUE(setup::IsThere(where_.provider.wstring() + L".1.old"));
}

TEST_F(setup_program, leaves_a_service_stopped_that_was) {
    service_->Stop();
    EXPECT_EQ(InstallFromBuild().exit_code, 0U);
    EXPECT_EQ(service_->ProcessId(), 0U);
}

TEST_F(setup_program, stops_and_starts_what_depends_on_the_service) {
    const test_service dependent(L"BrivelnoxDependent", setup::kTelephonyService);
    if (!service_->TellsDependents()) {
        GTEST_SKIP() << "this system does not tell what depends on a service";
    }
    const DWORD before = dependent.ProcessId();
    EXPECT_EQ(InstallFromBuild().exit_code, 0U);
    EXPECT_NE(dependent.ProcessId(), 0U);
    EXPECT_NE(dependent.ProcessId(), before);
}

TEST_F(setup_program, removes) {
    EXPECT_EQ(InstallFromBuild().exit_code, 0U);
    const program_result run = RunSetup(L"remove");
    EXPECT_EQ(run.exit_code, 0U) << run.output;
    EXPECT_FALSE(setup::IsThere(where_.provider));
    EXPECT_EQ(EntryCount(), 0U);
    EXPECT_TRUE(fs::is_directory(where_.LogFolder()));
    EXPECT_NE(service_->ProcessId(), 0U);
}

TEST_F(setup_program, removes_the_log_too) {
    EXPECT_EQ(InstallFromBuild().exit_code, 0U);
    EXPECT_EQ(RunSetup(L"remove --purge").exit_code, 0U);
    ExpectNothingThere();
    EXPECT_EQ(RunSetup(L"remove --purge").exit_code, 0U);
}

TEST_F(setup_program, tells_the_status) {
    const program_result before = RunSetup(L"status");
    EXPECT_EQ(before.exit_code, 1U);
    EXPECT_THAT(before.output, HasSubstr("Brivelnox.tsp: not there"));
    EXPECT_THAT(before.output, HasSubstr("provider list  not in it"));
    EXPECT_EQ(InstallFromBuild().exit_code, 0U);
    const program_result after = RunSetup(L"status");
    EXPECT_EQ(after.exit_code, 0U);
    EXPECT_THAT(after.output, HasSubstr("Brivelnox.tsp: version 1."));
    EXPECT_THAT(after.output, HasSubstr("provider list  number "));
    EXPECT_THAT(after.output, HasSubstr("TapiSrv runs"));
}

TEST_F(setup_program, undoes_what_it_did_when_tapi_does_not_take_the_file) {
    const fake_machine elsewhere;
    const program_result run = RunSetup(L"install --from " + elsewhere.Source().parent_path().wstring());
    EXPECT_EQ(run.exit_code, 1U);
    EXPECT_THAT(run.output, HasSubstr("FAILED      Enter Brivelnox.tsp in the provider list"));
    EXPECT_THAT(run.output, Not(HasSubstr("NOT UNDONE")));
    EXPECT_THAT(run.output, HasSubstr("The setup has failed."));
    ExpectNothingThere();
    EXPECT_NE(service_->ProcessId(), 0U);
}

TEST_F(setup_program, touches_nothing_without_the_file) {
    const DWORD before = service_->ProcessId();
    const program_result run = RunSetup(L"install --from C:\\nowhere");
    EXPECT_EQ(run.exit_code, 1U);
    EXPECT_THAT(run.output, HasSubstr("FAILED      Copy C:\\nowhere\\Brivelnox.tsp"));
    ExpectNothingThere();
    EXPECT_EQ(service_->ProcessId(), before);
}

TEST_F(setup_program, refuses_a_link_in_place_of_the_log_folder) {
    const fake_machine elsewhere;
    fs::create_directories(where_.maker_folder);
    if (!MakeFolderLink(where_.OwnFolder(), elsewhere.Source().parent_path())) {
        GTEST_SKIP() << "this user can make no link to a folder";
    }
    const program_result run = InstallFromBuild();
    EXPECT_EQ(run.exit_code, 1U);
    EXPECT_THAT(run.output, HasSubstr("Brivelnox.Tsp is a link to another place"));
    EXPECT_FALSE(setup::IsThere(where_.provider));
    EXPECT_TRUE(fs::exists(elsewhere.Source()));
    RemoveFolderLink(where_.OwnFolder());
}

TEST_F(setup_program, refuses_to_run_twice_at_the_same_time) {
    const unique_file other(CreateFileW(where_.setup_log.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr,
                                        OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    const program_result run = InstallFromBuild();
    EXPECT_EQ(run.exit_code, 1U);
    EXPECT_THAT(run.output, HasSubstr("another setup is running"));
    ExpectNothingThere();
}

TEST_F(setup_program, says_that_it_needs_an_administrator) {
    const program_result run = RunSetupNotElevated(L"install");
    EXPECT_EQ(run.exit_code, 1U);
    EXPECT_THAT(run.output, HasSubstr("elevated prompt"));
    ExpectNothingThere();
    EXPECT_FALSE(setup::IsThere(where_.setup_log));
}

TEST_F(setup_program, says_what_it_takes) {
    for (const wchar_t* const arguments : {L"", L"dance", L"install here", L"install --from",
                                           L"install --purge", L"remove --all", L"status --package"}) {
        const program_result run = RunSetup(arguments);
        EXPECT_EQ(run.exit_code, 1U);
        EXPECT_THAT(run.output, HasSubstr("usage: brivelnox_setup install"));
    }
}

TEST(setup_file, needs_nothing_but_what_windows_never_looks_for_beside_a_program) {
    const pe_image image(ProgramFolder() + L"brivelnox_setup.exe");
    EXPECT_THAT(image.ImportedModules(),
                IsSubsetOf({"advapi32.dll", "kernel32.dll", "msvcrt.dll", "shell32.dll", "user32.dll"}));
}

TEST(setup_file, asks_for_no_rights_by_itself) {
    EXPECT_THAT(ReadText(ProgramFolder() + L"brivelnox_setup.exe"), HasSubstr("level=\"asInvoker\""));
}

}  // namespace
}  // namespace brivelnox::test
