// tapi_client: an application of TAPI's on the console. It plays a working day with the simulated service, or
// takes commands from its standard input. What it prints is what passes between it and TAPI.

#include <windows.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/console/command_words.h"
#include "tools/console/line_io.h"
#include "tools/console/own_program.h"
#include "tools/service_simulator/simulator_process.h"
#include "tools/tapi_client/client_prompt.h"
#include "tools/tapi_client/dialler.h"
#include "tools/tapi_client/message_source.h"
#include "tools/tapi_client/working_day.h"

namespace {

using namespace brivelnox;

constexpr std::string_view kUsage =
    "usage: tapi_client --mode window|event|port [--simulator <path>] [--patience <seconds>] working-day\n"
    "       tapi_client --mode window|event|port [--simulator <path>] [--patience <seconds>] [--line <name>]";

// A line may be created only when the provider looks for its service again, which it does twice a minute.
constexpr std::int32_t kPatience = 45;  // seconds

struct arguments {
    std::string mode;
    std::wstring simulator;
    std::wstring line;
    std::optional<std::int32_t> patience = kPatience;  // seconds; none if it was no number
    bool working_day = false;
};

std::optional<arguments> ParseArguments(const std::vector<std::wstring>& words) {
    arguments result;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const bool has_value = i + 1 < words.size();
        if (words[i] == L"--mode" && has_value) {
            result.mode = console::ToUtf8(words[++i]);
        } else if (words[i] == L"--simulator" && has_value) {
            result.simulator = words[++i];
        } else if (words[i] == L"--line" && has_value) {
            result.line = words[++i];
        } else if (words[i] == L"--patience" && has_value) {
            result.patience = console::ToNumber(console::ToUtf8(words[++i]));
        } else if (words[i] == L"working-day") {
            result.working_day = true;
        } else {
            return std::nullopt;
        }
    }
    if (result.working_day && result.simulator.empty()) {
        result.simulator = (console::OwnFolder() / L"service_simulator.exe").wstring();
    }
    const bool senseless = result.working_day && !result.line.empty();
    return result.mode.empty() || !result.patience || senseless ? std::nullopt : std::optional(result);
}

/// Takes commands to the end of the input. One that fails does not end the program, but makes it fail.
bool TakeCommands(const arguments& wanted, tapi_client::dialler& application,
                  simulator::simulator_process* service, console::line_writer& output) {
    tapi_client::client_prompt prompt(application, service,
                                      [&](const std::string& line) { (void)output.Write(line); });
    application.Start();
    if (!wanted.line.empty()) {
        application.Open(application.WaitForLine(wanted.line));
    }
    console::line_reader input(GetStdHandle(STD_INPUT_HANDLE));
    bool good = true;
    for (bool going_on = true; going_on;) {
        const std::optional<std::string> line = input.Read();
        try {
            going_on = line.has_value() && prompt.Execute(*line);
        } catch (const std::exception& failure) {
            good = false;
            (void)output.Write(std::string("error: ") + failure.what());
        }
    }
    application.Leave();
    return good && application.Surprises().empty();
}

int Run(const arguments& wanted, console::line_writer& output) {
    const auto print = [&](const std::string& line) { (void)output.Write(line); };
    std::unique_ptr<tapi_client::message_source> messages = tapi_client::MakeMessageSource(wanted.mode);
    if (messages == nullptr) {
        (void)output.Write(kUsage);
        return 2;
    }
    std::unique_ptr<simulator::simulator_process> service;
    if (!wanted.simulator.empty()) {
        service = std::make_unique<simulator::simulator_process>(wanted.simulator,
                                                                 [](const simulator::wire_report&) {});
    }
    tapi_client::dialler application(std::move(messages), print, std::chrono::seconds(*wanted.patience));
    const bool good = wanted.working_day ? tapi_client::working_day(application, *service, print).Play()
                                         : TakeCommands(wanted, application, service.get(), output);
    return good ? 0 : 1;
}

}  // namespace

int main() {
    (void)SetConsoleOutputCP(CP_UTF8);
    (void)SetConsoleCP(CP_UTF8);
    console::line_writer output(GetStdHandle(STD_OUTPUT_HANDLE));
    const std::optional<arguments> wanted = ParseArguments(console::CommandLineWords());
    if (!wanted) {
        (void)output.Write(kUsage);
        return 2;
    }
    try {
        return Run(*wanted, output);
    } catch (const std::exception& failure) {
        (void)output.Write(std::string("tapi_client: ") + failure.what());
        return 1;
    }
}
