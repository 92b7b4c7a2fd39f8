#include "tests/stress/fault_injector.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <string_view>
#include <system_error>
#include <vector>

#include "tests/stress/call_life_player.h"

namespace brivelnox::stress {

namespace {

using std::chrono::milliseconds;

constexpr std::int32_t kShortestPause = 15;
constexpr std::int32_t kLongestPause = 120;

// None of these is a message, most look like one.
constexpr std::array<std::string_view, 16> kMalformed = {
    "<msg></msg>",
    "<msg><event></event></msg>",
    "<msg><event><CallState</event></msg>",
    "<msg><event><CallState permanentLineId='1001' clientCallId='again-1' callState='Ringing'></event></msg>",
    "<msg><event><CallState permanentLineId='99999999999999' callState='Connected'/></event></msg>",
    "<msg><event><CallState/></event></msg>",
    "<msg><event><CallRemoved/></event></msg>",
    "<msg><event><RegistrationChanged reason='registered'/></event></msg>",
    "<msg><event><RegistrationChanged><Registration/></RegistrationChanged></event></msg>",
    "<msg><response id='0'><KeepAlive/></response></msg>",
    "<msg><response id='-5'><Unknown/></response></msg>",
    "<msg>text only</msg>",
    "</msg>",
    "<msg><msg></msg>",
    "<msg><!-- <event/> --></msg>",
    "stray bytes outside of any message",
};

}  // namespace

fault_injector::fault_injector(stress_context& context, watched_thread& watched, std::uint64_t stream)
    : context_(context), watched_(watched), random_(context.options.seed, stream) {}

std::span<const fault_injector::fault> fault_injector::OnMessages() {
    static constexpr fault kFaults[] = {
        {"split messages", 14, &fault_injector::Split},
        {"merged messages", 14, &fault_injector::Merge},
        {"malformed message", 10, &fault_injector::Malformed},
        {"malformed among good ones", 8, &fault_injector::MalformedAmongGood},
        {"unfinished message", 2, &fault_injector::Endless},
        {"garbage", 4, &fault_injector::Garbage},
        {"list that nobody asked for", 5, &fault_injector::UnaskedList},
        {"slow answers", 3, &fault_injector::SlowAnswers},
        {"guest comes or goes", 10, &fault_injector::GuestComesOrGoes},
        {"softphone goes and comes", 6, &fault_injector::PhoneGoesAndComes},
        {"softphone changes", 8, &fault_injector::PhoneChanges},
        {"change without sense", 2, &fault_injector::UnknownChange},
    };
    return kFaults;
}

std::span<const fault_injector::fault> fault_injector::OnConnections() {
    static constexpr fault kFaults[] = {
        {"connection dropped", 4, &fault_injector::Drop},
        {"dropped behind messages", 2, &fault_injector::DropBehindMessages},
        {"dropped inside a message", 2, &fault_injector::DropInsideMessage},
        {"service stops reading", 3, &fault_injector::StopReading},
        {"service back on its port", 2, &fault_injector::BackOnSamePort},
        {"service back on another port", 3, &fault_injector::BackOnOtherPort},
        {"registry key goes and comes", 1, &fault_injector::RegistryComesAndGoes},
    };
    return kFaults;
}

void fault_injector::Run() {
    for (phase now = context_.gate.Pass(); now != phase::kDone; now = context_.gate.Pass()) {
        random_source order = random_.Fork();
        // While the provider waits for its first list a lost connection costs it the whole wait.
        const bool wanted = order.Chance(9);
        const bool connections = wanted && now == phase::kRunning && !context_.steady;
        Inject(connections ? OnConnections() : OnMessages(), order);
        context_.gate.Pause(milliseconds(random_.Between(kShortestPause, kLongestPause)));
    }
    context_.gate.Leave();
}

void fault_injector::Inject(std::span<const fault> faults, random_source& random) {
    const fault& chosen = random.PickWeighted(faults);
    context_.report.faults.Add(chosen.name);
    const watched_step step(watched_, chosen.name, context_.Patiently(kSimulatorBound));
    (this->*chosen.inject)(random);
}

std::int32_t fault_injector::AnyPhoneId(random_source& random) const {
    return kFirstPhone +
           static_cast<std::int32_t>(random.Below(static_cast<std::size_t>(context_.options.lines)));
}

std::string fault_injector::SomeMessages(random_source& random) const {
    std::string text;
    for (std::int32_t left = random.Between(2, 12); left > 0; --left) {
        text += AnyCallStateEvent(random, context_.options.lines);
    }
    return text;
}

void fault_injector::Split(random_source& random) {
    std::vector<std::size_t> sizes;
    for (std::int32_t left = random.Between(1, 6); left > 0; --left) {
        sizes.push_back(static_cast<std::size_t>(random.Between(1, random.Chance(50) ? 9 : 300)));
    }
    // A single last byte at a time would make thousands of sends.
    sizes.push_back(200);
    context_.service.SendSplit(SomeMessages(random), sizes, milliseconds(random.Below(3)));
}

void fault_injector::Merge(random_source& random) {
    context_.service.Send(SomeMessages(random));
}

void fault_injector::Malformed(random_source& random) {
    context_.service.Send(std::string(random.Pick(kMalformed)));
}

void fault_injector::MalformedAmongGood(random_source& random) {
    std::string text = SomeMessages(random);
    text += random.Pick(kMalformed);
    if (random.Chance(30)) {
        text += '\0';
    }
    context_.service.Send(text + SomeMessages(random));
}

void fault_injector::Endless(random_source& random) {
    context_.service.SendEndless(static_cast<std::size_t>(random.Between(1, 8000)));
    if (random.Chance(70)) {
        context_.service.Send("</msg>");
    }
}

void fault_injector::Garbage(random_source& random) {
    const auto size = static_cast<std::size_t>(random.Between(1, 3000));
    context_.service.SendGarbage(size, random.Below(1000));
}

void fault_injector::UnaskedList(random_source& random) {
    context_.service.Send(
        simulator::RegistrationListResponse(random.Between(1, 5), context_.service.Registrations()));
}

void fault_injector::SlowAnswers(random_source& random) {
    context_.service.SetListAnswer(simulator::answer_policy::kAtOnce, milliseconds(random.Between(0, 300)));
    context_.service.SetKeepAliveAnswer(random.Chance(80) ? simulator::answer_policy::kAtOnce
                                                          : simulator::answer_policy::kNever);
}

void fault_injector::GuestComesOrGoes(random_source& random) {
    const std::int32_t guest = kFirstGuest + random.Between(0, kGuests - 1);
    const auto how = random.Chance(90) ? simulator::announcement::kEvent : simulator::announcement::kSilent;
    if (!context_.service.RemoveSoftphone(guest, how)) {
        (void)context_.service.AddSoftphone(RegistrationOf(guest), how);
    }
}

void fault_injector::PhoneGoesAndComes(random_source& random) {
    const std::int32_t phone = AnyPhoneId(random);
    (void)context_.service.RemoveSoftphone(phone);
    if (random.Chance(50)) {
        context_.service.Send(SomeMessages(random));
    }
    (void)context_.service.AddSoftphone(RegistrationOf(phone));
}

void fault_injector::PhoneChanges(random_source& random) {
    simulator::registration subject = RegistrationOf(AnyPhoneId(random));
    subject.tcp_port = random.Chance(20) ? 0 : 5070 + random.Below(4);
    subject.client_connected = random.Chance(80);
    subject.sip_connected = random.Chance(80);
    static constexpr std::array kChanges = {
        simulator::registration_change::kRegistered, simulator::registration_change::kRefreshed,
        simulator::registration_change::kRefreshed, simulator::registration_change::kUnregistered};
    (void)context_.service.ChangeSoftphone(subject, random.Pick(kChanges));
}

void fault_injector::UnknownChange(random_source& random) {
    context_.service.Send(simulator::RegistrationChangedEvent("moved", RegistrationOf(AnyPhoneId(random))));
}

void fault_injector::Drop(random_source& random) {
    context_.service.DropConnectionsNow(random.Chance(50) ? simulator::drop_kind::kGraceful
                                                          : simulator::drop_kind::kReset);
}

void fault_injector::DropBehindMessages(random_source& random) {
    context_.service.Send(SomeMessages(random));
    context_.service.DropConnections(random.Chance(50) ? simulator::drop_kind::kGraceful
                                                       : simulator::drop_kind::kReset);
}

void fault_injector::DropInsideMessage(random_source& random) {
    const std::string messages = SomeMessages(random);
    context_.service.Send(messages.substr(0, random.Below(messages.size())));
    context_.service.DropConnections(simulator::drop_kind::kGraceful);
}

void fault_injector::StopReading(random_source& random) {
    context_.service.PauseReading();
    context_.gate.Pause(milliseconds(random.Between(20, 300)));
    context_.service.ResumeReading();
}

void fault_injector::BackOnSamePort(random_source& random) {
    const std::uint16_t port = context_.service.Port();
    context_.service.Stop();
    context_.gate.Pause(milliseconds(random.Between(0, 100)));
    try {
        context_.service.Start(port);
    } catch (const std::system_error&) {
        // Somebody else has the port now.
        context_.service.Start();
        context_.service.Publish();
    }
}

void fault_injector::BackOnOtherPort(random_source& random) {
    if (random.Chance(50)) {
        // Its connections go on.
        context_.service.StopListening();
        context_.gate.Pause(milliseconds(random.Between(0, 100)));
        context_.service.Start();
        context_.service.Publish();
        return;
    }
    context_.service.Restart();
}

void fault_injector::RegistryComesAndGoes(random_source& random) {
    context_.service.Unpublish();
    context_.gate.Pause(milliseconds(random.Between(0, 50)));
    context_.service.Publish();
}

}  // namespace brivelnox::stress
