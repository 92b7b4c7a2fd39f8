#include "tools/windows_acceptance/bench.h"

#include <fstream>
#include <sstream>

#include "tools/console/own_program.h"
#include "tools/setup/failure.h"
#include "tools/setup/files.h"
#include "tools/setup/path_text.h"
#include "tools/setup/provider_list.h"
#include "tools/windows_acceptance/step.h"

namespace brivelnox::acceptance {

namespace {

namespace fs = std::filesystem;

// Stopping and starting the services may take a minute each.
constexpr std::chrono::minutes kSetupPatience{5};
// A working day takes a minute; a provider that connects late looks for its service twice a minute.
constexpr std::chrono::minutes kClientPatience{5};

}  // namespace

std::string ReadFile(const fs::path& file, std::uintmax_t from) {
    std::ifstream in(file, std::ios::binary);
    (void)in.seekg(static_cast<std::streamoff>(from));
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::wstring bench::Program(const wchar_t* name) {
    return L"\"" + (console::OwnFolder() / name).wstring() + L"\"";
}

console::program_result bench::RunSetup(const std::wstring& arguments, HANDLE user) {
    return console::RunProgram(Program(L"brivelnox_setup.exe") + L" " + arguments, {}, kSetupPatience, user);
}

console::program_result bench::RunClient(const std::wstring& arguments, const std::string& input) {
    return console::RunProgram(Program(L"tapi_client.exe") + L" --mode " + arguments, input, kClientPatience);
}

std::wstring bench::InstallCommand() const {
    return L"install --from \"" + with_.provider.parent_path().wstring() + L"\"";
}

void bench::EnsureInstalled() const {
    if (EntryCount() != 1 || ReadFile(where_.provider) != ReadFile(with_.provider)) {
        const console::program_result run = RunSetup(InstallCommand());
        Require(run.exit_code == 0, "the provider cannot be installed: " + run.output);
    }
}

void bench::RequireInstalled() const {
    Require(ReadFile(where_.provider) == ReadFile(with_.provider),
            setup::PathText(where_.provider) + " is not the file that was installed");
    const std::size_t entries = EntryCount();
    Require(entries == 1, "the provider is " + std::to_string(entries) + " times in TAPI's list");
    Require(fs::is_directory(where_.LogFolder()), "there is no log folder");
}

void bench::RequireRemoved(bool without_log) const {
    Require(!setup::IsThere(where_.provider), setup::PathText(where_.provider) + " is still there");
    Require(EntryCount() == 0, "the provider is still in TAPI's list");
    Require(!without_log || !setup::IsThere(where_.OwnFolder()), "the log is still there");
}

std::size_t bench::EntryCount() {
    setup::tapi_provider_list providers;
    return setup::OwnEntries(providers).size();
}

fs::path bench::LogFile() const {
    return where_.LogFolder() / L"Brivelnox.Tsp.log";
}

stopped_services::~stopped_services() {
    try {
        services_.StartAgain();
    } catch (const setup::failure&) {
        // A service that does not start is found by what needs it.
    }
}

}  // namespace brivelnox::acceptance
