#pragma once

// What other users can have left in the place of the log.

#include <filesystem>

namespace brivelnox::test {

/// Makes a link at `link` that leads to the folder `target`. Returns whether there is one.
[[nodiscard]] bool MakeFolderLink(const std::filesystem::path& link, const std::filesystem::path& target);

/// Removes a link, and not what it leads to.
void RemoveFolderLink(const std::filesystem::path& link);

/// Gives a file or a folder to an owner who is no administrator. Returns whether it is his.
[[nodiscard]] bool GiveToStranger(const std::filesystem::path& path);

}  // namespace brivelnox::test
