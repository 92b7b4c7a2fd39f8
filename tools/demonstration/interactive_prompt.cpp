#include "tools/demonstration/interactive_prompt.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstdint>
#include <exception>
#include <string_view>
#include <vector>

#include "tools/console/command_words.h"
#include "tools/telephony_host/event_text.h"
#include "tools/telephony_host/information.h"
#include "tools/telephony_host/names.h"
#include "tools/telephony_host/tapi_event.h"

namespace brivelnox::demonstration {

namespace {

using console::Refuse;

constexpr std::chrono::milliseconds kPatience{10000};

/// Whether the command is one of the softphones'. The rest of the service's own commands are for tests.
bool IsSoftphoneCommand(std::string_view name) {
    static constexpr auto kNames =
        std::to_array<std::string_view>({"ring", "ringback", "connect", "park", "hangup", "remove",
                                         "register", "unregister", "phones", "phonecalls", "plan"});
    return std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

std::uintptr_t Number(const std::string& word) {
    try {
        std::size_t used = 0;
        const unsigned long long number = std::stoull(word, &used, 0);
        if (used == word.size()) {
            return static_cast<std::uintptr_t>(number);
        }
    } catch (const std::exception&) {
        // said below
    }
    Refuse("not a number: " + word);
}

DWORD StateByName(const std::string& word) {
    std::string wanted = word;
    std::transform(wanted.begin(), wanted.end(), wanted.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    for (DWORD state = LINECALLSTATE_IDLE; state <= LINECALLSTATE_UNKNOWN; state <<= 1U) {
        if (host::CallStateName(state) == wanted) {
            return state;
        }
    }
    Refuse("no call state: " + word);
}

}  // namespace

console::command_table interactive_prompt::Commands() {
    using self = interactive_prompt;
    // What they bring shows in the print.
    const auto by = [this](void (self::*operation)(const words&)) {
        return [this, operation](const words& arguments) {
            (this->*operation)(arguments);
            return std::string();
        };
    };
    const auto on_call = [this](auto operation) {
        return [this, operation](const words& arguments) {
            (void)(dialler_.*operation)(CallFor(arguments, 0));
            return std::string();
        };
    };
    const auto on_call_with_text = [this](auto operation) {
        return [this, operation](const words& arguments) {
            (void)(dialler_.*operation)(CallFor(arguments, 1), console::FromUtf8(arguments[0]));
            return std::string();
        };
    };
    return console::command_table({
        {"list", "", "the lines with name, permanent id and device id", by(&self::List)},
        {"open", "[device]", "opens a line, or all of them", by(&self::Open)},
        {"close", "<device>", "closes a line", by(&self::Close)},
        {"calls", "", "the calls", by(&self::Calls)},
        {"dial", "<number> [device]", "dials on a call with dial tone, else makes a call", by(&self::Dial)},
        {"answer", "[call]", "answers", on_call(&application::Answer)},
        {"hold", "[call]", "puts on hold", on_call(&application::Hold)},
        {"unhold", "[call]", "takes back from hold", by(&self::Unhold)},
        {"swap", "[active held]", "swaps the active and the held call", by(&self::Swap)},
        {"transfer", "[call]", "sets up a consultation call for a transfer",
         on_call(&application::SetupTransfer)},
        {"complete", "[call consultation]", "completes the transfer", by(&self::Complete)},
        {"blind", "<number> [call]", "transfers without asking",
         on_call_with_text(&application::BlindTransfer)},
        {"redirect", "<number> [call]", "redirects an offered call",
         on_call_with_text(&application::Redirect)},
        {"digits", "<digits> [call]", "sends digits", on_call_with_text(&application::GenerateDigits)},
        {"drop", "[call]", "hangs up", on_call(&application::Drop)},
        {"closecall", "[call]", "gives the call's handle back", on_call(&application::CloseCall)},
        {"info", "[call]", "who is calling whom, and why", on_call(&application::GetCallInfo)},
        {"status", "[call]", "the call's state and what can be done with it",
         on_call(&application::GetCallStatus)},
        {"wait", "<state> [call]", "waits until a call is in the state, for input from a file",
         by(&self::Wait)},
        {"help", "", "this list", by(&self::Help)},
        {"quit", "", "closes everything and ends", by(&self::Quit)},
    });
}

interactive_prompt::interactive_prompt(application& dialler, simulator::simulator_process& service,
                                       merged_print& print)
    : dialler_(dialler), host_(dialler.Host()), service_(service), print_(print) {}

void interactive_prompt::Run(console::line_reader& input, console::line_writer& output, echo how) {
    for (bool going_on = true; going_on;) {
        print_.Flush();
        if (how == echo::kPrompt) {
            (void)output.WritePart("> ");
        }
        const std::optional<std::string> line = input.Read();
        if (line && how == echo::kCommands) {
            print_.AddLine("> " + *line);
        }
        going_on = line.has_value() && Execute(*line);
    }
}

bool interactive_prompt::Finish() {
    dialler_.EndCalls();
    for (const HTAPILINE each : host_.OpenLines()) {
        (void)dialler_.CloseLine(each);
    }
    const bool stopped = dialler_.Shutdown() == 0;
    print_.Flush();
    for (const std::string& each : host_.Checker().Breaches()) {
        print_.AddLine("breach: " + each);
    }
    const bool kept = host_.Checker().BreachCount() == 0;
    print_.AddLine(kept ? "The provider kept its contract with TAPI."
                        : "The provider broke its contract with TAPI.");
    return stopped && kept;
}

bool interactive_prompt::Execute(const std::string& line) {
    const words all = console::SplitWords(line);
    try {
        if (!all.empty() && !commands_.Run(all)) {
            PassToService(all);
        }
    } catch (const std::exception& failure) {
        print_.AddLine(std::string("error: ") + failure.what());
    }
    return !ended_;
}

void interactive_prompt::PassToService(const words& all) {
    if (!IsSoftphoneCommand(all.front())) {
        Refuse("unknown command " + all.front() + ", try help");
    }
    const simulator::simulator_reply reply = service_.Command(all);
    for (const std::string& each : reply.lines) {
        print_.AddLine("service: " + each);
    }
    print_.AddLine((reply.success ? "service: ok " : "error: ") + reply.text);
}

HTAPILINE interactive_prompt::LineOfDevice(DWORD device_id) const {
    for (const HTAPILINE each : host_.OpenLines()) {
        if (host_.DeviceOf(each) == device_id) {
            return each;
        }
    }
    return nullptr;
}

HTAPILINE interactive_prompt::LineFor(const words& arguments, std::size_t position) const {
    if (position < arguments.size()) {
        const HTAPILINE line = LineOfDevice(static_cast<DWORD>(Number(arguments[position])));
        if (line == nullptr) {
            Refuse("device " + arguments[position] + " is not open");
        }
        return line;
    }
    const std::vector<HTAPILINE> open = host_.OpenLines();
    if (open.empty()) {
        Refuse("no line is open");
    }
    return *std::min_element(open.begin(), open.end());
}

HTAPICALL interactive_prompt::CallFor(const words& arguments, std::size_t position) const {
    if (position < arguments.size()) {
        return reinterpret_cast<HTAPICALL>(Number(arguments[position]));
    }
    const std::vector<host::call_view> calls = host_.Calls();
    const auto live = std::find_if(calls.rbegin(), calls.rend(), [](const host::call_view& each) {
        return each.State() != LINECALLSTATE_IDLE;
    });
    if (calls.empty()) {
        Refuse("there is no call");
    }
    return live == calls.rend() ? calls.back().call : live->call;
}

std::optional<HTAPICALL> interactive_prompt::NewestCall(DWORD state) const {
    const std::vector<host::call_view> calls = host_.Calls();
    const auto found = std::find_if(calls.rbegin(), calls.rend(),
                                    [state](const host::call_view& each) { return each.State() == state; });
    return found == calls.rend() ? std::nullopt : std::optional(found->call);
}

void interactive_prompt::List(const words&) {
    for (const host::line_device& each : host_.Devices()) {
        const std::optional<host::line_caps> caps = host_.GetDevCaps(each.device_id);
        const HTAPILINE line = LineOfDevice(each.device_id);
        print_.AddLine("device " + std::to_string(each.device_id) + "  permanent id " +
                       (caps ? std::to_string(static_cast<std::int32_t>(caps->permanent_line_id)) : "?") +
                       "  " + (caps ? console::ToUtf8(caps->line_name) : "?") + "  " +
                       (line == nullptr ? "closed" : "open as " + host::HandleText(line)));
    }
}

void interactive_prompt::Open(const words& arguments) {
    if (!arguments.empty()) {
        (void)dialler_.OpenLine(static_cast<DWORD>(Number(arguments[0])));
        return;
    }
    for (const host::line_device& each : host_.Devices()) {
        if (LineOfDevice(each.device_id) == nullptr) {
            (void)dialler_.OpenLine(each.device_id);
        }
    }
}

void interactive_prompt::Close(const words& arguments) {
    (void)dialler_.CloseLine(LineFor(arguments, 0));
}

void interactive_prompt::Calls(const words&) {
    for (const host::call_view& each : host_.Calls()) {
        print_.AddLine("call " + host::HandleText(each.call) + "  line " + host::HandleText(each.line) +
                       "  " + host::CallStateName(each.State()));
    }
}

void interactive_prompt::Dial(const words& arguments) {
    const std::wstring number = console::FromUtf8(arguments[0]);
    const std::optional<HTAPICALL> consultation = NewestCall(LINECALLSTATE_DIALTONE);
    if (consultation && arguments.size() < 2) {
        (void)dialler_.Dial(*consultation, number);
    } else {
        (void)dialler_.MakeCall(LineFor(arguments, 1), number);
    }
}

void interactive_prompt::Unhold(const words& arguments) {
    const std::optional<HTAPICALL> held = NewestCall(LINECALLSTATE_ONHOLD);
    (void)dialler_.Unhold(arguments.empty() && held ? *held : CallFor(arguments, 0));
}

void interactive_prompt::Swap(const words& arguments) {
    const std::optional<HTAPICALL> active = NewestCall(LINECALLSTATE_CONNECTED);
    const std::optional<HTAPICALL> held = NewestCall(LINECALLSTATE_ONHOLD);
    if (arguments.size() > 1) {
        (void)dialler_.SwapHold(CallFor(arguments, 0), CallFor(arguments, 1));
    } else if (active && held) {
        (void)dialler_.SwapHold(*active, *held);
    } else {
        Refuse("an active and a held call are needed");
    }
}

void interactive_prompt::Complete(const words& arguments) {
    const std::optional<HTAPICALL> consultation = NewestCall(LINECALLSTATE_CONNECTED);
    const std::optional<HTAPICALL> held = NewestCall(LINECALLSTATE_ONHOLD);
    if (arguments.size() > 1) {
        (void)dialler_.CompleteTransfer(CallFor(arguments, 0), CallFor(arguments, 1));
    } else if (consultation && held) {
        (void)dialler_.CompleteTransfer(*held, *consultation);
    } else {
        Refuse("a held call and a connected consultation call are needed");
    }
}

void interactive_prompt::Wait(const words& arguments) {
    const DWORD state = StateByName(arguments[0]);
    if (arguments.size() > 1) {
        const HTAPICALL call = CallFor(arguments, 1);
        if (!host_.WaitForCurrentState(call, state, kPatience)) {
            Refuse("call " + host::HandleText(call) + " did not come to " + host::CallStateName(state));
        }
        return;
    }
    const auto in_state = [state](const host::tapi_event& each) {
        return each.IsMessage(static_cast<DWORD>(LINE_CALLSTATE)) && each.param1 == state;
    };
    // Looking at the calls before and after the mark is taken leaves no gap for the message to slip through.
    const std::uint64_t since = host_.Mark();
    if (!NewestCall(state) && !host_.WaitForEvent(in_state, kPatience, since)) {
        Refuse("no call came to " + host::CallStateName(state));
    }
}

void interactive_prompt::Help(const words&) {
    for (const std::string& each : commands_.Help()) {
        print_.AddLine("  " + each);
    }
    print_.AddLine("and on the service's side, for the softphone with a permanent id:");
    for (const std::string& each : service_.Command("help").lines) {
        const words parts = console::SplitWords(each);
        if (parts.size() > 1 && IsSoftphoneCommand(parts[1])) {
            print_.AddLine("  " + each.substr(each.find(' ') + 1));
        }
    }
    print_.AddLine("A call is named by its handle; without one the newest call that fits is meant.");
}

void interactive_prompt::Quit(const words&) {
    ended_ = true;
}

}  // namespace brivelnox::demonstration
