#include "tools/telephony_host/application.h"

#include "tools/console/command_words.h"
#include "tools/telephony_host/event_text.h"
#include "tools/telephony_host/names.h"

namespace brivelnox::host {

namespace {

std::string Quoted(const std::wstring& text) {
    return "\"" + console::ToUtf8(text) + "\"";
}

std::string PartyText(const char* role, const call_party& party) {
    if (party.number.empty() && party.name.empty()) {
        return {};
    }
    std::string text = std::string(", ") + role + " " + console::ToUtf8(party.number);
    return party.name.empty() ? text : text + " " + Quoted(party.name);
}

std::string InformationText(const call_information& told) {
    return OriginName(told.origin) + " " + ReasonName(told.reason) + PartyText("caller", told.caller) +
           PartyText("called", told.called) + PartyText("connected", told.connected) +
           PartyText("redirecting", told.redirecting);
}

std::string Error(LONG result) {
    return ResultName(result);
}

}  // namespace

application::application(telephony_host& host, merged_print& print) : host_(host), print_(print) {
    host_.SetEventHook(
        [this](const tapi_event& event) { print_.Add(print_column::kTapi, event.time, EventText(event)); });
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
    Show(time, what, ResultName(result));
    return result;
}

request_result application::Ask(const std::string& what, const std::function<request_result()>& request) {
    const auto time = merged_print::clock::now();
    const request_result result = request();
    std::string answer = Error(result.returned);
    if (result.Accepted()) {
        answer = "request " + std::to_string(result.request_id);
        answer += result.call == nullptr ? "" : ", call " + HandleText(result.call);
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
         line == nullptr ? Error(result) + ", no line" : "line " + HandleText(line));
    return line;
}

LONG application::CloseLine(HTAPILINE line) {
    return AskNow("lineClose " + HandleText(line), [&] { return host_.CloseLine(line); });
}

std::optional<line_caps> application::GetDevCaps(DWORD device_id) {
    const auto time = merged_print::clock::now();
    LONG result = 0;
    const std::optional<line_caps> caps = host_.GetDevCaps(device_id, &result);
    Show(time, "lineGetDevCaps device " + std::to_string(device_id),
         caps ? Quoted(caps->line_name) + ", permanent id " +
                    std::to_string(static_cast<std::int32_t>(caps->permanent_line_id))
              : Error(result));
    return caps;
}

std::optional<call_information> application::GetCallInfo(HTAPICALL call) {
    const auto time = merged_print::clock::now();
    LONG result = 0;
    const std::optional<call_information> told = host_.GetCallInfo(call, &result);
    Show(time, "lineGetCallInfo " + HandleText(call), told ? InformationText(*told) : Error(result));
    return told;
}

std::optional<call_status> application::GetCallStatus(HTAPICALL call) {
    const auto time = merged_print::clock::now();
    LONG result = 0;
    const std::optional<call_status> status = host_.GetCallStatus(call, &result);
    Show(time, "lineGetCallStatus " + HandleText(call),
         status ? CallStateName(status->state) + ", features " + CallFeatureName(status->features)
                : Error(result));
    return status;
}

std::optional<call_counts> application::GetLineDevStatus(HTAPILINE line) {
    const auto time = merged_print::clock::now();
    LONG result = 0;
    const std::optional<call_counts> counts = host_.GetLineDevStatus(line, &result);
    Show(time, "lineGetLineDevStatus " + HandleText(line),
         counts ? std::to_string(counts->active) + " active, " + std::to_string(counts->on_hold) + " on hold"
                : Error(result));
    return counts;
}

request_result application::MakeCall(HTAPILINE line, const std::wstring& number) {
    return Ask("lineMakeCall " + HandleText(line) + " " + Quoted(number),
               [&] { return host_.MakeCall(line, number.c_str()); });
}

request_result application::Dial(HTAPICALL call, const std::wstring& number) {
    return Ask("lineDial " + HandleText(call) + " " + Quoted(number),
               [&] { return host_.Dial(call, number.c_str()); });
}

request_result application::Answer(HTAPICALL call) {
    return Ask("lineAnswer " + HandleText(call), [&] { return host_.Answer(call); });
}

request_result application::Hold(HTAPICALL call) {
    return Ask("lineHold " + HandleText(call), [&] { return host_.Hold(call); });
}

request_result application::Unhold(HTAPICALL call) {
    return Ask("lineUnhold " + HandleText(call), [&] { return host_.Unhold(call); });
}

request_result application::SwapHold(HTAPICALL active, HTAPICALL held) {
    return Ask("lineSwapHold " + HandleText(active) + " " + HandleText(held),
               [&] { return host_.SwapHold(active, held); });
}

request_result application::SetupTransfer(HTAPICALL call) {
    return Ask("lineSetupTransfer " + HandleText(call), [&] { return host_.SetupTransfer(call); });
}

request_result application::CompleteTransfer(HTAPICALL call, HTAPICALL consultation) {
    return Ask("lineCompleteTransfer " + HandleText(call) + " " + HandleText(consultation),
               [&] { return host_.CompleteTransfer(call, consultation); });
}

request_result application::BlindTransfer(HTAPICALL call, const std::wstring& number) {
    return Ask("lineBlindTransfer " + HandleText(call) + " " + Quoted(number),
               [&] { return host_.BlindTransfer(call, number.c_str()); });
}

request_result application::Redirect(HTAPICALL call, const std::wstring& number) {
    return Ask("lineRedirect " + HandleText(call) + " " + Quoted(number),
               [&] { return host_.Redirect(call, number.c_str()); });
}

request_result application::Drop(HTAPICALL call) {
    return Ask("lineDrop " + HandleText(call), [&] { return host_.Drop(call); });
}

LONG application::CloseCall(HTAPICALL call) {
    return AskNow("lineCloseCall " + HandleText(call), [&] { return host_.CloseCall(call); });
}

LONG application::GenerateDigits(HTAPICALL call, const std::wstring& digits) {
    return AskNow("lineGenerateDigits " + HandleText(call) + " " + Quoted(digits),
                  [&] { return host_.GenerateDigits(call, digits.c_str()); });
}

}  // namespace brivelnox::host
