#pragma once

// What installing and removing consist of.

#include <filesystem>

#include "tools/setup/provider_list.h"
#include "tools/setup/telephony_services.h"
#include "tools/setup/transaction.h"

namespace brivelnox::setup {

/// Where the files are on a machine.
struct places {
    std::filesystem::path provider;  ///< Brivelnox.tsp, where the telephony service looks for it
    std::filesystem::path
        maker_folder;  ///< in the folder for the data of all users; shared with other software
    std::filesystem::path setup_log;

    /// The provider's folder in it, and the log's folder in that.
    [[nodiscard]] std::filesystem::path OwnFolder() const { return maker_folder / L"Brivelnox.Tsp"; }
    [[nodiscard]] std::filesystem::path LogFolder() const { return OwnFolder() / L"logs"; }
};

/// The places of this machine. Throws a failure if the system does not tell them.
[[nodiscard]] places PlacesOfThisMachine();

/// What the steps work on. It has to outlive them.
struct machine {
    const places& where;
    telephony_services& services;
    provider_list& providers;
};

/// Installs, upgrades or repairs the provider with the file `source`.
[[nodiscard]] step_list InstallSteps(const machine& target, const std::filesystem::path& source);

/// Removes the provider, and its log, too, if that is wanted. Where its file has gone already, `source` has
/// its place meanwhile, if that is there.
[[nodiscard]] step_list RemoveSteps(const machine& target, const std::filesystem::path& source,
                                    bool with_log);

}  // namespace brivelnox::setup
