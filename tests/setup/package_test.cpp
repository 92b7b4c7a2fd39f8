// The package for Windows Installer: its tables, and what becomes of a machine on which it is installed.

#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include <propidl.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/unique_handle.h"
#include "platform/version_numbers.h"
#include "tests/dll/pe_image_helper.h"
#include "tests/setup/this_machine_helper.h"
#include "tools/setup/files.h"

namespace brivelnox::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::Pair;
using testing::UnorderedElementsAre;

using unique_msi = unique_handle<handle_traits<MSIHANDLE, &MsiCloseHandle>>;
using row = std::vector<std::wstring>;

// A program among the installed files, run in the installation's script (1024) by the system itself (2048);
// the twins when something fails (256).
constexpr wchar_t kAct[] = L"3090";
constexpr wchar_t kUndo[] = L"3346";

constexpr std::chrono::minutes kPatience{5};

constexpr wchar_t kNextVersion[] = L"1.0.9999";
constexpr wchar_t kNextProduct[] = L"{5E6B1C7A-0F3D-4C1B-9F55-0A9C4E1D2B3F}";
constexpr wchar_t kNextPackage[] = L"{5E6B1C7A-0F3D-4C1B-9F55-0A9C4E1D2B40}";

fs::path Package() {
    return BuiltProviderPath().parent_path() / L"Brivelnox.msi";
}

void Require(UINT result, const char* what) {
    if (result != ERROR_SUCCESS) {
        throw std::runtime_error(std::string(what) + ": " + std::to_string(result));
    }
}

/// A package's tables.
class msi_tables {
  public:
    /// Opens it to be changed or only to be read.
    explicit msi_tables(const fs::path& file, LPCWSTR mode = MSIDBOPEN_READONLY) {
        Require(MsiOpenDatabaseW(file.c_str(), mode, database_.put()), "the package cannot be opened");
    }

    /// The rows that a query gives, so many columns of each.
    [[nodiscard]] std::vector<row> Query(const std::wstring& query, unsigned columns) const {
        const unique_msi view = Run(query);
        std::vector<row> rows;
        unique_msi record;
        while (MsiViewFetch(view.get(), record.put()) == ERROR_SUCCESS) {
            row& fields = rows.emplace_back();
            for (unsigned column = 1; column <= columns; ++column) {
                std::array<wchar_t, 256> text = {};
                auto length = static_cast<DWORD>(text.size());
                Require(MsiRecordGetStringW(record.get(), column, text.data(), &length),
                        "a field cannot be read");
                fields.emplace_back(text.data());
            }
        }
        return rows;
    }

    /// The action's place in the installation, and on which condition it runs.
    [[nodiscard]] int Sequence(const std::wstring& action) const {
        return std::stoi(OfAction(L"Sequence", action));
    }
    [[nodiscard]] std::wstring Condition(const std::wstring& action) const {
        return OfAction(L"Condition", action);
    }

    [[nodiscard]] std::wstring Property(const std::wstring& name) const {
        const std::vector<row> rows =
            Query(L"SELECT `Value` FROM `Property` WHERE `Property`='" + name + L"'", 1);
        return rows.empty() ? L"" : rows[0][0];
    }

    void Change(const std::wstring& query) const { (void)Run(query); }
    /// Another code for the package, as it has other contents.
    void SetPackageCode(const wchar_t* code) const {
        unique_msi summary;
        Require(MsiGetSummaryInformationW(database_.get(), nullptr, 1, summary.put()), "there is no summary");
        Require(MsiSummaryInfoSetPropertyW(summary.get(), PIDSI_REVNUMBER, VT_LPSTR, 0, nullptr, code),
                "the code cannot be set");
        Require(MsiSummaryInfoPersist(summary.get()), "the summary cannot be written");
    }
    void Commit() const { Require(MsiDatabaseCommit(database_.get()), "the package cannot be written"); }

    [[nodiscard]] std::wstring Platform() const {
        unique_msi summary;
        Require(MsiGetSummaryInformationW(database_.get(), nullptr, 0, summary.put()), "there is no summary");
        std::array<wchar_t, 64> text = {};
        auto length = static_cast<DWORD>(text.size());
        UINT type = 0;
        Require(MsiSummaryInfoGetPropertyW(summary.get(), PIDSI_TEMPLATE, &type, nullptr, nullptr,
                                           text.data(), &length),
                "there is no template");
        return text.data();
    }

