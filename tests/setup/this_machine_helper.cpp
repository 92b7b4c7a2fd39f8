#include "tests/setup/this_machine_helper.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "tests/dll/pe_image_helper.h"
#include "tests/setup/fake_machine_helper.h"
#include "tests/support/missing_common_folder.h"
#include "tests/support/signal.h"
#include "tools/console/own_program.h"
#include "tools/setup/files.h"
#include "tools/windows_acceptance/plain_user.h"

namespace brivelnox::test {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kPatience{90000};

void Require(bool so, const char* what) {
    if (!so) {
        throw std::runtime_error(std::string(what) + ", error " + std::to_string(GetLastError()));
    }
}

fs::path TestFolder() {
    return console::OwnFolder();
}

fs::path SystemFolder() {
    return setup::PlacesOfThisMachine().provider.parent_path();
}

}  // namespace

test_service::test_service(const std::wstring& name, const std::wstring& depends_on)
    : manager_(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)) {
    const std::wstring program = L"\"" + (TestFolder() / L"stand_in_service.exe").wstring() + L"\" " + name;
    // A list of one, ended by an empty name.
    const std::wstring dependencies = depends_on + L'\0';
    service_.reset(CreateServiceW(manager_.get(), name.c_str(), name.c_str(), SERVICE_ALL_ACCESS,
                                  SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_IGNORE,
                                  program.c_str(), nullptr, nullptr,
                                  depends_on.empty() ? nullptr : dependencies.c_str(), nullptr, nullptr));
    if (!service_ && GetLastError() == ERROR_SERVICE_EXISTS) {
        // A run that was ended in the middle has left it.
        service_.reset(OpenServiceW(manager_.get(), name.c_str(), SERVICE_ALL_ACCESS));
    }
    Require(static_cast<bool>(service_), "no service can be made");
    Start();
}

test_service::~test_service() {
    Stop();
    (void)DeleteService(service_.get());
}

SERVICE_STATUS_PROCESS test_service::Status() const {
    SERVICE_STATUS_PROCESS status = {};
    DWORD size = 0;
    (void)QueryServiceStatusEx(service_.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                               sizeof status, &size);
    return status;
}

void test_service::Start() {
    Require(StartServiceW(service_.get(), 0, nullptr) || GetLastError() == ERROR_SERVICE_ALREADY_RUNNING,
            "the service does not start");
    const stopwatch starting;
    while (Status().dwCurrentState != SERVICE_RUNNING && starting.Elapsed() < kSoon) {
        std::this_thread::yield();
    }
}

void test_service::Stop() {
    SERVICE_STATUS status = {};
    (void)ControlService(service_.get(), SERVICE_CONTROL_STOP, &status);
    const stopwatch stopping;
    while (Status().dwCurrentState != SERVICE_STOPPED && stopping.Elapsed() < kSoon) {
        std::this_thread::yield();
    }
}

DWORD test_service::ProcessId() const {
    const SERVICE_STATUS_PROCESS status = Status();
    return status.dwCurrentState == SERVICE_RUNNING ? status.dwProcessId : 0;
}

bool test_service::TellsDependents() const {
    DWORD needed = 0;
    DWORD count = 0;
    return !EnumDependentServicesW(service_.get(), SERVICE_STATE_ALL, nullptr, 0, &needed, &count) &&
           GetLastError() == ERROR_MORE_DATA;
}

tapi_in_place::tapi_in_place()
    : place_(SystemFolder() / L"tapi32.dll"), aside_(SystemFolder() / L"tapi32.dll.aside") {
    // One that is there already has been left by a run that was ended in the middle.
    if (!fs::exists(aside_)) {
        fs::rename(place_, aside_);
    }
    // Prefixes share Wine's files, so it must not be written over.
    fs::copy_file(TestFolder() / L"tapi32.dll", place_, fs::copy_options::overwrite_existing);
}

tapi_in_place::~tapi_in_place() {
    std::error_code ignored;
    fs::remove(place_, ignored);
    fs::rename(aside_, place_, ignored);
}

program_result RunSetup(const std::wstring& arguments) {
    return RunProgram(L"brivelnox_setup.exe", arguments, "", kPatience);
}

program_result RunSetupNotElevated(const std::wstring& arguments) {
    const setup::unique_token plain = acceptance::PlainUser();
    return console::RunProgram(L"\"" + ProgramFolder() + L"brivelnox_setup.exe\" " + arguments, {}, kPatience,
                               plain.get());
}

void this_machine_test::SetUp() {
    if (!RunsUnderWine()) {
        GTEST_SKIP() << "the tests do not change a machine that was not made for them";
    }
    tapi_ = std::make_unique<tapi_in_place>();
    service_ = std::make_unique<test_service>(setup::kTelephonyService, L"");
    Clean();
}

void this_machine_test::TearDown() {
    if (RunsUnderWine()) {
        Clean();
    }
}

program_result this_machine_test::InstallFromBuild() {
    return RunSetup(L"install --from " + BuiltProviderPath().parent_path().wstring());
}

std::size_t this_machine_test::EntryCount() {
    setup::tapi_provider_list providers;
    return setup::OwnEntries(providers).size();
}

bool this_machine_test::IsInstalled() {
    return ReadText(where_.provider) == ReadText(BuiltProviderPath());
}

void this_machine_test::ExpectNothingThere() {
    for (const fs::directory_entry& entry : fs::directory_iterator(where_.provider.parent_path())) {
        EXPECT_FALSE(entry.path().filename().wstring().starts_with(L"Brivelnox")) << entry.path();
    }
    EXPECT_FALSE(setup::IsThere(where_.OwnFolder()));
    EXPECT_EQ(EntryCount(), 0U);
}

void this_machine_test::Clean() {
    setup::tapi_provider_list providers;
    for (const DWORD id : setup::OwnEntries(providers)) {
        providers.Remove(id);
    }
    for (const wchar_t* const name : {L"Brivelnox.tsp", L"Brivelnox.tsp.new", L"Brivelnox.tsp.1.old"}) {
        (void)setup::DeleteTree(where_.provider.parent_path() / name);
    }
    (void)setup::DeleteTree(where_.OwnFolder());
    (void)setup::DeleteTree(where_.setup_log);
}

}  // namespace brivelnox::test
