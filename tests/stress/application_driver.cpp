#include "tests/stress/application_driver.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace brivelnox::stress {

namespace {

constexpr std::int32_t kShortestBurst = 5;
constexpr std::int32_t kLongestBurst = 60;
constexpr std::int32_t kLongestPause = 40;
/// With more calls than these per line, applications close what they have.
constexpr std::size_t kManyCalls = 6;

constexpr std::array kNumbers = {
    L"1002",
    L"486",
    L"600",
    L"404",
    L"+49 (30) 1234-567",
    L"",
    L"*21#",
    L"a'b\"c<d>&e",
    L"\x00DC\x00F6 \x20AC",
    L"0123456789012345678901234567890123456789012345678901234567890123456789012345678901234567890123456789",
};
constexpr std::array kDigits = {L"1", L"0123456789*#ABCD", L"", L"<>&'"};

}  // namespace

const wchar_t* AnyNumber(random_source& random) {
    return random.Pick(kNumbers);
}

application_driver::application_driver(stress_context& context, watched_thread& watched, std::uint64_t stream)
    : context_(context), host_(context.host), watched_(watched), random_(context.options.seed, stream) {}

std::span<const application_driver::action> application_driver::Anything() {
    static constexpr action kActions[] = {
        {"OpenLine", 4, &application_driver::OpenLine},
        {"CloseLine", 1, &application_driver::CloseLine},
        {"(as the state asks)", 30, &application_driver::Sensible},
        {"MakeCall", 8, &application_driver::MakeCall},
        {"Dial", 2, &application_driver::Dial},
        {"Answer", 2, &application_driver::Answer},
        {"Hold", 2, &application_driver::Hold},
        {"Unhold", 2, &application_driver::Unhold},
        {"SwapHold", 2, &application_driver::SwapHold},
        {"SetupTransfer", 3, &application_driver::SetupTransfer},
        {"CompleteTransfer", 2, &application_driver::CompleteTransfer},
        {"BlindTransfer", 1, &application_driver::BlindTransfer},
        {"Redirect", 1, &application_driver::Redirect},
        {"Drop", 3, &application_driver::Drop},
        {"CloseCall", 3, &application_driver::CloseCall},
        {"GenerateDigits", 2, &application_driver::GenerateDigits},
        {"device information", 4, &application_driver::DeviceInformation},
        {"line information", 5, &application_driver::LineInformation},
        {"call information", 8, &application_driver::CallInformation},
        {"information in a row", 3, &application_driver::InformationInARow},
        {"unknown device", 1, &application_driver::WildDevice},
        {"unknown line", 2, &application_driver::WildLine},
        {"unknown call", 2, &application_driver::WildCall},
        {"request, unknown call", 3, &application_driver::WildRequest},
        {"request, closed call", 3, &application_driver::StaleRequest},
        {"null pointer", 3, &application_driver::NullPointer},
        {"structure too small", 2, &application_driver::SmallStructure},
        {"unsupported", 1, &application_driver::Unsupported},
    };
    return kActions;
}

/// While the provider is being started: nothing that is completed later, which is deliberately never done for
/// a request that comes before TSPI_providerInit.
std::span<const application_driver::action> application_driver::Harmless() {
    static constexpr action kActions[] = {
        {"device information", 4, &application_driver::DeviceInformation},
        {"unknown device", 1, &application_driver::WildDevice},
        {"unknown line", 2, &application_driver::WildLine},
        {"unknown call", 2, &application_driver::WildCall},
        {"unsupported", 1, &application_driver::Unsupported},
    };
    return kActions;
}

void application_driver::Run() {
    while (context_.gate.Pass() != phase::kDone) {
        random_source burst = random_.Fork();
        Burst(burst);
        context_.gate.Pause(std::chrono::milliseconds(random_.Between(1, kLongestPause)));
    }
    context_.gate.Leave();
}

void application_driver::Burst(random_source& random) {
    for (std::int32_t left = random.Between(kShortestBurst, kLongestBurst); left > 0; --left) {
        const phase now = context_.gate.Pass();
        if (now == phase::kDone) {
            return;
        }
        random_source order = random.Fork();
        Make(now == phase::kStarting ? Harmless() : Anything(), order);
    }
}

