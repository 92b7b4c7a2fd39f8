#pragma once

// A machine that the setup's steps can work on without changing the one that the tests run on: its services
// and its provider list are played, its files are in a temporary folder.

#include <windows.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/setup/installation.h"

namespace brivelnox::test {

/// Services that start and stop as they are told to. Everything that is asked of one that exists is noted.
class fake_service_manager : public setup::service_manager {
  public:
    [[nodiscard]] DWORD State(const std::wstring& service) override;
    [[nodiscard]] std::vector<std::wstring> ActiveDependents(const std::wstring& service) override;
    void AskToStop(const std::wstring& service) override;
    void AskToStart(const std::wstring& service) override;

    void AddService(const std::wstring& service, DWORD state) { states_[service] = state; }
    /// It depends on the telephony service. The one that is added last is stopped first.
    void AddDependent(const std::wstring& service, DWORD state);

    /// Makes the service go through SERVICE_STOP_PENDING at its next stops, for so many questions.
    void StopsSlowly(int questions) { questions_until_stopped_ = questions; }
    /// A client starts the telephony service again as soon as it has stopped, so many times.
    void ClientsStartAgain(int times) { starts_by_clients_ = times; }
    void NeverStops(const std::wstring& service) { never_stop_.insert(service); }
    /// The service ends right after its start, once.
    void FailsToStartOnce(const std::wstring& service) { fail_to_start_.insert(service); }

    /// "stop TapiSrv" and so on, in their order.
    std::vector<std::wstring> asked;

  private:
    std::map<std::wstring, DWORD> states_;
    std::vector<std::wstring> dependents_;
    std::set<std::wstring> never_stop_;
    std::set<std::wstring> fail_to_start_;
    int questions_until_stopped_ = 0;
    int questions_ = 0;
    int starts_by_clients_ = 0;
};

class fake_provider_list : public setup::provider_list {
  public:
    [[nodiscard]] std::vector<setup::listed_provider> Read() override { return entries; }
    DWORD Add(const std::wstring& file) override;
    void Remove(DWORD id) override;

    std::vector<setup::listed_provider> entries{{1, L"hidphone.tsp"}};
    bool refuses_to_add = false;
    /// Each entry can be removed but this one; 0 for none.
    DWORD keeps = 0;
    /// No entry can be removed without this file; empty for none.
    std::filesystem::path asks_file;

  private:
    DWORD next_id_ = 7;
};

/// What can be seen of the machine: its files with their contents, its providers, its services' states.
using machine_picture = std::multiset<std::wstring>;

/// The whole machine: a telephony service that runs, with one that depends on it, and one that depends on it
/// and does not run; the new provider's file in a folder of its own. Nothing is installed.
class fake_machine {
  public:
    fake_machine();
    ~fake_machine();
    fake_machine(const fake_machine&) = delete;
    fake_machine& operator=(const fake_machine&) = delete;

    /// Brings what an earlier version has left: its file, its log, its entry in the list.
    void InstallOldVersion();

    /// Remembers what runs now. `patience` is short enough for a test that uses it up.
    [[nodiscard]] setup::telephony_services Services(std::chrono::milliseconds patience);

    [[nodiscard]] machine_picture Picture();

    /// Where the file to be installed lies.
    [[nodiscard]] std::filesystem::path Source() const { return folder_ / L"from" / L"Brivelnox.tsp"; }

    setup::places where;
    fake_service_manager services;
    fake_provider_list providers;

  private:
    std::filesystem::path folder_;
};

void WriteText(const std::filesystem::path& file, const std::string& text);
std::string ReadText(const std::filesystem::path& file);

}  // namespace brivelnox::test
