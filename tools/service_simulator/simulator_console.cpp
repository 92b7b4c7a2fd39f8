#include "tools/service_simulator/simulator_console.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "tools/console/command_words.h"

namespace brivelnox::simulator {

namespace {

using console::EscapeLine;
using console::QuoteWord;
using console::Refuse;
using console::ToNumber;
using console::UnescapeLine;

std::int32_t Number(const std::string& word, const char* what) {
    const std::optional<std::int32_t> number = ToNumber(word);
    if (!number) {
        Refuse(std::string(what) + " must be a number: " + word);
    }
    return *number;
}

bool OnOff(const std::string& word) {
    if (word != "on" && word != "off") {
        Refuse("on or off, not " + word);
    }
    return word == "on";
}

std::string WordAt(const console::words& words, std::size_t position) {
    return position < words.size() ? words[position] : std::string();
}

template <class Value, std::size_t Size>
Value Choice(const std::array<std::pair<std::string_view, Value>, Size>& choices, const std::string& word) {
    std::string names;
    for (const auto& [name, value] : choices) {
        if (name == word) {
            return value;
        }
        names.append(names.empty() ? "" : ", ").append(name);
    }
    Refuse("one of " + names + ", not " + word);
}

constexpr std::array<std::pair<std::string_view, dial_outcome>, 5> kOutcomes{{
    {"ringback", dial_outcome::kRingback},
    {"answered", dial_outcome::kAnswered},
    {"busy", dial_outcome::kBusy},
    {"unknown", dial_outcome::kUnknown},
    {"silent", dial_outcome::kSilent},
}};

constexpr std::array<std::pair<std::string_view, drop_kind>, 2> kDrops{{
    {"graceful", drop_kind::kGraceful},
    {"reset", drop_kind::kReset},
}};

constexpr std::array<std::pair<std::string_view, answer_policy>, 2> kPolicies{{
    {"on", answer_policy::kAtOnce},
    {"off", answer_policy::kNever},
}};

}  // namespace

std::string WireReport(const wire_line& line) {
    static constexpr std::array<std::string_view, 3> kDirections{"in", "out", "note"};
    const auto microseconds =
        std::chrono::duration_cast<std::chrono::microseconds>(line.time.time_since_epoch()).count();
    std::string text = "WIRE " + std::to_string(microseconds) + " ";
    text.append(kDirections[static_cast<std::size_t>(line.direction)]).append(" ");
    return text + std::to_string(line.connection) + " " + EscapeLine(line.text);
}

console::command_table simulator_console::Commands() {
    using self = simulator_console;
    const auto by = [this](std::string (self::*operation)(const words&)) {
        return std::bind_front(operation, this);
    };
    const auto to_state = [this](const char* state) {
        return [this, state](const words& arguments) { return ChangeCall(arguments, state); };
    };
    return console::command_table({
        {"register", "<line> [name] [port]", "registers a softphone, or renews it", by(&self::Register)},
        {"unregister", "<line>", "the softphone goes away", by(&self::Unregister)},
        {"status", "<line> client|sip on|off", "changes one of its connections", by(&self::Status)},
        {"ring", "<line> <number> [name] [forwarder number] [name] [type]", "an incoming call",
         by(&self::Ring)},
        {"phonedial", "<line> <number> [name]", "its user dials", by(&self::Dial)},
        {"ringback", "<line> [call]", "the far end rings", to_state("Ringback")},
        {"connect", "<line> [call]", "the call is answered or resumed", to_state("Connected")},
        {"park", "<line> [call]", "the call is put on hold", to_state("Parked")},
        {"state", "<line> <state> [call]", "any state by its name", by(&self::State)},
        {"hangup", "<line> <reason> [call]", "the call is hung up, not yet removed", by(&self::Hangup)},
        {"remove", "<line> [call]", "the call is removed", by(&self::Remove)},
        {"digits", "<line> [call]", "the digits played to the call so far", by(&self::Digits)},
        {"automatic", "<line> on|off", "whether it reacts to requests by itself", by(&self::Automatic)},
        {"plan", "<line> <number> <outcome> [name]",
         "what a dialled number does: ringback, answered, busy, unknown, silent", by(&self::Plan)},
        {"phones", "", "the softphones", by(&self::List)},
        {"phonecalls", "<line>", "a softphone's calls", by(&self::Calls)},
        {"raw", "<bytes>", "sends any bytes, \\xNN for those that cannot be typed", by(&self::Raw)},
        {"answers", "list|keepalive on|off", "whether requests are answered", by(&self::Answers)},
        {"reading", "on|off", "whether the connection is read from", by(&self::Reading)},
        {"break", "graceful|reset", "ends the connection", by(&self::Drop)},
        {"restart", "", "goes away and comes back on another port", by(&self::Restart)},
        {"help", "", "this list", by(&self::Help)},
        {"quit", "", "ends the service", by(&self::Quit)},
    });
}

simulator_console::simulator_console(service_simulator& simulator,
                                     std::function<void(const std::string&)> print)
    : simulator_(simulator), print_(std::move(print)) {}

bool simulator_console::Execute(std::string_view line) {
    words all = console::SplitWords(line);
    if (all.empty()) {
        return true;
    }
    for (std::string& word : all) {
        word = UnescapeLine(word);
    }
    try {
        const std::optional<std::string> result = commands_.Run(all);
        if (!result) {
            Refuse("unknown command " + all.front());
        }
        print_("OK " + all.front() + (result->empty() ? "" : " " + EscapeLine(*result)));
    } catch (const std::exception& failure) {
        print_("ERR " + EscapeLine(failure.what()));
    }
    return !ended_;
}

std::string simulator_console::Help(const words&) {
    for (const std::string& each : commands_.Help()) {
        print_("HELP " + each);
    }
    return {};
}

std::string simulator_console::List(const words&) {
    for (const registration& each : simulator_.Registrations()) {
        print_("PHONE " + std::to_string(each.permanent_line_id) + " " +
               EscapeLine(QuoteWord(each.tapi_line_name)) + " port " + std::to_string(each.tcp_port) +
               " client " + (each.client_connected ? "on" : "off") + " sip " +
               (each.sip_connected ? "on" : "off"));
    }
    return {};
}

std::string simulator_console::Calls(const words& arguments) {
    for (const softphone_call& each : Phone(arguments)->Calls()) {
        print_("CALL " + EscapeLine(QuoteWord(each.client_call_id)) + " " + each.call_state + " " +
               (each.is_caller ? "outgoing " : "incoming ") + EscapeLine(QuoteWord(each.peer.phone_number)) +
               " " + EscapeLine(QuoteWord(each.peer.name)));
    }
    return {};
}

std::string simulator_console::Register(const words& arguments) {
    registration subject;
    subject.permanent_line_id = Number(arguments[0], "the line");
    subject.tapi_line_name = WordAt(arguments, 1);
    if (arguments.size() > 2) {
        subject.tcp_port = static_cast<std::uint32_t>(Number(arguments[2], "the port"));
    }
    (void)simulator_.AddSoftphone(subject);
    return arguments[0];
}

std::string simulator_console::Unregister(const words& arguments) {
    if (!simulator_.RemoveSoftphone(Number(arguments[0], "the line"))) {
        Refuse("no softphone " + arguments[0]);
    }
    return arguments[0];
}

std::string simulator_console::Status(const words& arguments) {
    registration subject = Phone(arguments)->Registration();
    if (arguments[1] != "client" && arguments[1] != "sip") {
        Refuse("client or sip, not " + arguments[1]);
    }
    (arguments[1] == "client" ? subject.client_connected : subject.sip_connected) = OnOff(arguments[2]);
    (void)simulator_.ChangeSoftphone(subject, registration_change::kRefreshed);
    return arguments[0];
}

std::string simulator_console::Ring(const words& arguments) {
    std::optional<forwarder> forwarded_by;
    if (arguments.size() > 3) {
        forwarded_by = forwarder{{arguments[3], WordAt(arguments, 4)}, WordAt(arguments, 5)};
    }
    return Phone(arguments)->Ring({arguments[1], WordAt(arguments, 2)}, forwarded_by);
}

std::string simulator_console::Dial(const words& arguments) {
    return Phone(arguments)->Dial({arguments[1], WordAt(arguments, 2)});
}

std::string simulator_console::ChangeCall(const words& arguments, const std::string& state) {
    const std::shared_ptr<softphone> phone = Phone(arguments);
    const std::string id = CallId(*phone, arguments, 1);
    if (!phone->SetState(id, state)) {
        Refuse("no call " + id);
    }
    return id;
}

std::string simulator_console::State(const words& arguments) {
    words rest = arguments;
    rest.erase(rest.begin() + 1);
    return ChangeCall(rest, arguments[1]);
}

std::string simulator_console::Hangup(const words& arguments) {
    const std::shared_ptr<softphone> phone = Phone(arguments);
    const std::string id = CallId(*phone, arguments, 2);
    if (!phone->Hangup(id, Number(arguments[1], "the reason"))) {
        Refuse("no call " + id);
    }
    return id;
}

std::string simulator_console::Remove(const words& arguments) {
    const std::shared_ptr<softphone> phone = Phone(arguments);
    const std::string id = CallId(*phone, arguments, 1);
    if (!phone->Remove(id)) {
        Refuse("no call " + id);
    }
    return id;
}

std::string simulator_console::Digits(const words& arguments) {
    const std::shared_ptr<softphone> phone = Phone(arguments);
    const std::string id = CallId(*phone, arguments, 1);
    const std::optional<softphone_call> call = phone->FindCall(id);
    if (!call) {
        Refuse("no call " + id);
    }
    return call->digits;
}

std::string simulator_console::Automatic(const words& arguments) {
    Phone(arguments)->SetAutomatic(OnOff(arguments[1]));
    return arguments[1];
}

std::string simulator_console::Plan(const words& arguments) {
    Phone(arguments)->AddDialEntry({arguments[1], WordAt(arguments, 3), Choice(kOutcomes, arguments[2])});
    return arguments[1];
}

std::string simulator_console::Raw(const words& arguments) {
    simulator_.Send(arguments[0]);
    return std::to_string(arguments[0].size());
}

std::string simulator_console::Drop(const words& arguments) {
    simulator_.DropConnections(Choice(kDrops, arguments[0]));
    return arguments[0];
}

std::string simulator_console::Restart(const words&) {
    simulator_.Restart();
    return std::to_string(simulator_.Port());
}

std::string simulator_console::Answers(const words& arguments) {
    const answer_policy policy = Choice(kPolicies, arguments[1]);
    if (arguments[0] == "list") {
        simulator_.SetListAnswer(policy);
    } else if (arguments[0] == "keepalive") {
        simulator_.SetKeepAliveAnswer(policy);
    } else {
        Refuse("list or keepalive, not " + arguments[0]);
    }
    return arguments[1];
}

std::string simulator_console::Reading(const words& arguments) {
    if (OnOff(arguments[0])) {
        simulator_.ResumeReading();
    } else {
        simulator_.PauseReading();
    }
    return arguments[0];
}

std::string simulator_console::Quit(const words&) {
    ended_ = true;
    return {};
}

std::shared_ptr<softphone> simulator_console::Phone(const words& arguments) const {
    std::shared_ptr<softphone> phone = simulator_.FindSoftphone(Number(arguments[0], "the line"));
    if (!phone) {
        Refuse("no softphone " + arguments[0]);
    }
    return phone;
}

std::string simulator_console::CallId(const softphone& phone, const words& arguments,
                                      std::size_t position) const {
    if (position < arguments.size()) {
        return arguments[position];
    }
    const std::vector<softphone_call> calls = phone.Calls();
    if (calls.empty()) {
        Refuse("the softphone has no call");
    }
    return calls.back().client_call_id;
}

}  // namespace brivelnox::simulator
