// service_simulator: the registry service's stand-in as a program. It publishes itself in the registry, plays
// softphones as its commands say, and ends with its standard input. Everything it prints is a line with a
// first word that says what it is: READY, WIRE, OK, ERR, PHONE, CALL, HELP.

#include <windows.h>

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "tools/console/command_words.h"
#include "tools/console/line_io.h"
#include "tools/service_simulator/service_simulator.h"
#include "tools/service_simulator/simulator_console.h"

namespace {

using namespace brivelnox;

constexpr std::string_view kUsage = "usage: service_simulator [--port <number>]";

int Run(std::uint16_t port, console::line_writer& output) {
    console::line_reader input(GetStdHandle(STD_INPUT_HANDLE));
    simulator::service_simulator service;
    service.SetWireObserver([&](const simulator::wire_line& line) { (void)output.Write(WireReport(line)); });
    service.Start(port);
    service.Publish();
    simulator::simulator_console commands(service,
                                          [&](const std::string& line) { (void)output.Write(line); });
    (void)output.Write("READY " + std::to_string(service.Port()));
    for (bool going_on = true; going_on;) {
        const std::optional<std::string> line = input.Read();
        going_on = line.has_value() && commands.Execute(*line);
    }
    service.SetWireObserver({});
    return 0;
}

}  // namespace

int main(int argument_count, char** arguments) {
    console::line_writer output(GetStdHandle(STD_OUTPUT_HANDLE));
    std::optional<std::int32_t> port = 0;
    if (argument_count == 3 && std::string_view(arguments[1]) == "--port") {
        port = console::ToNumber(arguments[2]);
    } else if (argument_count != 1) {
        port.reset();
    }
    if (!port || *port < 0 || *port > 0xFFFF) {
        (void)output.Write(kUsage);
        return 2;
    }
    try {
        return Run(static_cast<std::uint16_t>(*port), output);
    } catch (const std::exception& failure) {
        (void)output.Write("ERR " + std::string(failure.what()));
        return 1;
    }
}
