// Installing, upgrading and removing on a machine of the test's own; at each step's failure it is as it was
// before.

#include "tools/setup/installation.h"

#include <windows.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/unique_handle.h"
#include "tests/dll/pe_image_helper.h"
#include "tests/setup/fake_machine_helper.h"
#include "tests/support/signal.h"
#include "tools/setup/failure.h"
#include "tools/setup/files.h"

namespace brivelnox::test {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using setup::outcome;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class broken_step : public setup::step {
  public:
    [[nodiscard]] std::string Title() const override { return "Break"; }
    std::string Do() override { throw setup::failure("broken"); }
};

class installation : public testing::Test {
  protected:
    /// What is done with a machine: the steps of it.
    using work = std::function<setup::step_list(const setup::machine&)>;

    outcome Run(const work& make_steps, std::optional<std::size_t> broken_at = std::nullopt) {
        setup::telephony_services services = machine_.Services(patience_);
        setup::step_list steps = make_steps({machine_.where, services, machine_.providers});
        step_count_ = steps.size();
        if (broken_at) {
            steps.insert(steps.begin() + static_cast<std::ptrdiff_t>(*broken_at),
                         std::make_unique<broken_step>());
        }
        lines_.clear();
        return RunSteps(steps, [this](const std::string& line) { lines_.push_back(line); });
    }
    outcome Install() { return Run(install_); }
    outcome Remove() { return Run(remove_); }
    outcome Purge() { return Run(purge_); }

    /// Runs the work once for each of its steps, with a failure before that step, and once with one behind
    /// all. The machine has to be as it was each time.
    void ExpectEveryFailureUndone(const work& make_steps) {
        const machine_picture before = machine_.Picture();
        std::size_t at = 0;
        do {
            EXPECT_EQ(Run(make_steps, at), outcome::kUndone);
            EXPECT_EQ(machine_.Picture(), before) << "failure before step " << at;
            EXPECT_THAT(lines_, Not(Contains(HasSubstr("NOT UNDONE"))));
        } while (at++ < step_count_);
        EXPECT_GE(at, 4U);
    }

    /// Runs the work, which fails by itself at a step with this in its line, and leaves the machine as it
    /// was.
    void ExpectRefused(const work& make_steps, const std::string& line) {
        const machine_picture before = machine_.Picture();
        EXPECT_EQ(Run(make_steps), outcome::kUndone);
        EXPECT_THAT(lines_, Contains(AllOf(HasSubstr("FAILED"), HasSubstr(line))));
        EXPECT_EQ(machine_.Picture(), before);
        EXPECT_THAT(lines_, Not(Contains(HasSubstr("NOT UNDONE"))));
    }

    fs::path Provider() const { return machine_.where.provider; }
    fs::path Log() const { return machine_.where.LogFolder() / L"Brivelnox.Tsp.log"; }

    fake_machine machine_;
    std::vector<std::string> lines_;
    std::chrono::milliseconds patience_{kSoon};

    const work install_ = [this](const setup::machine& target) {
        return InstallSteps(target, machine_.Source());
    };
    const work remove_ = [this](const setup::machine& target) {
        return RemoveSteps(target, machine_.Source(), false);
    };
    const work purge_ = [this](const setup::machine& target) {
        return RemoveSteps(target, machine_.Source(), true);
    };