void application_driver::Make(std::span<const action> actions, random_source& random) {
    const action& chosen = random.PickWeighted(actions);
    context_.report.requests.Add(chosen.name);
    watched_.Begin(chosen.name, context_.Patiently(kRequestBound + kMargin));
    (this->*chosen.make)(random);
    context_.report.request_times.Add(watched_.End());
}

void application_driver::Count(const host::request_result& result) {
    context_.report.results.Add(result.Accepted() ? "accepted" : "refused");
}

void application_driver::Count(LONG returned) {
    context_.report.results.Add(returned == 0 ? "answered" : "refused");
}

void application_driver::OpenLine(random_source& random) {
    const std::vector<host::line_device> devices = host_.Devices();
    const std::size_t place = random.Below(devices.size());
    // With some lines open twice and some closed; both are allowed.
    if (devices.empty() || (random.Chance(80) && context_.board.Lines().size() >= devices.size())) {
        return;
    }
    LONG result = 0;
    if (HTAPILINE const line = host_.OpenLine(devices[place].device_id, &result); line != nullptr) {
        context_.board.AddLine(line);
    }
    Count(result);
}

void application_driver::CloseLine(random_source& random) {
    HTAPILINE const line = context_.board.AnyLine(random);
    context_.board.RemoveLine(line);
    Count(host_.CloseLine(line));
}

void application_driver::Sensible(random_source& random) {
    static constexpr sensible_row kRows[] = {
        {LINECALLSTATE_IDLE, &application_driver::CloseCall},
        {LINECALLSTATE_OFFERING, &application_driver::Answer},
        {LINECALLSTATE_ACCEPTED, &application_driver::Answer},
        {LINECALLSTATE_ACCEPTED, &application_driver::Redirect},
        {LINECALLSTATE_ACCEPTED, &application_driver::Drop},
        {LINECALLSTATE_DIALTONE, &application_driver::Dial},
        {LINECALLSTATE_PROCEEDING, &application_driver::Drop},
        {LINECALLSTATE_RINGBACK, &application_driver::Drop},
        {LINECALLSTATE_BUSY, &application_driver::Drop},
        {LINECALLSTATE_CONNECTED, &application_driver::Hold},
        {LINECALLSTATE_CONNECTED, &application_driver::GenerateDigits},
        {LINECALLSTATE_CONNECTED, &application_driver::BlindTransfer},
        {LINECALLSTATE_CONNECTED, &application_driver::Drop},
        {LINECALLSTATE_ONHOLD, &application_driver::Unhold},
        {LINECALLSTATE_ONHOLD, &application_driver::SwapHold},
        {LINECALLSTATE_ONHOLD, &application_driver::SetupTransfer},
        {LINECALLSTATE_ONHOLD, &application_driver::CompleteTransfer},
    };
    const std::size_t many = kManyCalls * static_cast<std::size_t>(context_.options.lines);
    if (context_.board.CallCount() > many) {
        CloseCall(random);
        return;
    }
    // The same generator again, so that the request is for the very call that was looked at.
    random_source again = random;
    const std::optional<host::call_view> view = host_.View(context_.board.AnyCall(random));
    std::array<operation, std::size(kRows)> fitting{};
    std::size_t count = 0;
    for (const sensible_row& row : kRows) {
        if (view && row.state == view->State()) {
            fitting[count++] = row.make;
        }
    }
    if (count == 0) {
        MakeCall(random);
        return;
    }
    (this->*fitting[random.Below(count)])(again);
}

void application_driver::MakeCall(random_source& random) {
    HTAPILINE const line = context_.board.AnyLine(random);
    const host::request_result result = host_.MakeCall(line, AnyNumber(random), random.Below(50));
    if (result.call != nullptr) {
        context_.report.calls.Add("placed by applications");
        context_.board.AddCall(result.call);
    }
    Count(result);
}

void application_driver::Dial(random_source& random) {
    HTAPICALL const call = context_.board.AnyCall(random);
    Count(host_.Dial(call, AnyNumber(random)));
}

void application_driver::Answer(random_source& random) {
    Count(host_.Answer(context_.board.AnyCall(random)));
}

void application_driver::Hold(random_source& random) {
    Count(host_.Hold(context_.board.AnyCall(random)));
}

void application_driver::Unhold(random_source& random) {
    Count(host_.Unhold(context_.board.AnyCall(random)));
}

