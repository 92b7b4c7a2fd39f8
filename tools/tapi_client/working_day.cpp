#include "tools/tapi_client/working_day.h"

#include <exception>
#include <stdexcept>
#include <utility>

#include "tools/telephony_host/names.h"

namespace brivelnox::tapi_client {

working_day::working_day(dialler& application, simulator::simulator_process& service, dialler::print out)
    : application_(application), service_(service), out_(std::move(out)) {}

bool working_day::Play() {
    const std::vector<step> steps{
        {"the lines are found by name and opened", &working_day::StartAndOpen},
        {"an incoming call rings, is answered, held, resumed, sends digits, ends",
         &working_day::IncomingCall},
        {"an outgoing call goes through ringback to connected", &working_day::OutgoingCall},
        {"a consultation call and the transfer", &working_day::ConsultAndTransfer},
        {"a busy number", &working_day::BusyNumber},
        {"a blind transfer", &working_day::BlindTransfer},
        {"a softphone registers and appears as a new line", &working_day::NewSoftphone},
        {"a softphone goes away and its call ends", &working_day::SoftphoneGoesAway},
        {"lines are closed, the application leaves", &working_day::Leave},
        {"nothing was a surprise", &working_day::NoSurprise},
    };
    std::vector<std::string> outcomes;
    bool all_happened = true;
    for (const step& each : steps) {
        const std::string title = std::to_string(outcomes.size() + 1) + ". " + each.title;
        out_("");
        out_("== " + title);
        try {
            (this->*each.play)();
            outcomes.push_back("ok      " + title);
        } catch (const std::exception& problem) {
            all_happened = false;
            outcomes.push_back("FAILED  " + title + ": " + problem.what());
            out_("FAILED: " + std::string(problem.what()));
        }
    }
    out_("");
    for (const std::string& each : outcomes) {
        out_(each);
    }
    return all_happened;
}

void working_day::StartAndOpen() {
    Service("register 1001 \"Anna Berger (Reception)\"");
    Service("register 1002 \"Bruno Keller (Sales)\"");
    Service("plan 1001 200 ringback \"Emil Hauser\"");
    Service("plan 1001 202 answered \"Frida Stern\"");
    application_.Start();
    reception_ = &OpenLine(L"Anna Berger (Reception)", 1001);
    sales_ = &OpenLine(L"Bruno Keller (Sales)", 1002);
    constexpr DWORD kNeeded = LINECALLFEATURE_ANSWER | LINECALLFEATURE_DROP | LINECALLFEATURE_HOLD |
                              LINECALLFEATURE_UNHOLD | LINECALLFEATURE_SETUPTRANSFER;
    Expect((application_.CallFeatures(Opened(reception_)) & kNeeded) == kNeeded,
           "calls that can be controlled");
}

void working_day::IncomingCall() {
    const HCALL call = RingingCall(Opened(reception_), "ring 1001 +493055501 \"Dora Lindt\"");
    const call_details told = application_.Details(call);
    Expect(told.caller.number == L"+493055501" && told.caller.name == L"Dora Lindt",
           "the caller's number and name");
    Expect(told.origin == LINECALLORIGIN_INBOUND, "an inbound call");
    Expect((application_.Status(call).second & LINECALLFEATURE_ANSWER) != 0, "a call that can be answered");
    AnswerCall(call);
    application_.Hold(call);
    (void)application_.WaitForState(call, LINECALLSTATE_ONHOLD);
    Expect(application_.CountCalls(Opened(reception_)) == std::pair<DWORD, DWORD>(0, 1), "one call on hold");
    const std::size_t before = StatesOf(call);
    application_.Unhold(call);
    (void)application_.WaitForState(call, LINECALLSTATE_CONNECTED, before);
    application_.GenerateDigits(call, L"12#");
    // Hold goes the same way behind the digits, so they have arrived when it has.
    application_.Hold(call);
    (void)application_.WaitForState(call, LINECALLSTATE_ONHOLD, before);
    const std::string digits = Service("digits 1001");
    Expect(digits == "12#", "the softphone played 12#, not " + digits);
    Service("hangup 1001 200");
    Service("remove 1001");
    ExpectEnd(call, LINEDISCONNECTMODE_NORMAL);
}

void working_day::OutgoingCall() {
    const HCALL call = application_.MakeCall(Opened(reception_), L"200");
    (void)application_.WaitForState(call, LINECALLSTATE_PROCEEDING);
    (void)application_.WaitForState(call, LINECALLSTATE_RINGBACK);
    Service("connect 1001");
    (void)application_.WaitForState(call, LINECALLSTATE_CONNECTED);
    const call_details told = application_.Details(call);
    Expect(told.called.number == L"200" && told.called.name == L"Emil Hauser", "the called party");
    Expect(told.origin == LINECALLORIGIN_OUTBOUND, "an outbound call");
    application_.Drop(call);
    ExpectEnd(call, LINEDISCONNECTMODE_NORMAL);
}

void working_day::ConsultAndTransfer() {
    const HCALL first = RingingCall(Opened(reception_), "ring 1001 +493055502 \"Gustav Reim\"");
    AnswerCall(first);
    const HCALL consultation = application_.SetupTransfer(first);
    (void)application_.WaitForState(consultation, LINECALLSTATE_DIALTONE);
    // The softphone puts its first call on hold when its user turns to another.
    Service("park 1001");
    (void)application_.WaitForState(first, LINECALLSTATE_ONHOLD);
    application_.Dial(consultation, L"202");
    (void)application_.WaitForState(consultation, LINECALLSTATE_PROCEEDING);
    (void)application_.WaitForState(consultation, LINECALLSTATE_RINGBACK);
    (void)application_.WaitForState(consultation, LINECALLSTATE_CONNECTED);
    application_.CompleteTransfer(first, consultation);
    ExpectEnd(first, LINEDISCONNECTMODE_NORMAL);
    ExpectEnd(consultation, LINEDISCONNECTMODE_NORMAL);
}

void working_day::BusyNumber() {
    const HCALL call = application_.MakeCall(Opened(sales_), L"486");
    (void)application_.WaitForState(call, LINECALLSTATE_BUSY);
    (void)application_.WaitForState(call, LINECALLSTATE_IDLE);
    application_.Deallocate(call);
}

void working_day::BlindTransfer() {
    const HCALL call =
        RingingCall(Opened(sales_), "ring 1002 +493055503 \"Hanna Otto\" 1001 \"Anna Berger\" CFB");
    const call_details told = application_.Details(call);
    Expect(told.reason == LINECALLREASON_FWDBUSY && told.redirecting.number == L"1001",
           "who forwarded the call, and why");
    AnswerCall(call);
    application_.BlindTransfer(call, L"203");
    ExpectEnd(call, LINEDISCONNECTMODE_NORMAL);
}

void working_day::NewSoftphone() {
    Service("register 1003 \"Clara Vogt (Workshop)\"");
    workshop_ = &OpenLine(L"Clara Vogt (Workshop)", 1003);
    workshop_call_ = RingingCall(Opened(workshop_), "ring 1003 +493055504 \"Ida Pohl\"");
    AnswerCall(workshop_call_);
}

void working_day::SoftphoneGoesAway() {
    Expect(workshop_call_ != 0, "a call at the softphone that goes away");
    Service("unregister 1003");
    ExpectEnd(workshop_call_, LINEDISCONNECTMODE_CANCELLED);
    // The line stays, for the softphone may come back.
    Expect(application_.CountCalls(Opened(workshop_)) == std::pair<DWORD, DWORD>(0, 0),
           "a line without a call");
}

void working_day::Leave() {
    for (known_line& each : application_.Lines()) {
        if (each.handle != 0) {
            application_.Close(each);
        }
    }
    application_.Leave();
}

void working_day::NoSurprise() {
    for (const std::string& each : application_.Surprises()) {
        out_("surprise: " + each);
    }
    Expect(application_.Surprises().empty(), "no surprise");
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

/// The line, which an earlier step should have opened.
known_line& working_day::Opened(known_line* line) {
    if (line == nullptr) {
        throw std::runtime_error("expected: a line that is open");
    }
    return *line;
}

known_line& working_day::OpenLine(const std::wstring& name, std::int32_t permanent_id) {
    known_line& line = application_.WaitForLine(name);
    Expect(line.permanent_id == static_cast<DWORD>(permanent_id),
           "the permanent id " + std::to_string(permanent_id));
    application_.Open(line);
    return line;
}

HCALL working_day::RingingCall(const known_line& line, const std::string& ring) {
    Service(ring);
    const HCALL call = application_.WaitForNewCall(line);
    (void)application_.WaitForState(call, LINECALLSTATE_OFFERING);
    (void)application_.WaitForState(call, LINECALLSTATE_ACCEPTED);
    return call;
}

void working_day::AnswerCall(HCALL call) {
    application_.Answer(call);
    (void)application_.WaitForState(call, LINECALLSTATE_CONNECTED);
}

void working_day::ExpectEnd(HCALL call, DWORD mode) {
    const DWORD told = application_.WaitForState(call, LINECALLSTATE_DISCONNECTED);
    (void)application_.WaitForState(call, LINECALLSTATE_IDLE);
    application_.Deallocate(call);
    Expect(told == mode, "disconnected as " + host::DisconnectModeName(mode) + ", not as " +
                             host::DisconnectModeName(told));
}

std::size_t working_day::StatesOf(HCALL call) const {
    return application_.Calls().at(call).states.size();
}

}  // namespace brivelnox::tapi_client
