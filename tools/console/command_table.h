#pragma once

// The commands of a console as a table: what they are called, what they take and what they do.

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/console/command_words.h"

namespace brivelnox::console {

/// Says what is wrong with a command: thrown as std::invalid_argument.
[[noreturn]] void Refuse(const std::string& why);

struct command {
    std::string_view name;
    /// The words behind the name, as the help shows them: "<line> on|off [call]". What may be left out stands
    /// in brackets, at the end.
    std::string_view arguments;
    std::string_view help;
    /// Takes the words behind the name, never fewer than have to be there, and returns the result, if it has
    /// one. What is wrong is thrown.
    std::function<std::string(const words&)> run;
};

/// As safe for threads as its commands are.
class command_table {
  public:
    explicit command_table(std::vector<command> commands);

    /// Carries out the command that the first of the words names, and returns its result; nothing if there is
    /// no such command. Words that are missing are refused.
    [[nodiscard]] std::optional<std::string> Run(const words& line) const;

    /// A line for each command: its name, its arguments and, in a column of its own, its help.
    [[nodiscard]] std::vector<std::string> Help() const;

  private:
    std::vector<command> commands_;
};

}  // namespace brivelnox::console