void application_driver::SwapHold(random_source& random) {
    HTAPICALL const held = context_.board.AnyCall(random);
    Count(host_.SwapHold(context_.board.AnyCall(random), held));
}

void application_driver::SetupTransfer(random_source& random) {
    const host::request_result result = host_.SetupTransfer(context_.board.AnyCall(random));
    if (result.call != nullptr) {
        context_.report.calls.Add("consultations");
        context_.board.AddCall(result.call);
    }
    Count(result);
}

void application_driver::CompleteTransfer(random_source& random) {
    HTAPICALL const held = context_.board.AnyCall(random);
    HTAPICALL const consultation = context_.board.AnyCall(random);
    Count(host_.CompleteTransfer(
        held, consultation, random.Chance(90) ? LINETRANSFERMODE_TRANSFER : LINETRANSFERMODE_CONFERENCE));
}

void application_driver::BlindTransfer(random_source& random) {
    HTAPICALL const call = context_.board.AnyCall(random);
    Count(host_.BlindTransfer(call, AnyNumber(random)));
}

void application_driver::Redirect(random_source& random) {
    HTAPICALL const call = context_.board.AnyCall(random);
    Count(host_.Redirect(call, AnyNumber(random)));
}

void application_driver::Drop(random_source& random) {
    Count(host_.Drop(context_.board.AnyCall(random)));
}

void application_driver::ForgetCall(HTAPICALL call) {
    context_.board.RemoveCall(call);
    if (HDRVCALL const driver = host_.Driver(call); driver != nullptr) {
        context_.board.AddStale(driver);
    }
}

void application_driver::CloseCall(random_source& random) {
    HTAPICALL const call = context_.board.AnyCall(random);
    ForgetCall(call);
    Count(host_.CloseCall(call));
}

void application_driver::GenerateDigits(random_source& random) {
    HTAPICALL const call = context_.board.AnyCall(random);
    Count(host_.GenerateDigits(call, random.Pick(kDigits)));
}

void application_driver::DeviceInformation(random_source& random) {
    const std::vector<host::line_device> devices = host_.Devices();
    const std::size_t place = random.Below(devices.size());
    const DWORD device = devices.empty() ? 1 : devices[place].device_id;
    if (random.Chance(60)) {
        Count(host_.GetDevCaps(device));
    } else {
        Count(host_.GetAddressCallFeatures(device));
    }
}

void application_driver::LineInformation(random_source& random) {
    HTAPILINE const line = context_.board.AnyLine(random);
    const std::uint32_t which = random.Below(3);
    if (which == 0) {
        Count(host_.GetLineDevStatus(line));
    } else if (which == 1) {
        Count(host_.GetAddressStatus(line));
    } else {
        Count(host_.GetId(line, random.Chance(70) ? L"tapi/line" : L"wave/in"));
    }
}

void application_driver::CallInformation(random_source& random) {
    HTAPICALL const call = context_.board.AnyCall(random);
    if (random.Chance(60)) {
        Count(host_.GetCallInfo(call));
    } else {
        Count(host_.GetCallStatus(call));
    }
}

/// Past the host, whose locks would put the requests of all threads in an order.
void application_driver::InformationInARow(random_source& random) {
    constexpr int kRounds = 20;
    const auto& provider = host_.Module();
    HDRVLINE const line = host_.Driver(context_.board.AnyLine(random));
    HDRVCALL const call = host_.Driver(context_.board.AnyCall(random));
    const DWORD version = host_.Version();
    std::array<DWORD, 512> room{};
    for (int i = 0; i < kRounds; ++i) {
        room[0] = sizeof room;
        (void)provider.TSPI_lineGetCallInfo(call, reinterpret_cast<LINECALLINFO*>(room.data()));
        (void)provider.TSPI_lineGetCallStatus(call, reinterpret_cast<LINECALLSTATUS*>(room.data()));
        room[0] = sizeof room;
        (void)provider.TSPI_lineGetLineDevStatus(line, reinterpret_cast<LINEDEVSTATUS*>(room.data()));
        room[0] = sizeof room;
        (void)provider.TSPI_lineGetAddressStatus(line, 0, reinterpret_cast<LINEADDRESSSTATUS*>(room.data()));
        room[0] = sizeof room;
        (void)provider.TSPI_lineGetDevCaps(1, version, 0, reinterpret_cast<LINEDEVCAPS*>(room.data()));
    }
}

}  // namespace brivelnox::stress