  private:
    std::size_t step_count_ = 0;
};

TEST_F(installation, brings_the_file_the_log_folder_and_the_entry) {
    EXPECT_EQ(Install(), outcome::kDone);
    EXPECT_EQ(ReadText(Provider()), "new");
    EXPECT_TRUE(fs::is_directory(machine_.where.LogFolder()));
    EXPECT_EQ(setup::OwnEntries(machine_.providers).size(), 1U);
    EXPECT_EQ(machine_.services.State(L"Fax"), SERVICE_RUNNING);
    EXPECT_EQ(machine_.services.State(L"RasMan"), SERVICE_STOPPED);
}

TEST_F(installation, done_twice_changes_nothing) {
    EXPECT_EQ(Install(), outcome::kDone);
    const machine_picture once = machine_.Picture();
    EXPECT_EQ(Install(), outcome::kDone);
    EXPECT_EQ(machine_.Picture(), once);
}

TEST_F(installation, over_an_old_version_keeps_its_entry_and_its_log) {
    machine_.InstallOldVersion();
    EXPECT_EQ(Install(), outcome::kDone);
    EXPECT_EQ(ReadText(Provider()), "new");
    EXPECT_EQ(ReadText(Log()), "today");
    EXPECT_THAT(setup::OwnEntries(machine_.providers), ElementsAre(5U));
    EXPECT_EQ(fs::exists(Provider().parent_path() / L"Brivelnox.tsp.1.old"), false);
}

TEST_F(installation, repairs_what_has_gone) {
    EXPECT_EQ(Install(), outcome::kDone);
    const machine_picture installed = machine_.Picture();
    fs::remove(Provider());
    setup::DeleteTree(machine_.where.OwnFolder());
    EXPECT_EQ(Install(), outcome::kDone);
    EXPECT_EQ(machine_.Picture(), installed);
}

TEST_F(installation, finds_an_entry_whatever_its_case_and_folder) {
    machine_.providers.entries.push_back({3, L"C:\\Windows\\System32\\BRIVELNOX.TSP"});
    machine_.providers.entries.push_back({4, L"NotBrivelnox.tsp"});
    EXPECT_EQ(Install(), outcome::kDone);
    EXPECT_THAT(setup::OwnEntries(machine_.providers), ElementsAre(3U));
}

TEST_F(installation, over_a_file_in_use_waits_for_the_next_start_to_delete_it) {
    fs::copy_file(BuiltProviderPath(), Provider());
    const unique_module user(LoadLibraryW(Provider().c_str()));
    ASSERT_TRUE(user);
    EXPECT_EQ(Install(), outcome::kDoneAtNextStart);
    EXPECT_EQ(ReadText(Provider()), "new");
    EXPECT_TRUE(fs::exists(Provider().parent_path() / L"Brivelnox.tsp.1.old"));
    // Nor is the next upgrade in its way.
    EXPECT_EQ(Install(), outcome::kDone);
}

TEST_F(installation, undoes_every_failure) {
    ExpectEveryFailureUndone(install_);
}

TEST_F(installation, undoes_every_failure_of_an_upgrade) {
    machine_.InstallOldVersion();
    ExpectEveryFailureUndone(install_);
}

TEST_F(installation, undoes_every_failure_of_an_upgrade_in_use) {
    fs::copy_file(BuiltProviderPath(), Provider());
    const unique_module user(LoadLibraryW(Provider().c_str()));
    ASSERT_TRUE(user);
    ExpectEveryFailureUndone(install_);
}

TEST_F(installation, needs_the_file) {
    fs::remove(machine_.Source());
    ExpectRefused(install_, "Copy ");
    EXPECT_THAT(machine_.services.asked, IsEmpty());
}

TEST_F(installation, needs_a_telephony_service_that_stops) {
    machine_.services.NeverStops(setup::kTelephonyService);
    patience_ = 10ms;
    ExpectRefused(install_, "does not stop");
}

TEST_F(installation, needs_a_provider_list_that_takes_it) {
    machine_.providers.refuses_to_add = true;
    ExpectRefused(install_, "no more providers");
}

TEST_F(installation, needs_services_that_start_again) {
    machine_.InstallOldVersion();
    machine_.services.FailsToStartOnce(L"Fax");
    ExpectRefused(install_, "Fax does not start");
}

TEST_F(installation, refuses_a_file_in_place_of_a_folder) {
    fs::create_directories(machine_.where.OwnFolder());
    WriteText(machine_.where.LogFolder(), "a file");
    ExpectRefused(install_, "logs is a file");
}

using removal = installation;

TEST_F(removal, takes_entry_and_file_away_and_leaves_the_log) {
    machine_.InstallOldVersion();
    EXPECT_EQ(Remove(), outcome::kDone);
    EXPECT_FALSE(fs::exists(Provider()));
    EXPECT_THAT(setup::OwnEntries(machine_.providers), IsEmpty());
    EXPECT_EQ(ReadText(Log()), "today");
    EXPECT_EQ(machine_.services.State(L"Fax"), SERVICE_RUNNING);
}

TEST_F(removal, takes_the_log_away_where_it_is_told_to) {
    machine_.InstallOldVersion();
    EXPECT_EQ(Purge(), outcome::kDone);
    EXPECT_TRUE(fs::is_empty(machine_.where.maker_folder));
    EXPECT_FALSE(fs::exists(Provider()));
}

TEST_F(removal, takes_every_entry_away_and_no_other) {
    machine_.InstallOldVersion();
    (void)machine_.providers.Add(L"Brivelnox.tsp");
    EXPECT_EQ(Remove(), outcome::kDone);
    ASSERT_EQ(machine_.providers.entries.size(), 1U);
    EXPECT_EQ(machine_.providers.entries[0].file, L"hidphone.tsp");
}

TEST_F(removal, of_an_installation_leaves_what_was_there_before) {
    const machine_picture before = machine_.Picture();
    EXPECT_EQ(Install(), outcome::kDone);
    EXPECT_EQ(Purge(), outcome::kDone);
    fs::remove(machine_.where.maker_folder);
    EXPECT_EQ(machine_.Picture(), before);
}

TEST_F(removal, lends_tapi_the_file_that_has_gone) {
    machine_.InstallOldVersion();
    machine_.providers.asks_file = Provider();
    fs::remove(Provider());
    EXPECT_EQ(Remove(), outcome::kDone);
    EXPECT_THAT(setup::OwnEntries(machine_.providers), IsEmpty());
    EXPECT_FALSE(fs::exists(Provider()));
}

TEST_F(removal, undoes_every_failure_where_the_file_has_gone) {
    machine_.InstallOldVersion();
    fs::remove(Provider());
    ExpectEveryFailureUndone(remove_);
}

TEST_F(removal, of_nothing_is_done) {
    const machine_picture before = machine_.Picture();
    EXPECT_EQ(Purge(), outcome::kDone);
    EXPECT_EQ(machine_.Picture(), before);
}

TEST_F(removal, of_a_file_in_use_waits_for_the_next_start_to_delete_it) {
    machine_.InstallOldVersion();
    fs::copy_file(BuiltProviderPath(), Provider(), fs::copy_options::overwrite_existing);
    const unique_module user(LoadLibraryW(Provider().c_str()));
    ASSERT_TRUE(user);
    EXPECT_EQ(Remove(), outcome::kDoneAtNextStart);
    EXPECT_FALSE(fs::exists(Provider()));
}

TEST_F(removal, undoes_every_failure) {
    machine_.InstallOldVersion();
    ExpectEveryFailureUndone(remove_);
    ExpectEveryFailureUndone(purge_);
}

TEST_F(removal, enters_again_what_it_had_taken_out_when_the_list_keeps_another) {
    machine_.InstallOldVersion();
    (void)machine_.providers.Add(L"Brivelnox.tsp");
    machine_.providers.keeps = setup::OwnEntries(machine_.providers).back();
    ExpectRefused(remove_, "it stays");
    EXPECT_EQ(setup::OwnEntries(machine_.providers).size(), 2U);
}

}  // namespace
}  // namespace brivelnox::test