  private:
    [[nodiscard]] std::wstring OfAction(const std::wstring& column, const std::wstring& action) const {
        return Query(
                   L"SELECT `" + column + L"` FROM `InstallExecuteSequence` WHERE `Action`='" + action + L"'",
                   1)
            .at(0)
            .at(0);
    }
    [[nodiscard]] unique_msi Run(const std::wstring& query) const {
        unique_msi view;
        Require(MsiDatabaseOpenViewW(database_.get(), query.c_str(), view.put()), "the query is wrong");
        Require(MsiViewExecute(view.get(), 0), "the query fails");
        return view;
    }

    unique_msi database_;
};

class package_tables : public testing::Test {
  protected:
    const msi_tables tables_{Package()};
};

TEST_F(package_tables, are_for_64_bit_windows_and_all_users) {
    EXPECT_EQ(tables_.Platform(), L"x64;1033");
    EXPECT_EQ(tables_.Property(L"ALLUSERS"), L"1");
    constexpr int k64Bit = 256;
    for (const row& component : tables_.Query(L"SELECT `Attributes` FROM `Component`", 1)) {
        EXPECT_NE(std::stoi(component[0]) & k64Bit, 0);
    }
}

TEST_F(package_tables, have_the_version_in_the_numbers_that_are_compared) {
    constexpr std::array kNumbers = {BRIVELNOX_VERSION_NUMBERS};
    EXPECT_EQ(tables_.Property(L"ProductVersion"), std::to_wstring(kNumbers[0]) + L"." +
                                                       std::to_wstring(kNumbers[1]) + L"." +
                                                       std::to_wstring(kNumbers[3]));
    EXPECT_EQ(kNumbers[2], 0) << "the third number has no place in the package's version";
    EXPECT_THAT(tables_.Query(L"SELECT `FileName`, `Version` FROM `File`", 2),
                UnorderedElementsAre(ElementsAre(L"brivelnox_setup.exe", L"" BRIVELNOX_VERSION),
                                     ElementsAre(L"Brivelnox.tsp", L"" BRIVELNOX_VERSION)));
}

TEST_F(package_tables, run_the_setup_as_the_system_with_a_twin_that_undoes) {
    EXPECT_THAT(tables_.Query(L"SELECT `Action`, `Type`, `Source`, `Target` FROM `CustomAction`", 4),
                UnorderedElementsAre(ElementsAre(L"UndoInstall", kUndo, L"SetupFile", L"remove --package"),
                                     ElementsAre(L"Install", kAct, L"SetupFile", L"install --package"),
                                     ElementsAre(L"UndoRemove", kUndo, L"SetupFile", L"install --package"),
                                     ElementsAre(L"Remove", kAct, L"SetupFile", L"remove --package")));
}

// None of this is Wine's to show: it undoes in the order of doing, when the program has gone, and does not
// tell the old package that a new one comes.
TEST_F(package_tables, leave_the_provider_to_the_next_version) {
    EXPECT_EQ(tables_.Condition(L"Install"), L"NOT REMOVE=\"ALL\"");
    EXPECT_EQ(tables_.Condition(L"UndoInstall"), L"NOT Installed AND NOT WIX_UPGRADE_DETECTED");
    EXPECT_EQ(tables_.Condition(L"Remove"), L"REMOVE=\"ALL\" AND NOT UPGRADINGPRODUCTCODE");
    EXPECT_EQ(tables_.Condition(L"UndoRemove"), L"REMOVE=\"ALL\"");
}

