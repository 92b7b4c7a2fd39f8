#pragma once

#include <filesystem>
#include <string>

#include "tools/console/command_words.h"

namespace brivelnox::setup {

/// The path as the lines of the setup show it, in UTF-8.
inline std::string PathText(const std::filesystem::path& path) {
    return console::ToUtf8(path.native());
}

}  // namespace brivelnox::setup
