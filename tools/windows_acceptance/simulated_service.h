#pragma once

#include <string>

#include "tools/console/own_program.h"
#include "tools/console/program_run.h"
#include "tools/service_simulator/simulator_process.h"
#include "tools/windows_acceptance/step.h"

namespace brivelnox::acceptance {

/// The service simulator as a process of its own, found by the provider.
class simulated_service {
  public:
    simulated_service()
        : process_((console::OwnFolder() / L"service_simulator.exe").wstring(),
                   [](const simulator::wire_report&) {}) {}

    /// Runs a command and returns its result. Raises std::runtime_error when the simulator refuses it.
    std::string Command(const std::string& line) {
        const simulator::simulator_reply reply = process_.Command(line);
        Require(reply.success, line + ": " + reply.text);
        return reply.text;
    }

    /// A softphone that is the line 1001, "Desk 1001".
    void RegisterDesk() { Command("register 1001 \"Desk 1001\""); }

  private:
    simulator::simulator_process process_;
};

}  // namespace brivelnox::acceptance
