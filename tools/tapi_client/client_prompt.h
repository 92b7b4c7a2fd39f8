#pragma once

// The application's commands, one per line.

#include <windows.h>
#include <tapi.h>

#include <functional>
#include <string>
#include <vector>

#include "tools/console/command_table.h"
#include "tools/service_simulator/simulator_process.h"
#include "tools/tapi_client/dialler.h"

namespace brivelnox::tapi_client {

/// Carries out commands for an application that has started. A command is for the newest call in a state in
/// which it makes sense. For one thread at a time.
class client_prompt {
  public:
    /// `service` takes the commands of the simulated service; there need not be one.
    client_prompt(dialler& application, simulator::simulator_process* service, dialler::print out);
    client_prompt(const client_prompt&) = delete;
    client_prompt& operator=(const client_prompt&) = delete;

    /// Carries out one command line. What is wrong with it, or goes wrong, is thrown. Returns false when the
    /// program is to end.
    bool Execute(const std::string& line);

  private:
    using words = console::words;

    console::command_table Commands();
    std::string List(const words& arguments);
    std::string Open(const words& arguments);
    std::string Make(const words& arguments);
    std::string Swap(const words& arguments);
    std::string Complete(const words& arguments);
    std::string Free(const words& arguments);
    std::string Details(const words& arguments);
    std::string Status(const words& arguments);
    std::string Wait(const words& arguments);
    std::string Service(const words& arguments);
    std::string Help(const words& arguments);
    std::string Quit(const words& arguments);

    [[nodiscard]] HCALL Newest(const std::function<bool(DWORD state)>& fits) const;
    [[nodiscard]] HCALL CallIn(const std::vector<DWORD>& states) const;
    [[nodiscard]] HCALL CallThatGoesOn() const;

    dialler& application_;
    simulator::simulator_process* const service_;
    const dialler::print out_;
    const console::command_table commands_ = Commands();
    bool ended_ = false;
};

}  // namespace brivelnox::tapi_client
