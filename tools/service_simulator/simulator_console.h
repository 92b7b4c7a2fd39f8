#pragma once

// The simulator's commands, one per line.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/service_simulator/service_simulator.h"

namespace brivelnox::simulator {

/// The line that shows a wire line to a reading program: "WIRE <microseconds> <in|out|note> <connection>
/// <text>", the time as steady_clock counts it (the same for all processes of a machine), the text as
/// EscapeLine writes it.
std::string WireReport(const wire_line& line);

/// Carries out commands. For one thread at a time.
class simulator_console {
  public:
    /// `print` takes each line of output.
    simulator_console(service_simulator& simulator, std::function<void(const std::string&)> print);

    /// Carries out one command line; words may hold the escapes of EscapeLine. Whatever it prints ends with
    /// one line that begins with "OK " and the command's name, followed by its result if it has one, or with
    /// "ERR " and what is wrong. An empty line does nothing and prints nothing. Returns false when the
    /// program is to end.
    bool Execute(std::string_view line);

  private:
    using words = std::vector<std::string>;
    /// Takes the words after the command's name and returns the result. What is wrong is thrown as
    /// std::invalid_argument.
    using operation = std::string (simulator_console::*)(const words&);
    struct command {
        std::string_view name;
        std::string_view arguments;
        std::size_t least_words = 0;
        operation run = nullptr;
        std::string_view help;
    };
    static const std::vector<command>& Commands();

    std::string Help(const words& arguments);
    std::string List(const words& arguments);
    std::string Calls(const words& arguments);
    std::string Register(const words& arguments);
    std::string Unregister(const words& arguments);
    std::string Status(const words& arguments);
    std::string Ring(const words& arguments);
    std::string Dial(const words& arguments);
    std::string Ringback(const words& arguments);
    std::string Connect(const words& arguments);
    std::string Park(const words& arguments);
    std::string State(const words& arguments);
    std::string Hangup(const words& arguments);
    std::string Remove(const words& arguments);
    std::string Digits(const words& arguments);
    std::string Automatic(const words& arguments);
    std::string Plan(const words& arguments);
    std::string Raw(const words& arguments);
    std::string Drop(const words& arguments);
    std::string Restart(const words& arguments);
    std::string Answers(const words& arguments);
    std::string Reading(const words& arguments);
    std::string Quit(const words& arguments);

    std::shared_ptr<softphone> Phone(const words& arguments) const;
    std::string CallId(const softphone& phone, const words& arguments, std::size_t position) const;
    std::string ChangeCall(const words& arguments, const std::string& state);

    service_simulator& simulator_;
    std::function<void(const std::string&)> print_;
    bool ended_ = false;
};

}  // namespace brivelnox::simulator
