// demonstration: shows a provider at work between its two neighbours. It loads the provider as the telephony
// service does, starts the service simulator, and either plays a working day or takes commands.

#include <windows.h>
#include <shlobj.h>

#include <cstddef>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/console/command_words.h"
#include "tools/console/line_io.h"
#include "tools/console/own_program.h"
#include "tools/demonstration/application.h"
#include "tools/demonstration/interactive_prompt.h"
#include "tools/demonstration/merged_print.h"
#include "tools/demonstration/wire_text.h"
#include "tools/demonstration/working_day.h"
#include "tools/service_simulator/simulator_process.h"
#include "tools/telephony_host/provider_module.h"
#include "tools/telephony_host/telephony_host.h"

namespace {

using namespace brivelnox;

constexpr std::string_view kUsage =
    "usage: demonstration --day | --interactive [--provider <path>] [--simulator <path>]";

struct arguments {
    bool day = false;
    bool interactive = false;
    std::wstring provider;
    std::wstring simulator;
};

std::optional<arguments> ParseArguments(const std::vector<std::wstring>& words) {
    arguments result{false, false, (console::OwnFolder().parent_path() / L"Brivelnox.tsp").wstring(),
                     (console::OwnFolder() / L"service_simulator.exe").wstring()};
    for (std::size_t i = 0; i < words.size(); ++i) {
        const bool has_value = i + 1 < words.size();
        if (words[i] == L"--day") {
            result.day = true;
        } else if (words[i] == L"--interactive") {
            result.interactive = true;
        } else if (words[i] == L"--provider" && has_value) {
            result.provider = words[++i];
        } else if (words[i] == L"--simulator" && has_value) {
            result.simulator = words[++i];
        } else {
            return std::nullopt;
        }
    }
    return result.day != result.interactive ? std::optional(result) : std::nullopt;
}

/// Where the provider writes its log on this machine.
std::wstring LogFile() {
    std::wstring folder(MAX_PATH, L'\0');
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, folder.data()))) {
        return {};
    }
    folder.resize(folder.find(L'\0'));
    return folder + L"\\Brivelnox\\Brivelnox.Tsp\\logs\\Brivelnox.Tsp.log";
}

void ShowWire(demonstration::merged_print& print, const simulator::wire_report& line) {
    const std::string mark = line.direction == "in" ? "> " : line.direction == "out" ? "< " : "- ";
    const std::string text = line.direction == "note" ? line.text : demonstration::WireText(line.text);
    print.Add(demonstration::print_column::kWire, line.time, mark + text);
}

bool PlayInteractively(demonstration::application& dialler, simulator::simulator_process& service,
                       demonstration::merged_print& print, console::line_writer& output) {
    for (const char* const line :
         {"register 1001 \"Anna Berger (Reception)\"", "register 1002 \"Bruno Keller (Sales)\""}) {
        (void)service.Command(line);
    }
    if (dialler.Start() != 0) {
        return false;
    }
    print.AddLine("Two softphones are registered. Type help for the commands, open to open their lines.");
    const HANDLE input_handle = GetStdHandle(STD_INPUT_HANDLE);
    const bool typed = GetFileType(input_handle) == FILE_TYPE_CHAR;
    console::line_reader input(input_handle);
    demonstration::interactive_prompt prompt(dialler, service, print);
    prompt.Run(input, output,
               typed ? demonstration::interactive_prompt::echo::kPrompt
                     : demonstration::interactive_prompt::echo::kCommands);
    return prompt.Finish();
}

int Run(const arguments& wanted, console::line_writer& output) {
    const auto start = demonstration::merged_print::clock::now();
    const host::provider_module provider(wanted.provider);
    const std::string missing = provider.Missing();
    if (!missing.empty()) {
        (void)output.Write("the provider does not export " + missing);
        return 1;
    }
    demonstration::merged_print print(start, [&](const std::string& line) { (void)output.Write(line); });
    simulator::simulator_process service(wanted.simulator,
                                         [&](const simulator::wire_report& line) { ShowWire(print, line); });
    host::host_options options;
    options.created_device_offset =
        100;  // easy to read, and out of reach of the few lines of a demonstration
    host::telephony_host service_host(provider, options);
    demonstration::application dialler(service_host, print);
    const bool good = wanted.day ? demonstration::working_day(dialler, service, print).Play()
                                 : PlayInteractively(dialler, service, print, output);
    print.Flush();
    print.AddLine("log file: " + console::ToUtf8(LogFile()));
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
        (void)output.Write(std::string("demonstration: ") + failure.what());
        return 1;
    }
}
