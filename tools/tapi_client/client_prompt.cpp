#include "tools/tapi_client/client_prompt.h"

#include <algorithm>
#include <cctype>
#include <functional>
#include <optional>
#include <utility>

#include "tools/telephony_host/names.h"

namespace brivelnox::tapi_client {

namespace {

using console::Refuse;

std::string UpperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

std::string PartyText(const char* role, const call_party& party) {
    return party.number.empty() ? std::string()
                                : std::string(", ") + role + " " + console::ToUtf8(party.number) + " " +
                                      console::QuoteWord(console::ToUtf8(party.name));
}

}  // namespace

client_prompt::client_prompt(dialler& application, simulator::simulator_process* service, dialler::print out)
    : application_(application), service_(service), out_(std::move(out)) {}

console::command_table client_prompt::Commands() {
    using self = client_prompt;
    const auto by = [this](std::string (self::*operation)(const words&)) {
        return std::bind_front(operation, this);
    };
    // A request for the newest call in one of the states, with the first word for those that take a text.
    const auto on = [this](std::vector<DWORD> states, void (dialler::*request)(HCALL)) {
        return [this, states = std::move(states), request](const words&) {
            (application_.*request)(CallIn(states));
            return std::string();
        };
    };
    const auto with_text = [this](std::vector<DWORD> states,
                                  void (dialler::*request)(HCALL, const std::wstring&)) {
        return [this, states = std::move(states), request](const words& arguments) {
            (application_.*request)(CallIn(states), console::FromUtf8(arguments[0]));
            return std::string();
        };
    };
    return console::command_table({
        {"lines", "", "the lines", by(&self::List)},
        {"open", "<name>", "opens a line", by(&self::Open)},
        {"make", "<number> [line]", "makes a call, on the first open line if none is named", by(&self::Make)},
        {"answer", "", "answers", on({LINECALLSTATE_ACCEPTED, LINECALLSTATE_OFFERING}, &dialler::Answer)},
        {"redirect", "<number>", "redirects a call that rings",
         with_text({LINECALLSTATE_ACCEPTED, LINECALLSTATE_OFFERING}, &dialler::Redirect)},
        {"hold", "", "puts on hold", on({LINECALLSTATE_CONNECTED}, &dialler::Hold)},
        {"unhold", "", "takes back from hold", on({LINECALLSTATE_ONHOLD}, &dialler::Unhold)},
        {"swap", "", "swaps the active and the held call", by(&self::Swap)},
        {"transfer", "", "sets up a consultation call for a transfer",
         [this](const words&) {
             return HandleText(application_.SetupTransfer(CallIn({LINECALLSTATE_CONNECTED})));
         }},
        {"dial", "<number>", "dials on a call with dial tone",
         with_text({LINECALLSTATE_DIALTONE}, &dialler::Dial)},
        {"complete", "", "completes the transfer", by(&self::Complete)},
        {"blind", "<number>", "transfers without asking",
         with_text({LINECALLSTATE_CONNECTED}, &dialler::BlindTransfer)},
        {"digits", "<digits>", "sends digits",
         with_text({LINECALLSTATE_CONNECTED}, &dialler::GenerateDigits)},
        {"drop", "", "hangs up",
         [this](const words&) {
             application_.Drop(CallThatGoesOn());
             return std::string();
         }},
        {"free", "", "lets go of the calls that have ended", by(&self::Free)},
        {"info", "", "who is calling whom, and why", by(&self::Details)},
        {"status", "", "the call's state and what can be done with it", by(&self::Status)},
        {"wait", "<state>", "waits until a call is in the state", by(&self::Wait)},
        {"service", "<command...>", "a command for the simulated service", by(&self::Service)},
        {"help", "", "this list", by(&self::Help)},
        {"quit", "", "ends", by(&self::Quit)},
    });
}

bool client_prompt::Execute(const std::string& line) {
    const words all = console::SplitWords(line);
    application_.TakeWaiting();
    const std::optional<std::string> result = all.empty() ? std::string() : commands_.Run(all);
    if (!result) {
        Refuse("unknown command " + all.front() + ", try help");
    }
    if (!result->empty()) {
        out_(*result);
    }
    return !ended_;
}

std::string client_prompt::List(const words&) {
    for (const known_line& each : application_.Lines()) {
        out_("device " + std::to_string(each.device) + "  permanent id " + std::to_string(each.permanent_id) +
             "  " + console::ToUtf8(each.name) + (each.handle != 0 ? "  open" : "  closed"));
    }
    return {};
}

std::string client_prompt::Open(const words& arguments) {
    application_.Open(application_.WaitForLine(console::FromUtf8(arguments[0])));
    return {};
}

std::string client_prompt::Make(const words& arguments) {
    const std::wstring name = arguments.size() > 1 ? console::FromUtf8(arguments[1]) : std::wstring();
    for (const known_line& each : application_.Lines()) {
        if (each.handle != 0 && (name.empty() || name == each.name)) {
            return HandleText(application_.MakeCall(each, console::FromUtf8(arguments[0])));
        }
    }
    Refuse("no such line is open");
}

std::string client_prompt::Swap(const words&) {
    application_.SwapHold(CallIn({LINECALLSTATE_CONNECTED}), CallIn({LINECALLSTATE_ONHOLD}));
    return {};
}

std::string client_prompt::Complete(const words&) {
    application_.CompleteTransfer(CallIn({LINECALLSTATE_ONHOLD}), CallIn({LINECALLSTATE_CONNECTED}));
    return {};
}

std::string client_prompt::Free(const words&) {
    const std::map<HCALL, known_call> calls = application_.Calls();
    for (const auto& [handle, call] : calls) {
        if (call.State() == LINECALLSTATE_IDLE) {
            application_.Deallocate(handle);
        }
    }
    return {};
}

std::string client_prompt::Details(const words&) {
    const call_details told = application_.Details(CallThatGoesOn());
    return host::OriginName(told.origin) + " " + host::ReasonName(told.reason) +
           PartyText("caller", told.caller) + PartyText("called", told.called) +
           PartyText("redirecting", told.redirecting);
}

std::string client_prompt::Status(const words&) {
    const auto [state, features] = application_.Status(CallThatGoesOn());
    return host::CallStateName(state) + ", features " + host::CallFeatureName(features);
}

std::string client_prompt::Wait(const words& arguments) {
    const std::string wanted = UpperCase(arguments[0]);
    const auto is_there = [&] {
        return std::any_of(application_.Calls().begin(), application_.Calls().end(), [&](const auto& each) {
            return host::CallStateName(each.second.State()) == wanted;
        });
    };
    application_.WaitUntil(is_there, "a call that is " + wanted);
    return {};
}

std::string client_prompt::Service(const words& arguments) {
    if (service_ == nullptr) {
        Refuse("there is no simulated service");
    }
    const simulator::simulator_reply reply = service_->Command(arguments);
    for (const std::string& each : reply.lines) {
        out_(each);
    }
    if (!reply.success) {
        Refuse(reply.text);
    }
    return reply.text;
}

std::string client_prompt::Help(const words&) {
    for (const std::string& each : commands_.Help()) {
        out_(each);
    }
    return {};
}

std::string client_prompt::Quit(const words&) {
    ended_ = true;
    return {};
}

/// The newest call that fits.
HCALL client_prompt::Newest(const std::function<bool(DWORD state)>& fits) const {
    HCALL newest = 0;
    std::size_t number = 0;
    for (const auto& [handle, call] : application_.Calls()) {
        if (fits(call.State()) && call.number > number) {
            newest = handle;
            number = call.number;
        }
    }
    if (newest == 0) {
        Refuse("no call is in a state for that");
    }
    return newest;
}

HCALL client_prompt::CallIn(const std::vector<DWORD>& states) const {
    return Newest(
        [&](DWORD state) { return std::find(states.begin(), states.end(), state) != states.end(); });
}

HCALL client_prompt::CallThatGoesOn() const {
    return Newest([](DWORD state) { return state != LINECALLSTATE_IDLE; });
}

}  // namespace brivelnox::tapi_client
