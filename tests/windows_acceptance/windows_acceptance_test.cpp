// The acceptance run, with stand-ins for the telephony service and for TAPI: every step that this system has
// is run, and one that it lacks says so.

#include <windows.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/dll/pe_image_helper.h"
#include "tests/setup/fake_machine_helper.h"
#include "tests/setup/this_machine_helper.h"
#include "tests/support/missing_common_folder.h"
#include "tools/console/command_words.h"
#include "tools/setup/files.h"
#include "tools/windows_acceptance/plain_user.h"
#include "tools/windows_acceptance/steps.h"
#include "tools/windows_acceptance/system_name.h"

namespace brivelnox::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

constexpr std::chrono::minutes kPatience{4};
constexpr wchar_t kProgram[] = L"windows_acceptance.exe";

/// Wine makes no windows where there is no display, unless it is told to do without.
class windows_without_screen {
  public:
    windows_without_screen() {
        (void)RegSetKeyValueW(HKEY_CURRENT_USER, kDrivers, kGraphics, REG_SZ, L"null", sizeof L"null");
    }
    ~windows_without_screen() { (void)RegDeleteKeyValueW(HKEY_CURRENT_USER, kDrivers, kGraphics); }
    windows_without_screen(const windows_without_screen&) = delete;
    windows_without_screen& operator=(const windows_without_screen&) = delete;

  private:
    static constexpr wchar_t kDrivers[] = L"Software\\Wine\\Drivers";
    static constexpr wchar_t kGraphics[] = L"Graphics";
};

/// Each test runs one step, or says what is refused.
class windows_acceptance : public this_machine_test {
  protected:
    program_result Run(const std::wstring& arguments) const {
        const fs::path build = BuiltProviderPath().parent_path();
        return RunProgram(kProgram,
                          L"--throw-away " + acceptance::MachineName() + L" --from " + build.wstring() +
                              L" --package " + (build / L"Brivelnox.msi").wstring() + L" --report " +
                              reports_.wstring() + L" " + arguments,
                          "", kPatience);
    }

    void ExpectPassed(const std::wstring& step) const {
        const program_result run = Run(L"--only " + step);
        EXPECT_EQ(run.exit_code, 0U) << run.output;
        EXPECT_THAT(run.output, HasSubstr("    passed: "));
    }
    void ExpectLeftOut(const std::wstring& step, const std::string& why) const {
        const program_result run = Run(L"--only " + step);
        EXPECT_EQ(run.exit_code, 0U) << run.output;
        EXPECT_THAT(run.output, HasSubstr("    left out: " + why));
    }

    const fs::path reports_ = fs::temp_directory_path();
    const windows_without_screen windows_;
};

// Side by side, because each takes its time.
using acceptance_of_install = windows_acceptance;
using acceptance_of_package = windows_acceptance;
using acceptance_of_days = windows_acceptance;
using acceptance_of_load = windows_acceptance;
using acceptance_of_disruption = windows_acceptance;
using acceptance_as_a_whole = windows_acceptance;

TEST_F(acceptance_of_install, runs_each_step) {
    for (const wchar_t* const step : {L"rights", L"install", L"repair", L"upgrade", L"remove"}) {
        SCOPED_TRACE(console::ToUtf8(step));
        ExpectPassed(step);
    }
}

TEST_F(acceptance_of_install, leaves_out_a_junction_that_cannot_be_made) {
    ExpectLeftOut(L"junction", "a user can make no junction here");
}

TEST_F(acceptance_of_install, fails_when_the_claim_does_not_hold) {
    service_.reset();
    const program_result run = Run(L"--only install");
    EXPECT_EQ(run.exit_code, 1U);
    EXPECT_THAT(run.output, HasSubstr("    FAILED: exit code 1"));
    EXPECT_THAT(ReadText(reports_ / L"acceptance.json"), HasSubstr("\"verdict\": \"FAILED\""));
}

TEST_F(acceptance_of_package, runs) {
    ExpectPassed(L"package");
}

TEST_F(acceptance_of_days, runs_each_way_of_notification) {
    for (const wchar_t* const step : {L"day_window", L"day_event", L"day_port"}) {
        SCOPED_TRACE(console::ToUtf8(step));
        ExpectPassed(step);
    }
}

TEST_F(acceptance_of_load, runs_each_step) {
    for (const wchar_t* const step : {L"configure", L"configure_user", L"thousand", L"log"}) {
        SCOPED_TRACE(console::ToUtf8(step));
        ExpectPassed(step);
    }
}

TEST_F(acceptance_of_disruption, is_left_out_where_the_service_does_not_load_the_provider) {
    const std::string in_application = "this system loads the provider into applications";
    ExpectLeftOut(L"load", in_application);
    ExpectLeftOut(L"stop", in_application);
    ExpectLeftOut(L"midnight", "Wine does not set the clock");
    ExpectLeftOut(L"refused", "netstat does not tell of bound sockets here");
}

TEST_F(acceptance_as_a_whole, leaves_out_only_what_this_system_lacks) {
    const program_result run = Run(L"");
    EXPECT_EQ(run.exit_code, 0U) << run.output;
    const std::string report = ReadText(reports_ / L"acceptance.md");
    EXPECT_THAT(report, HasSubstr(acceptance::SystemName() + ", version 1."));
    const std::set<std::string> lacking = {"junction", "load", "midnight", "stop", "refused"};
    for (const acceptance::step& each : acceptance::AllSteps()) {
        EXPECT_THAT(report, HasSubstr(std::string(each.claim) +
                                      (lacking.contains(each.name) ? " | left out | " : " | passed | ")));
    }
}

TEST_F(windows_acceptance, refuses_a_machine_that_was_not_named) {
    const program_result run = RunProgram(kProgram, L"--throw-away SOMEBODYS", "", kPatience);
    EXPECT_EQ(run.exit_code, 1U);
    EXPECT_THAT(run.output, HasSubstr("The run leaves it changed"));
    ExpectNothingThere();
}

TEST_F(windows_acceptance, refuses_without_an_elevated_prompt) {
    const setup::unique_token user = acceptance::PlainUser();
    ASSERT_TRUE(user);
    const program_result run = console::RunProgram(
        L"\"" + ProgramFolder() + kProgram + L"\" --throw-away " + acceptance::MachineName(), {}, kPatience,
        user.get());
    EXPECT_EQ(run.exit_code, 1U);
    EXPECT_THAT(run.output, HasSubstr("elevated prompt"));
    ExpectNothingThere();
}

TEST_F(windows_acceptance, says_how_it_is_used) {
    for (const wchar_t* const arguments :
         {L"", L"--throw-away", L"--only install", L"--throw-away X --only dance",
          L"--throw-away X --dance Y", L"--throw-away X --refused-minutes none"}) {
        const program_result run = RunProgram(kProgram, arguments, "", kPatience);
        EXPECT_EQ(run.exit_code, 2U);
        EXPECT_THAT(run.output, HasSubstr("usage: windows_acceptance"));
    }
}

TEST_F(windows_acceptance, lists_what_has_not_been_run) {
    const program_result run = RunProgram(kProgram, L"--list", "", kPatience);
    EXPECT_EQ(run.exit_code, 0U);
    EXPECT_EQ(run.output, acceptance::ClaimsAsMarkdown());
}

}  // namespace
}  // namespace brivelnox::test
