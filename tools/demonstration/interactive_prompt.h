#pragma once

// A dialler at a prompt: the application's commands, and those of the softphones on the service's side.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <optional>
#include <string>

#include "tools/console/command_table.h"
#include "tools/console/line_io.h"
#include "tools/demonstration/application.h"
#include "tools/demonstration/merged_print.h"
#include "tools/service_simulator/simulator_process.h"
#include "tools/telephony_host/telephony_host.h"

namespace brivelnox::demonstration {

/// Carries out commands with a provider that has been started. For one thread.
class interactive_prompt {
  public:
    interactive_prompt(application& dialler, simulator::simulator_process& service, merged_print& print);
    interactive_prompt(const interactive_prompt&) = delete;
    interactive_prompt& operator=(const interactive_prompt&) = delete;

    /// What shows the reader where a command is: a prompt for a person who types, the command itself where
    /// the input is a file or a pipe and nobody sees it.
    enum class echo { kPrompt, kCommands };

    /// Reads commands until "quit" or the end of the input.
    void Run(console::line_reader& input, console::line_writer& output, echo how);

    /// Carries out one command line. Returns false for "quit".
    bool Execute(const std::string& line);

    /// Drops and closes every call, closes every line, shuts the provider down and says whether it kept its
    /// contract. Returns true if it did and stopped without an error.
    bool Finish();

  private:
    using words = console::words;

    console::command_table Commands();
    void List(const words& arguments);
    void Open(const words& arguments);
    void Close(const words& arguments);
    void Calls(const words& arguments);
    void Dial(const words& arguments);
    void Unhold(const words& arguments);
    void Swap(const words& arguments);
    void Complete(const words& arguments);
    void Wait(const words& arguments);
    void Help(const words& arguments);
    void Quit(const words& arguments);

    void PassToService(const words& all);
    [[nodiscard]] HTAPILINE LineOfDevice(DWORD device_id) const;
    [[nodiscard]] HTAPILINE LineFor(const words& arguments, std::size_t position) const;
    [[nodiscard]] HTAPICALL CallFor(const words& arguments, std::size_t position) const;
    [[nodiscard]] std::optional<HTAPICALL> NewestCall(DWORD state) const;

    application& dialler_;
    host::telephony_host& host_;
    simulator::simulator_process& service_;
    merged_print& print_;
    const console::command_table commands_ = Commands();
    bool ended_ = false;
};

}  // namespace brivelnox::demonstration
