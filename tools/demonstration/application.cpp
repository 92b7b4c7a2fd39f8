#include "tools/demonstration/application.h"

#include <cstdint>

#include "tools/console/command_words.h"
#include "tools/telephony_host/event_text.h"
#include "tools/telephony_host/names.h"

namespace brivelnox::demonstration {

namespace {

std::string Quoted(const std::wstring& text) {
    return "\"" + console::ToUtf8(text) + "\"";
}

std::string PartyText(const char* role, const host::call_party& party) {
    if (party.number.empty() && party.name.empty()) {
        return {};
    }
    std::string text = std::string(", ") + role + " " + console::ToUtf8(party.number);
    return party.name.empty() ? text : text + " " + Quoted(party.name);
}

std::string InformationText(const host::call_information& told) {
    return host::OriginName(told.origin) + " " + host::ReasonName(told.reason) +
           PartyText("caller", told.caller) + PartyText("called", told.called) +
           PartyText("connected", told.connected) + PartyText("redirecting", told.redirecting);
}

}  // namespace

application::application(host::telephony_host& host, merged_print& print) : host_(host), print_(print) {
    host_.SetEventHook([this](const host::tapi_event& event) {
        print_.Add(print_column::kTapi, event.time, host::EventText(event));
    });
}

application::~application() {
    host_.SetEventHook({});
}

void application::Show(merged_print::clock::time_point time, const std::string& what,
                       const std::string& answer) {
    print_.Add(print_column::kApplication, time, what + " -> " + answer);
}

LONG application::AskNow(const std::string& what, const std::function<LONG()>& request) {
    const auto time = merged_print::clock::now();
    const LONG result = request();
    Show(time, what, host::ResultName(result));
    return result;
}

host::request_result application::Ask(const std::string& what,
                                      const std::function<host::request_result()>& request) {
    const auto time = merged_print::clock::now();
    const host::request_result result = request();
    std::string answer = host::ResultName(result.returned);
    if (result.Accepted()) {
        answer = "request " + std::to_string(result.request_id);
        answer += result.call == nullptr ? "" : ", call " + host::HandleText(result.call);
    }
    Show(time, what, answer);
    return result;
}

LONG application::Start() {
    return AskNow("start the provider", [this] { return host_.Start(); });
}

LONG application::Shutdown() {
    return AskNow("shut the provider down", [this] { return host_.Shutdown(); });
}

HTAPILINE application::OpenLine(DWORD device_id) {
    const auto time = merged_print::clock::now();
    LONG result = 0;
    const HTAPILINE line = host_.OpenLine(device_id, &result);
    Show(time, "lineOpen device " + std::to_string(device_id),
         line == nullptr ? host::ResultName(result) + ", no line" : "line " + host::HandleText(line));
    return line;
}

LONG application::CloseLine(HTAPILINE line) {
    return AskNow("lineClose " + host::HandleText(line), [&] { return host_.CloseLine(line); });
}

std::optional<host::line_caps> application::GetDevCaps(DWORD device_id) {
    const auto time = merged_print::clock::now();
    LONG result = 0;
    const std::optional<host::line_caps> caps = host_.GetDevCaps(device_id, &result);
    Show(time, "lineGetDevCaps device " + std::to_string(device_id),
         caps ? Quoted(caps->line_name) + ", permanent id " +
                    std::to_string(static_cast<std::int32_t>(caps->permanent_line_id))
              : host::ResultName(result));
    return caps;
}

std::optional<host::call_information> application::GetCallInfo(HTAPICALL call) {
    const auto time = merged_print::clock::now();
    LONG result = 0;
    const std::optional<host::call_information> told = host_.GetCallInfo(call, &result);
    Show(time, "lineGetCallInfo " + host::HandleText(call),
         told ? InformationText(*told) : host::ResultName(result));
    return told;
}

std::optional<host::call_status> application::GetCallStatus(HTAPICALL call) {
    const auto time = merged_print::clock::now();
    LONG result = 0;
    const std::optional<host::call_status> status = host_.GetCallStatus(call, &result);
    Show(time, "lineGetCallStatus " + host::HandleText(call),
         status ? host::CallStateName(status->state) + ", features " + host::CallFeatureName(status->features)
                : host::ResultName(result));
    return status;
}

std::optional<host::call_counts> application::GetLineDevStatus(HTAPILINE line) {
    const auto time = merged_print::clock::now();
    LONG result = 0;
    const std::optional<host::call_counts> counts = host_.GetLineDevStatus(line, &result);
    Show(time, "lineGetLineDevStatus " + host::HandleText(line),
         counts ? std::to_string(counts->active) + " active, " + std::to_string(counts->on_hold) + " on hold"
                : host::ResultName(result));
    return counts;
}

host::request_result application::MakeCall(HTAPILINE line, const std::wstring& number) {
    return Ask("lineMakeCall " + host::HandleText(line) + " " + Quoted(number),
               [&] { return host_.MakeCall(line, number.c_str()); });
}

host::request_result application::Dial(HTAPICALL call, const std::wstring& number) {
    return Ask("lineDial " + host::HandleText(call) + " " + Quoted(number),
               [&] { return host_.Dial(call, number.c_str()); });
}

host::request_result application::Answer(HTAPICALL call) {
    return Ask("lineAnswer " + host::HandleText(call), [&] { return host_.Answer(call); });
}

host::request_result application::Hold(HTAPICALL call) {
    return Ask("lineHold " + host::HandleText(call), [&] { return host_.Hold(call); });
}

host::request_result application::Unhold(HTAPICALL call) {
    return Ask("lineUnhold " + host::HandleText(call), [&] { return host_.Unhold(call); });
}

host::request_result application::SwapHold(HTAPICALL active, HTAPICALL held) {
    return Ask("lineSwapHold " + host::HandleText(active) + " " + host::HandleText(held),
               [&] { return host_.SwapHold(active, held); });
}

host::request_result application::SetupTransfer(HTAPICALL call) {
    return Ask("lineSetupTransfer " + host::HandleText(call), [&] { return host_.SetupTransfer(call); });
}

host::request_result application::CompleteTransfer(HTAPICALL call, HTAPICALL consultation) {
    return Ask("lineCompleteTransfer " + host::HandleText(call) + " " + host::HandleText(consultation),
               [&] { return host_.CompleteTransfer(call, consultation); });
}

host::request_result application::BlindTransfer(HTAPICALL call, const std::wstring& number) {
    return Ask("lineBlindTransfer " + host::HandleText(call) + " " + Quoted(number),
               [&] { return host_.BlindTransfer(call, number.c_str()); });
}

host::request_result application::Redirect(HTAPICALL call, const std::wstring& number) {
    return Ask("lineRedirect " + host::HandleText(call) + " " + Quoted(number),
               [&] { return host_.Redirect(call, number.c_str()); });
}

host::request_result application::Drop(HTAPICALL call) {
    return Ask("lineDrop " + host::HandleText(call), [&] { return host_.Drop(call); });
}

LONG application::CloseCall(HTAPICALL call) {
    return AskNow("lineCloseCall " + host::HandleText(call), [&] { return host_.CloseCall(call); });
}

void application::EndCalls() {
    for (const host::call_view& each : host_.Calls()) {
        if (each.State() != LINECALLSTATE_IDLE) {
            (void)Drop(each.call);
        }
        (void)CloseCall(each.call);
    }
}

LONG application::GenerateDigits(HTAPICALL call, const std::wstring& digits) {
    return AskNow("lineGenerateDigits " + host::HandleText(call) + " " + Quoted(digits),
                  [&] { return host_.GenerateDigits(call, digits.c_str()); });
}

}  // namespace brivelnox::demonstration
