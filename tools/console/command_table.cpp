#include "tools/console/command_table.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <utility>

namespace brivelnox::console {

namespace {

/// Where the help begins, if the arguments leave room for it.
constexpr std::size_t kHelpColumn = 32;

std::string Usage(const command& subject) {
    std::string usage(subject.name);
    usage.append(subject.arguments.empty() ? "" : " ").append(subject.arguments);
    return usage;
}

std::size_t LeastWords(const command& subject) {
    return SplitWords(subject.arguments.substr(0, subject.arguments.find('['))).size();
}

}  // namespace

void Refuse(const std::string& why) {
    throw std::invalid_argument(why);
}

command_table::command_table(std::vector<command> commands) : commands_(std::move(commands)) {}

std::optional<std::string> command_table::Run(const words& line) const {
    const auto found = std::find_if(commands_.begin(), commands_.end(), [&](const command& each) {
        return !line.empty() && each.name == line.front();
    });
    if (found == commands_.end()) {
        return std::nullopt;
    }
    const words arguments(line.begin() + 1, line.end());
    if (arguments.size() < LeastWords(*found)) {
        Refuse("usage: " + Usage(*found));
    }
    return found->run(arguments);
}

std::vector<std::string> command_table::Help() const {
    std::vector<std::string> lines;
    for (const command& each : commands_) {
        std::string line = Usage(each) + "  ";
        line.resize(std::max(line.size(), kHelpColumn), ' ');
        lines.push_back(line.append(each.help));
    }
    return lines;
}

}  // namespace brivelnox::console
