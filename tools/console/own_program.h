#pragma once

// The program that this is part of: where it lies, and what it was started with.

#include <filesystem>
#include <string>
#include <vector>

namespace brivelnox::console {

/// The folder of this program.
std::filesystem::path OwnFolder();

/// The words of its command line behind its own name.
std::vector<std::wstring> CommandLineWords();

}  // namespace brivelnox::console
