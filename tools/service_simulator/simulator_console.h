#pragma once

// The simulator's commands, one per line.

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tools/console/command_table.h"
#include "tools/service_simulator/service_simulator.h"
#include "tools/service_simulator/softphone.h"
#include "tools/service_simulator/wire_log.h"

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
    simulator_console(const simulator_console&) = delete;
    simulator_console& operator=(const simulator_console&) = delete;

    /// Carries out one command line; words may hold the escapes of EscapeLine. Whatever it prints ends with
    /// one line that begins with "OK " and the command's name, followed by its result if it has one, or with
    /// "ERR " and what is wrong. An empty line does nothing and prints nothing. Returns false when the
    /// program is to end.
    bool Execute(std::string_view line);

  private:
    using words = console::words;

    console::command_table Commands();
    std::string Help(const words& arguments);
    std::string List(const words& arguments);
    std::string Calls(const words& arguments);
    std::string Register(const words& arguments);
    std::string Unregister(const words& arguments);
    std::string Status(const words& arguments);
    std::string Ring(const words& arguments);
    std::string Dial(const words& arguments);
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
    const std::function<void(const std::string&)> print_;
    const console::command_table commands_ = Commands();
    bool ended_ = false;
};

}  // namespace brivelnox::simulator
