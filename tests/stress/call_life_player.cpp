#include "tests/stress/call_life_player.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <vector>

#include "tools/service_simulator/service_messages.h"
#include "tools/service_simulator/softphone.h"

namespace brivelnox::stress {

namespace {

constexpr std::int32_t kLongestBurst = 12;
constexpr std::int32_t kLongestPause = 30;
constexpr std::size_t kMostCalls = 4;
/// Ids that calls of any life may have, so that some come twice.
constexpr std::size_t kCommonIds = 20;

constexpr std::array kStates = {
    "Incoming",    "Outgoing", "Ringing",          "Ringback",          "Connected", "Parked",
    "Hangup",      "Consult",  "ConferenceActive", "ConferenceConsult", "None",      "ConferenceInactive",
    "NoSuchState", "",
};
constexpr std::array kReasons = {0, 200, 404, 480, 486, 487, 503, 600, 603, -1, 99999};
constexpr std::array kNumbers = {"0301234567",
                                 "1002",
                                 "",
                                 "+49 30 1234",
                                 "4711&<>'\"",
                                 "anonymous",
                                 "00000000000000000000000000000000000000000000000000000000000000000000"};
constexpr std::array kNames = {"Ada", "", "J\xFCrgen M\xF6ller", "<b>&\"quoted\"</b>", "x y z"};
constexpr std::array kForwardTypes = {"CFU", "CFB", "CFNR", "PICKUP", "TRANSFER", "", "Unheard"};

}  // namespace

call_life_player::call_life_player(stress_context& context, watched_thread& watched, std::uint64_t stream)
    : context_(context), watched_(watched), random_(context.options.seed, stream) {}

void call_life_player::Run() {
    while (context_.gate.Pass() != phase::kDone) {
        random_source burst = random_.Fork();
        for (std::int32_t left = burst.Between(1, kLongestBurst); left > 0; --left) {
            random_source order = burst.Fork();
            const watched_step step(watched_, "a call's life", context_.Patiently(kSimulatorBound));
            Play(order);
        }
        context_.gate.Pause(std::chrono::milliseconds(random_.Between(1, kLongestPause)));
    }
    context_.gate.Leave();
}

void call_life_player::Play(random_source& random) {
    static constexpr action kActions[] = {
        {14, &call_life_player::Ring},         {6, &call_life_player::Dial},
        {30, &call_life_player::Advance},      {8, &call_life_player::AnyState},
        {8, &call_life_player::ChangeParties}, {4, &call_life_player::Hangup},
        {14, &call_life_player::End},          {4, &call_life_player::Remove},
        {1, &call_life_player::Forget},        {3, &call_life_player::SayNonsense},
        {2, &call_life_player::ChangeHabits},
    };
    const action& chosen = random.PickWeighted(kActions);
    if (const auto phone = AnyPhone(random); phone != nullptr) {
        (this->*chosen.play)(*phone, random);
    }
}

std::shared_ptr<simulator::softphone> call_life_player::AnyPhone(random_source& random) const {
    const auto place =
        static_cast<std::int32_t>(random.Below(static_cast<std::size_t>(context_.options.lines + kGuests)));
    const std::int32_t guest = place - context_.options.lines;
    return context_.service.FindSoftphone(guest < 0 ? kFirstPhone + place : kFirstGuest + guest);
}

std::string call_life_player::AnyCall(const simulator::softphone& phone, random_source& random) {
    const std::vector<simulator::softphone_call> calls = phone.Calls();
    const std::size_t place = random.Below(calls.size());
    return calls.empty() ? "unknown" : calls[place].client_call_id;
}

simulator::party call_life_player::AnyParty(random_source& random) {
    const char* const number = random.Pick(kNumbers);
    return {number, random.Pick(kNames)};
}

void call_life_player::Ring(simulator::softphone& phone, random_source& random) {
    if (phone.Calls().size() >= kMostCalls) {
        End(phone, random);
        return;
    }
    std::optional<simulator::forwarder> forwarded_by;
    if (random.Chance(30)) {
        forwarded_by.emplace();
        static_cast<simulator::party&>(*forwarded_by) = AnyParty(random);
        forwarded_by->forward_type = random.Pick(kForwardTypes);
    }
    const std::string id = random.Chance(15) ? "again-" + std::to_string(random.Below(kCommonIds)) : "";
    context_.report.calls.Add("rung by softphones");
    (void)phone.Ring(AnyParty(random), forwarded_by, id);
}

void call_life_player::Dial(simulator::softphone& phone, random_source& random) {
    if (phone.Calls().size() >= kMostCalls) {
        End(phone, random);
        return;
    }
    context_.report.calls.Add("dialled by softphones");
    (void)phone.Dial(AnyParty(random));
}

void call_life_player::Advance(simulator::softphone& phone, random_source& random) {
    const std::optional<simulator::softphone_call> call = phone.FindCall(AnyCall(phone, random));
    if (!call) {
        return;
    }
    const std::string& id = call->client_call_id;
    if (call->call_state == "Outgoing") {
        (void)phone.Ringback(id);
    } else if (call->call_state == "Connected" && random.Chance(40)) {
        (void)phone.Park(id);
    } else if (call->call_state == "Connected") {
        (void)phone.End(id, random.Pick(kReasons));
    } else if (call->call_state == "Hangup") {
        (void)phone.Remove(id);
    } else {
        (void)phone.Connect(id);
    }
}

void call_life_player::AnyState(simulator::softphone& phone, random_source& random) {
    const std::string id = AnyCall(phone, random);
    (void)phone.SetState(id, random.Pick(kStates));
}

void call_life_player::ChangeParties(simulator::softphone& phone, random_source& random) {
    const std::string id = AnyCall(phone, random);
    (void)phone.SetParties(id, std::nullopt, AnyParty(random));
}

void call_life_player::Hangup(simulator::softphone& phone, random_source& random) {
    const std::string id = AnyCall(phone, random);
    (void)phone.Hangup(id, random.Pick(kReasons));
}

void call_life_player::End(simulator::softphone& phone, random_source& random) {
    const std::string id = AnyCall(phone, random);
    (void)phone.End(id, random.Pick(kReasons));
}

void call_life_player::Remove(simulator::softphone& phone, random_source& random) {
    (void)phone.Remove(AnyCall(phone, random));
}

void call_life_player::Forget(simulator::softphone& phone, random_source&) {
    // The provider's calls stay up: their softphone has been killed.
    phone.ForgetCalls();
}

void call_life_player::SayNonsense(simulator::softphone&, random_source& random) {
    context_.service.Send(AnyCallStateEvent(random, context_.options.lines));
}

void call_life_player::ChangeHabits(simulator::softphone& phone, random_source& random) {
    static constexpr std::array kOutcomes = {
        simulator::dial_outcome::kRingback, simulator::dial_outcome::kAnswered,
        simulator::dial_outcome::kBusy, simulator::dial_outcome::kUnknown, simulator::dial_outcome::kSilent};
    phone.SetDefaultOutcome(random.Pick(kOutcomes));
    phone.SetAutomatic(random.Chance(80));
}

std::string AnyCallStateEvent(random_source& random, std::int32_t lines) {
    simulator::call_state_event event;
    event.permanent_line_id =
        kFirstPhone + static_cast<std::int32_t>(random.Below(static_cast<std::size_t>(lines) + 2));
    event.client_call_id = "again-" + std::to_string(random.Below(kCommonIds));
    event.call_state = random.Pick(kStates);
    event.is_caller = random.Chance(50);
    event.call_reason = random.Pick(kReasons);
    if (random.Chance(70)) {
        event.peer.emplace();
        event.peer->phone_number = random.Pick(kNumbers);
        event.peer->name = random.Pick(kNames);
    }
    return random.Chance(80) ? simulator::CallStateEvent(event)
                             : simulator::CallRemovedEvent(event.permanent_line_id, event.client_call_id);
}

}  // namespace brivelnox::stress
