#include "tests/setup/fake_machine_helper.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "tools/setup/failure.h"
#include "tools/setup/files.h"

namespace brivelnox::test {

namespace {

namespace fs = std::filesystem;
using setup::kTelephonyService;

fs::path FreshFolder() {
    static int count = 0;
    fs::path folder =
        fs::temp_directory_path() /
        (L"brivelnox_setup_" + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(++count));
    fs::create_directories(folder);
    return folder;
}

}  // namespace

DWORD fake_service_manager::State(const std::wstring& service) {
    const auto found = states_.find(service);
    if (found == states_.end()) {
        throw setup::failure("there is no such service");
    }
    DWORD& state = found->second;
    if (state == SERVICE_STOP_PENDING && --questions_ <= 0) {
        state = SERVICE_STOPPED;
    } else if (state == SERVICE_START_PENDING) {
        state = fail_to_start_.erase(service) != 0 ? SERVICE_STOPPED : SERVICE_RUNNING;
    } else if (service == kTelephonyService && state == SERVICE_STOPPED && starts_by_clients_ > 0) {
        --starts_by_clients_;
        state = SERVICE_RUNNING;
    }
    return state;
}

std::vector<std::wstring> fake_service_manager::ActiveDependents(const std::wstring& service) {
    std::vector<std::wstring> active;
    if (service == kTelephonyService) {
        std::ranges::copy_if(dependents_, std::back_inserter(active),
                             [this](const auto& name) { return State(name) != SERVICE_STOPPED; });
        std::ranges::reverse(active);
    }
    return active;
}

void fake_service_manager::AskToStop(const std::wstring& service) {
    asked.push_back(L"stop " + service);
    if (states_.at(service) == SERVICE_RUNNING && !never_stop_.contains(service)) {
        states_.at(service) = questions_until_stopped_ == 0 ? SERVICE_STOPPED : SERVICE_STOP_PENDING;
        questions_ = questions_until_stopped_;
    }
}

void fake_service_manager::AskToStart(const std::wstring& service) {
    asked.push_back(L"start " + service);
    if (states_.at(service) == SERVICE_STOPPED) {
        states_.at(service) = SERVICE_START_PENDING;
    }
}

void fake_service_manager::AddDependent(const std::wstring& service, DWORD state) {
    AddService(service, state);
    dependents_.push_back(service);
}

DWORD fake_provider_list::Add(const std::wstring& file) {
    if (refuses_to_add) {
        throw setup::failure("no more providers");
    }
    entries.push_back({next_id_, file});
    return next_id_++;
}

void fake_provider_list::Remove(DWORD id) {
    if (id == keeps || (!asks_file.empty() && !fs::exists(asks_file)) ||
        std::erase_if(entries, [=](const auto& entry) { return entry.id == id; }) == 0) {
        throw setup::failure("it stays");
    }
}

fake_machine::fake_machine() : folder_(FreshFolder()) {
    where = {folder_ / L"System32" / L"Brivelnox.tsp", folder_ / L"ProgramData" / L"Brivelnox",
             folder_ / L"Logs" / L"setup.log"};
    fs::create_directories(where.provider.parent_path());
    fs::create_directories(where.maker_folder.parent_path());
    fs::create_directories(Source().parent_path());
    WriteText(Source(), "new");
    services.AddService(kTelephonyService, SERVICE_RUNNING);
    services.AddDependent(L"Fax", SERVICE_RUNNING);
    services.AddDependent(L"RasMan", SERVICE_STOPPED);
}

fake_machine::~fake_machine() {
    (void)setup::DeleteTree(folder_);
}

void fake_machine::InstallOldVersion() {
    WriteText(where.provider, "old");
    fs::create_directories(where.LogFolder() / L"bak");
    WriteText(where.LogFolder() / L"Brivelnox.Tsp.log", "today");
    WriteText(where.LogFolder() / L"bak" / L"20261121.log", "yesterday");
    providers.entries.push_back({5, L"Brivelnox.tsp"});
}

setup::telephony_services fake_machine::Services(std::chrono::milliseconds patience) {
    return setup::telephony_services(services, patience);
}

machine_picture fake_machine::Picture() {
    machine_picture picture;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder_)) {
        const std::string text = entry.is_directory() ? "" : ReadText(entry.path());
        picture.insert(fs::relative(entry.path(), folder_).wstring() + L" " +
                       std::wstring(text.begin(), text.end()));
    }
    for (const setup::listed_provider& entry : providers.entries) {
        picture.insert(L"provider " + entry.file);
    }
    for (const wchar_t* const service : {kTelephonyService, L"Fax", L"RasMan"}) {
        picture.insert(std::wstring(service) +
                       (services.State(service) == SERVICE_RUNNING ? L" runs" : L" does not run"));
    }
    return picture;
}

void WriteText(const fs::path& file, const std::string& text) {
    std::ofstream(file, std::ios::binary) << text;
}

std::string ReadText(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace brivelnox::test