TEST_F(package_tables, run_it_while_its_files_are_there) {
    EXPECT_EQ(tables_.Sequence(L"RemoveExistingProducts"), tables_.Sequence(L"InstallInitialize") + 1);
    EXPECT_GT(tables_.Sequence(L"UndoRemove"), tables_.Sequence(L"RemoveExistingProducts"));
    EXPECT_GT(tables_.Sequence(L"Remove"), tables_.Sequence(L"UndoRemove"));
    EXPECT_GT(tables_.Sequence(L"RemoveFiles"), tables_.Sequence(L"Remove"));
    EXPECT_GT(tables_.Sequence(L"UndoInstall"), tables_.Sequence(L"InstallFiles"));
    EXPECT_GT(tables_.Sequence(L"Install"), tables_.Sequence(L"UndoInstall"));
    EXPECT_GT(tables_.Sequence(L"InstallFinalize"), tables_.Sequence(L"Install"));
}

class package : public this_machine_test {
  protected:
    void TearDown() override {
        for (const std::wstring& product : {std::wstring(kNextProduct), Product()}) {
            if (MsiQueryProductStateW(product.c_str()) == INSTALLSTATE_DEFAULT) {
                EXPECT_EQ(Installer(L"/x " + product), 0U);
            }
        }
        this_machine_test::TearDown();
    }

    static std::wstring Product() { return msi_tables(Package()).Property(L"ProductCode"); }

    static DWORD Installer(const std::wstring& what) {
        return console::RunProgram(L"msiexec /qn " + what, {}, kPatience).exit_code;
    }
    static DWORD Install(const fs::path& file, const std::wstring& properties = {}) {
        return Installer(L"/i \"" + file.wstring() + L"\"" + properties);
    }

    /// A copy of the package, to be changed.
    static fs::path Copy() {
        const fs::path copy = fs::temp_directory_path() / L"brivelnox_changed.msi";
        fs::copy_file(Package(), copy, fs::copy_options::overwrite_existing);
        return copy;
    }

    const fs::path folder_ = L"C:\\Program Files\\Brivelnox\\TAPI Service Provider";
};

TEST_F(package, installs_repairs_and_removes) {
    EXPECT_EQ(Install(Package()), 0U);
    EXPECT_TRUE(IsInstalled());
    EXPECT_EQ(EntryCount(), 1U);
    EXPECT_TRUE(fs::exists(folder_ / L"brivelnox_setup.exe"));
    fs::remove(where_.provider);
    EXPECT_EQ(Install(Package(), L" REINSTALL=ALL REINSTALLMODE=amus"), 0U);
    EXPECT_TRUE(IsInstalled());
    EXPECT_EQ(EntryCount(), 1U);
    EXPECT_EQ(Installer(L"/x " + Product()), 0U);
    EXPECT_FALSE(setup::IsThere(where_.provider));
    EXPECT_EQ(EntryCount(), 0U);
    EXPECT_FALSE(fs::exists(folder_ / L"brivelnox_setup.exe"));
}

TEST_F(package, that_the_setup_cannot_install_leaves_nothing) {
    service_.reset();
    EXPECT_NE(Install(Package()), 0U);
    ExpectNothingThere();
}

TEST_F(package, of_the_next_version_takes_the_place_of_this_one) {
    EXPECT_EQ(Install(Package()), 0U);
    const fs::path copy = Copy();
    {
        const msi_tables tables(copy, MSIDBOPEN_TRANSACT);
        tables.Change(std::wstring(L"UPDATE `Property` SET `Value`='") + kNextVersion +
                      L"' WHERE `Property`='ProductVersion'");
        tables.Change(std::wstring(L"UPDATE `Property` SET `Value`='") + kNextProduct +
                      L"' WHERE `Property`='ProductCode'");
        tables.Change(
            L"INSERT INTO `Upgrade` (`UpgradeCode`, `VersionMax`, `Attributes`, `ActionProperty`) VALUES ('" +
            tables.Property(L"UpgradeCode") + L"', '" + kNextVersion + L"', 1, 'WIX_UPGRADE_DETECTED')");
        tables.SetPackageCode(kNextPackage);
        tables.Commit();
    }
    EXPECT_EQ(Install(copy), 0U);
    EXPECT_TRUE(IsInstalled());
    EXPECT_EQ(EntryCount(), 1U);
    EXPECT_NE(MsiQueryProductStateW(Product().c_str()), INSTALLSTATE_DEFAULT);
    EXPECT_EQ(MsiQueryProductStateW(kNextProduct), INSTALLSTATE_DEFAULT);
}

}  // namespace
}  // namespace brivelnox::test
