#include "tools/demonstration/working_day.h"

#include <exception>
#include <optional>
#include <stdexcept>

#include "tools/telephony_host/event_text.h"
#include "tools/telephony_host/information.h"
#include "tools/telephony_host/names.h"
#include "tools/telephony_host/tapi_event.h"

namespace brivelnox::demonstration {

namespace {

constexpr std::int32_t kReception = 1001;
constexpr std::int32_t kSales = 1002;
constexpr std::int32_t kWorkshop = 1003;
constexpr wchar_t kReceptionName[] = L"Anna Berger (Reception)";
constexpr wchar_t kSalesName[] = L"Bruno Keller (Sales)";
constexpr wchar_t kWorkshopName[] = L"Clara Vogt (Workshop)";

constexpr wchar_t kCallerNumber[] = L"+493055501";
constexpr wchar_t kCallerName[] = L"Dora Lindt";

}  // namespace

working_day::working_day(application& dialler, simulator::simulator_process& service, merged_print& print,
                         std::chrono::milliseconds patience)
    : dialler_(dialler), host_(dialler.Host()), service_(service), print_(print), patience_(patience) {}

bool working_day::Play() {
    const std::vector<step> steps{
        {"the lines are listed with name and permanent id", &working_day::StartAndList},
        {"an incoming call rings, is answered, held, resumed, sends digits, ends",
         &working_day::IncomingCall},
        {"an outgoing call goes through ringback to connected", &working_day::OutgoingCall},
        {"a consultation call and the transfer", &working_day::ConsultAndTransfer},
        {"a busy number", &working_day::BusyNumber},
        {"a blind transfer", &working_day::BlindTransfer},
        {"a softphone registers and appears as a new line", &working_day::NewSoftphone},
        {"a softphone goes away and its call ends", &working_day::SoftphoneGoesAway},
        {"calls and lines are closed, the provider is shut down", &working_day::Shutdown},
        {"the provider kept its contract with TAPI", &working_day::Contract},
    };
    for (const std::string& line : ColumnHeading()) {
        print_.AddLine(line);
    }
    for (const step& each : steps) {
        print_.Flush();
        print_.AddLine("");
        print_.AddLine("== " + std::to_string(outcomes_.size() + 1) + ". " + each.title);
        std::string failure;
        try {
            (this->*each.play)();
        } catch (const std::exception& problem) {
            failure = problem.what();
            print_.Flush();
            print_.AddLine("FAILED: " + failure);
        }
        outcomes_.push_back({each.title, failure});
    }
    PrintOutcomes();
    for (const outcome& each : outcomes_) {
        if (!each.failure.empty()) {
            return false;
        }
    }
    return true;
}

void working_day::PrintOutcomes() {
    print_.Flush();
    print_.AddLine("");
    std::size_t number = 0;
    for (const outcome& each : outcomes_) {
        ++number;
        const bool happened = each.failure.empty();
        print_.AddLine((happened ? "ok      " : "FAILED  ") + std::to_string(number) + ". " + each.title +
                       (happened ? "" : ": " + each.failure));
    }
    print_.Flush();
}

void working_day::StartAndList() {
    Service("register 1001 \"Anna Berger (Reception)\"");
    Service("register 1002 \"Bruno Keller (Sales)\"");
    Service("plan 1001 200 ringback \"Emil Hauser\"");
    Service("plan 1001 202 answered \"Frida Stern\"");
    Expect(dialler_.Start() == 0, "the provider starts");
    const std::vector<host::line_device> devices = host_.Devices();
    Expect(devices.size() == 2, "two lines, not " + std::to_string(devices.size()));
    CheckDevice(devices[0].device_id, kReception, kReceptionName);
    reception_ = dialler_.OpenLine(devices[0].device_id);
    CheckDevice(devices[1].device_id, kSales, kSalesName);
    sales_ = dialler_.OpenLine(devices[1].device_id);
    Expect(reception_ != nullptr && sales_ != nullptr, "both lines open");
}

void working_day::IncomingCall() {
    const HTAPICALL call = RingingCall(reception_, "ring 1001 +493055501 \"Dora Lindt\"");
    const std::optional<host::call_information> told = dialler_.GetCallInfo(call);
    Expect(told && told->caller.number == kCallerNumber && told->caller.name == kCallerName,
           "the caller's number and name");
    Expect(told->origin == LINECALLORIGIN_INBOUND, "an inbound call");
    AnswerCall(call);
    ExpectAccepted(dialler_.Hold(call), "hold");
    ExpectState(call, LINECALLSTATE_ONHOLD);
    const std::size_t before = host_.States(call).size();
    ExpectAccepted(dialler_.Unhold(call), "unhold");
    ExpectState(call, LINECALLSTATE_CONNECTED, before);
    Expect(dialler_.GenerateDigits(call, L"12#") == 0, "digits are accepted");
    // Hold goes through the same connection behind the digits, so they have arrived when it has.
    ExpectAccepted(dialler_.Hold(call), "hold");
    ExpectState(call, LINECALLSTATE_ONHOLD, before);
    const std::string digits = Service("digits 1001");
    Expect(digits == "12#", "the softphone played 12#, not " + digits);
    Service("hangup 1001 200");
    Service("remove 1001");
    ExpectEnd(call, LINEDISCONNECTMODE_NORMAL);
    Expect(dialler_.CloseCall(call) == 0, "the call is closed");
}

void working_day::OutgoingCall() {
    const host::request_result made = dialler_.MakeCall(reception_, L"200");
    ExpectAccepted(made, "make call");
    ExpectState(made.call, LINECALLSTATE_PROCEEDING);
    ExpectState(made.call, LINECALLSTATE_RINGBACK);
    Service("connect 1001");
    ExpectState(made.call, LINECALLSTATE_CONNECTED);
    const std::optional<host::call_information> told = dialler_.GetCallInfo(made.call);
    Expect(told && told->called.number == L"200" && told->called.name == L"Emil Hauser", "the called party");
    ExpectAccepted(dialler_.Drop(made.call), "drop");
    ExpectEnd(made.call, LINEDISCONNECTMODE_NORMAL);
    Expect(dialler_.CloseCall(made.call) == 0, "the call is closed");
}

void working_day::ConsultAndTransfer() {
    const HTAPICALL first = RingingCall(reception_, "ring 1001 +493055502 \"Gustav Reim\"");
    AnswerCall(first);
    const host::request_result consultation = dialler_.SetupTransfer(first);
    ExpectAccepted(consultation, "set up transfer");
    ExpectState(consultation.call, LINECALLSTATE_DIALTONE);
    // The softphone puts its first call on hold when its user turns to another.
    Service("park 1001");
    ExpectState(first, LINECALLSTATE_ONHOLD);
    ExpectAccepted(dialler_.Dial(consultation.call, L"202"), "dial");
    ExpectState(consultation.call, LINECALLSTATE_PROCEEDING);
    ExpectState(consultation.call, LINECALLSTATE_RINGBACK);
    ExpectState(consultation.call, LINECALLSTATE_CONNECTED);
    ExpectAccepted(dialler_.CompleteTransfer(first, consultation.call), "complete transfer");
    ExpectEnd(first, LINEDISCONNECTMODE_NORMAL);
    ExpectEnd(consultation.call, LINEDISCONNECTMODE_NORMAL);
    Expect(dialler_.CloseCall(first) == 0 && dialler_.CloseCall(consultation.call) == 0,
           "both calls are closed");
}

void working_day::BusyNumber() {
    const host::request_result made = dialler_.MakeCall(sales_, L"486");
    ExpectAccepted(made, "make call");
    ExpectState(made.call, LINECALLSTATE_BUSY);
    ExpectState(made.call, LINECALLSTATE_IDLE);
    Expect(dialler_.CloseCall(made.call) == 0, "the call is closed");
}

void working_day::BlindTransfer() {
    const HTAPICALL call =
        RingingCall(sales_, "ring 1002 +493055503 \"Hanna Otto\" 1001 \"Anna Berger\" CFB");
    const std::optional<host::call_information> told = dialler_.GetCallInfo(call);
    Expect(told && told->reason == LINECALLREASON_FWDBUSY && told->redirecting.number == L"1001",
           "who forwarded the call, and why");
    AnswerCall(call);
    ExpectAccepted(dialler_.BlindTransfer(call, L"203"), "blind transfer");
    ExpectEnd(call, LINEDISCONNECTMODE_NORMAL);
    Expect(dialler_.CloseCall(call) == 0, "the call is closed");
}

void working_day::NewSoftphone() {
    const std::uint64_t since = host_.Mark();
    Service("register 1003 \"Clara Vogt (Workshop)\"");
    const std::optional<host::tapi_event> created =
        host_.WaitForMessage(static_cast<DWORD>(LINE_CREATE), patience_, since);
    Expect(created.has_value(), "LINE_CREATE");
    const std::optional<DWORD> device =
        host_.WaitForCreatedDevice(static_cast<DWORD>(created->param2), patience_);
    Expect(device.has_value(), "the provider takes the new line's identifier");
    CheckDevice(*device, kWorkshop, kWorkshopName);
    workshop_ = dialler_.OpenLine(*device);
    Expect(workshop_ != nullptr, "the new line opens");
    workshop_call_ = RingingCall(workshop_, "ring 1003 +493055504 \"Ida Pohl\"");
    AnswerCall(workshop_call_);
}

void working_day::SoftphoneGoesAway() {
    Expect(workshop_call_ != nullptr, "a call at the softphone that goes away");
    Service("unregister 1003");
    ExpectEnd(workshop_call_, LINEDISCONNECTMODE_CANCELLED);
    Expect(dialler_.CloseCall(workshop_call_) == 0, "the call is closed");
    // The line stays, for the softphone may come back.
    Expect(dialler_.GetLineDevStatus(workshop_).has_value(), "the line is still there");
}

void working_day::Shutdown() {
    dialler_.EndCalls();
    for (const HTAPILINE each : host_.OpenLines()) {
        Expect(dialler_.CloseLine(each) == 0, "a line closes");
    }
    Expect(dialler_.Shutdown() == 0, "the provider shuts down");
}

void working_day::Contract() {
    const std::vector<std::string> breaches = host_.Checker().Breaches();
    for (const std::string& each : breaches) {
        print_.AddLine("breach: " + each);
    }
    Expect(breaches.empty(), std::to_string(host_.Checker().BreachCount()) + " breaches");
    Expect(host::telephony_host::StrayCallbacks() == 0, "no message from nowhere");
    print_.AddLine("messages and completions: " + std::to_string(host_.Mark()) + ", breaches: none");
}

void working_day::Expect(bool condition, const std::string& what) const {
    if (!condition) {
        throw std::runtime_error("expected: " + what);
    }
}

std::string working_day::Service(const std::string& command) {
    const simulator::simulator_reply reply = service_.Command(command);
    Expect(reply.success, "the service obeys \"" + command + "\" (" + reply.text + ")");
    return reply.text;
}

void working_day::CheckDevice(DWORD device_id, std::int32_t permanent_id, const std::wstring& name) {
    const std::optional<host::line_caps> caps = dialler_.GetDevCaps(device_id);
    Expect(caps && caps->line_name == name && caps->permanent_line_id == static_cast<DWORD>(permanent_id),
           "the name and the permanent id of line " + std::to_string(permanent_id));
}

HTAPICALL working_day::RingingCall(HTAPILINE line, const std::string& ring) {
    const std::uint64_t since = host_.Mark();
    Service(ring);
    const HTAPICALL call = host_.WaitForNewCall(line, patience_, since);
    Expect(call != nullptr, "LINE_NEWCALL");
    ExpectState(call, LINECALLSTATE_OFFERING);
    ExpectState(call, LINECALLSTATE_ACCEPTED);
    return call;
}

void working_day::AnswerCall(HTAPICALL call) {
    ExpectAccepted(dialler_.Answer(call), "answer");
    ExpectState(call, LINECALLSTATE_CONNECTED);
}

void working_day::ExpectAccepted(const host::request_result& result, const std::string& what) {
    Expect(result.Accepted(), what + " is accepted, not " + host::ResultName(result.returned));
    Expect(host_.WaitForCompletion(result.request_id, patience_) == 0, what + " is completed with 0");
}

void working_day::ExpectState(HTAPICALL call, DWORD state, std::size_t from) {
    Expect(host_.WaitForCallState(call, state, patience_, from),
           host::CallStateName(state) + " for call " + host::HandleText(call));
}

void working_day::ExpectEnd(HTAPICALL call, DWORD mode) {
    ExpectState(call, LINECALLSTATE_DISCONNECTED);
    ExpectState(call, LINECALLSTATE_IDLE);
    const std::optional<host::call_view> view = host_.View(call);
    for (std::size_t i = 0; view && i < view->states.size(); ++i) {
        if (view->states[i] == LINECALLSTATE_DISCONNECTED) {
            Expect(view->modes[i] == mode, "disconnected as " + host::DisconnectModeName(mode) + ", not as " +
                                               host::DisconnectModeName(view->modes[i]));
        }
    }
}

}  // namespace brivelnox::demonstration
