#pragma once

#include <windows.h>

#include <filesystem>
#include <optional>
#include <string>

#include "tools/setup/installation.h"
#include "tools/setup/transaction.h"

namespace brivelnox::setup {

/// The four numbers of a file's version resource, "1.0.0.57"; nothing where there is no file or no version.
[[nodiscard]] std::optional<std::string> FileVersion(const std::filesystem::path& file);

/// Tells in a few lines what is installed on the machine. Returns whether the provider's file is there and is
/// in the provider list once. Changes nothing.
bool ReportStatus(const places& where, service_manager& services, provider_list& providers,
                  const reporter& report);

}  // namespace brivelnox::setup
