#pragma once

// The machine that is tried, and the programs that it is tried with.

#include <windows.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>

#include "tools/console/program_run.h"
#include "tools/setup/installation.h"
#include "tools/setup/service_manager.h"
#include "tools/setup/telephony_services.h"

namespace brivelnox::acceptance {

/// What the run works with. The programs are in the folder of this one.
struct inputs {
    std::filesystem::path provider;    ///< the file that is installed
    std::filesystem::path package;     ///< the package for Windows Installer; there may be none
    std::chrono::minutes refused{10};  ///< how long the service's port refuses
};

/// What several steps do. Operations raise std::exception where the system refuses them.
class bench {
  public:
    explicit bench(inputs with) : with_(std::move(with)) {}

    [[nodiscard]] const inputs& With() const { return with_; }
    [[nodiscard]] const setup::places& Where() const { return where_; }

    /// The path of a program of the folder of this one, in double quotes.
    [[nodiscard]] static std::wstring Program(const wchar_t* name);

    /// Runs brivelnox_setup.
    static console::program_result RunSetup(const std::wstring& arguments, HANDLE user = nullptr);
    /// Runs tapi_client with the arguments after --mode and the way of notification.
    static console::program_result RunClient(const std::wstring& arguments, const std::string& input = {});

    /// The setup's command that installs the provider.
    [[nodiscard]] std::wstring InstallCommand() const;
    /// Installs the provider unless it is there, with its own entry in the list.
    void EnsureInstalled() const;
    /// Raises unless the file is in its place, is listed once, and the telephony service is as it was before.
    void RequireInstalled() const;
    /// Raises unless nothing of the provider is there; without the log, too, if that is wanted.
    void RequireRemoved(bool without_log) const;

    /// The provider's entries in TAPI's list.
    [[nodiscard]] static std::size_t EntryCount();

    [[nodiscard]] std::filesystem::path LogFile() const;

  private:
    const inputs with_;
    const setup::places where_ = setup::PlacesOfThisMachine();
};

/// The telephony service and what depends on it, stopped from its making to its end; what ran runs again
/// then.
class stopped_services {
  public:
    stopped_services() { services_.Stop(); }
    ~stopped_services();
    stopped_services(const stopped_services&) = delete;
    stopped_services& operator=(const stopped_services&) = delete;

  private:
    setup::windows_service_manager manager_;
    setup::telephony_services services_{manager_};
};

/// The file from a position to its end; empty if there is none.
[[nodiscard]] std::string ReadFile(const std::filesystem::path& file, std::uintmax_t from = 0);

}  // namespace brivelnox::acceptance
