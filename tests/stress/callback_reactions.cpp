#include "tests/stress/callback_reactions.h"

#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

#include "tests/stress/application_driver.h"
#include "tools/telephony_host/names.h"

namespace brivelnox::stress {

namespace {

constexpr std::uint64_t kStream = 1000;
constexpr std::int32_t kLongestStay = 15;

}  // namespace

void callback_reactions::operator()(const host::tapi_event& event) const {
    if (event.kind == host::event_kind::kCompletion) {
        context_.report.events.Add("completion");
        OnCompletion(event);
        return;
    }
    context_.report.events.Add(host::MessageName(event.message));
    if (event.IsMessage(static_cast<DWORD>(LINE_NEWCALL))) {
        context_.report.calls.Add("announced by the provider");
    } else if (event.IsMessage(static_cast<DWORD>(LINE_CALLSTATE)) && event.call != nullptr) {
        OnCallState(event);
    }
}

void callback_reactions::OnCallState(const host::tapi_event& event) const {
    static constexpr reaction_row kRows[] = {
        {0, 25, "information in any state", &callback_reactions::Ask},
        {LINECALLSTATE_OFFERING, 10, "Drop in OFFERING", &callback_reactions::Drop},
        {LINECALLSTATE_OFFERING, 10, "Answer in OFFERING", &callback_reactions::Answer},
        {LINECALLSTATE_OFFERING, 3, "Redirect in OFFERING", &callback_reactions::Redirect},
        {LINECALLSTATE_DIALTONE, 20, "Dial in DIALTONE", &callback_reactions::Dial},
        {LINECALLSTATE_CONNECTED, 4, "Hold in CONNECTED", &callback_reactions::Hold},
        {LINECALLSTATE_CONNECTED, 4, "CloseCall in CONNECTED", &callback_reactions::Close},
        {LINECALLSTATE_RINGBACK, 4, "Drop in RINGBACK", &callback_reactions::Drop},
        {LINECALLSTATE_DISCONNECTED, 5, "CloseCall in DISCONNECTED", &callback_reactions::Close},
        {LINECALLSTATE_DISCONNECTED, 3, "MakeCall in DISCONNECTED", &callback_reactions::MakeCall},
        {LINECALLSTATE_DISCONNECTED, 3, "OpenLine in DISCONNECTED", &callback_reactions::OpenLine},
        {LINECALLSTATE_IDLE, 60, "CloseCall in IDLE", &callback_reactions::Close},
        {LINECALLSTATE_ACCEPTED, 1, "CloseLine in ACCEPTED", &callback_reactions::CloseLine},
        {0, 1, "(stays a while)", &callback_reactions::Linger},
    };
    const auto state = static_cast<DWORD>(event.param1);
    if (context_.host.Driver(event.call) == nullptr) {
        // A call that its application does not have yet: the request that makes it is still under way.
        return;
    }
    context_.board.AddCall(event.call);
    random_source random(context_.options.seed + reinterpret_cast<std::uintptr_t>(event.call),
                         kStream + state);
    for (const reaction_row& row : kRows) {
        if (random.Chance(row.percent) && (row.state == 0 || row.state == state)) {
            context_.report.inside.Add(row.name);
            (this->*row.react)(event.call, random);
        }
    }
}

void callback_reactions::OnCompletion(const host::tapi_event& event) const {
    random_source random(context_.options.seed + event.request_id, kStream);
    if (random.Chance(5)) {
        context_.report.inside.Add("information in a completion");
        Ask(context_.board.AnyCall(random), random);
    }
    if (random.Chance(1)) {
        context_.report.inside.Add("MakeCall in a completion");
        MakeCall(nullptr, random);
    }
}

void callback_reactions::Ask(HTAPICALL call, random_source&) const {
    (void)context_.host.GetCallInfo(call);
    (void)context_.host.GetCallStatus(call);
}

void callback_reactions::Close(HTAPICALL call, random_source&) const {
    context_.board.RemoveCall(call);
    context_.board.AddStale(context_.host.Driver(call));
    (void)context_.host.CloseCall(call);
}

void callback_reactions::Drop(HTAPICALL call, random_source&) const {
    (void)context_.host.Drop(call);
}

void callback_reactions::Answer(HTAPICALL call, random_source&) const {
    (void)context_.host.Answer(call);
}

void callback_reactions::Redirect(HTAPICALL call, random_source& random) const {
    (void)context_.host.Redirect(call, AnyNumber(random));
}

void callback_reactions::Dial(HTAPICALL call, random_source& random) const {
    (void)context_.host.Dial(call, AnyNumber(random));
}

void callback_reactions::Hold(HTAPICALL call, random_source&) const {
    (void)context_.host.Hold(call);
}

void callback_reactions::MakeCall(HTAPICALL, random_source& random) const {
    const host::request_result result =
        context_.host.MakeCall(context_.board.AnyLine(random), AnyNumber(random));
    if (result.call != nullptr) {
        context_.report.calls.Add("placed by applications");
        context_.board.AddCall(result.call);
    }
}

void callback_reactions::OpenLine(HTAPICALL, random_source& random) const {
    const std::vector<host::line_device> devices = context_.host.Devices();
    if (devices.empty()) {
        return;
    }
    if (HTAPILINE const line = context_.host.OpenLine(devices[random.Below(devices.size())].device_id);
        line != nullptr) {
        context_.board.AddLine(line);
    }
}

void callback_reactions::CloseLine(HTAPICALL, random_source& random) const {
    HTAPILINE const line = context_.board.AnyLine(random);
    context_.board.RemoveLine(line);
    (void)context_.host.CloseLine(line);
}

void callback_reactions::Linger(HTAPICALL, random_source& random) const {
    // An application that takes its time.
    std::this_thread::sleep_for(std::chrono::milliseconds(random.Between(1, kLongestStay)));
}

}  // namespace brivelnox::stress
