#pragma once

// In place of the helper that takes the built file apart: there is none here.

#include <filesystem>

namespace brivelnox::test {

/// What the stand-in's LoadLibraryW knows the provider by.
inline std::filesystem::path BuiltProviderPath() {
    return "Brivelnox.tsp";
}

}  // namespace brivelnox::test
