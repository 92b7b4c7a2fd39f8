#include "tests/stress/provider_restarter.h"

#include <algorithm>
#include <string>
#include <vector>

#include "tests/stress/process_figures.h"
#include "tools/telephony_host/names.h"

namespace brivelnox::stress {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using clock = std::chrono::steady_clock;

/// The receive buffer of a link, which is never freed, has at least this size.
constexpr std::uint64_t kKeptBuffer = 2048;
/// From one life that waits for the timer to the next, in the length of such a life.
constexpr int kTimerLifeShare = 2;
constexpr std::size_t kMostBreachesPrinted = 10;

}  // namespace

provider_restarter::provider_restarter(stress_context& context, watched_thread& watched, std::uint64_t stream)
    : context_(context),
      watched_(watched),
      random_(context.options.seed, stream),
      life_random_(random_.Fork()),
      end_(clock::now() + context.options.duration),
      // At once: what the runtimes take when threads first meet is there before growth is looked for.
      next_timer_life_(clock::now()),
      timer_lives_(random_.Below(kTimerLives.size())) {}

bool provider_restarter::Over() const {
    return clock::now() >= end_ || context_.report.Failed();
}

void provider_restarter::Run() {
    context_.service.Start();
    context_.service.Publish();
    LookAtWhatIsLeft();
    while (!Over()) {
        Live(NextKind());
    }
    context_.gate.Open(phase::kDone);
}

provider_restarter::life provider_restarter::NextKind() {
    const auto now = clock::now();
    if (now < next_timer_life_ || now + context_.options.timer_life > end_) {
        return life::kUsual;
    }
    next_timer_life_ = now + kTimerLifeShare * context_.options.timer_life;
    return kTimerLives[timer_lives_++ % kTimerLives.size()];
}

void provider_restarter::Live(life kind) {
    ++lives_;
    life_random_ = random_.Fork();
    Prepare(kind);
    context_.gate.Open(phase::kStarting);
    const bool started = Start(kind);
    context_.gate.Open(phase::kRunning);
    if (started) {
        OpenLines();
        if (kind == life::kUsual) {
            UsualLife();
        } else {
            WaitForTimer(kind);
            UsualLife();
        }
        if (life_random_.Chance(30)) {
            CloseInGoodOrder();
        }
        ShutDown();
    }
    {
        const milliseconds bound = context_.Patiently(kRequestBound + kSimulatorBound);
        const watched_step step(watched_, "(waiting for the other threads)", bound + kMargin);
        if (!context_.gate.Park(bound)) {
            context_.report.Fail("a thread does not come to the end of what it is doing");
        }
    }
    LookAtWhatIsLeft();
}

void provider_restarter::Prepare(life kind) {
    const watched_step step(watched_, "(preparing the service)", context_.Patiently(kSimulatorBound));
    auto& service = context_.service;
    service.SetListAnswer(kind == life::kSilent ? simulator::answer_policy::kNever
                                                : simulator::answer_policy::kAtOnce);
    context_.steady = kind != life::kUsual;
    switch (kind) {
        case life::kServiceAway:
            service.StopListening();
            break;
        case life::kNotPublished:
            service.Unpublish();
            break;
        case life::kNotRunningYet:
            service.Publication().Write(0, service.Port());
            break;
        default:
            break;
    }
    for (std::int32_t i = 0; i < context_.options.lines; ++i) {
        (void)service.AddSoftphone(RegistrationOf(kFirstPhone + i), simulator::announcement::kSilent);
    }
}

bool provider_restarter::Start(life kind) {
    const std::size_t accepted = context_.service.AcceptedCount();
    watched_.Begin("TSPI_providerEnumDevices, TSPI_providerInit", context_.Patiently(kStartBound + kMargin));
    const LONG result = context_.host.Start();
    const milliseconds time = watched_.End();
    context_.report.starts.Add(time);
    if (kind == life::kServiceAway) {
        ++refused_connects_;
        context_.report.kept.Add("sockets of refused connects");
    }
    if (result != 0) {
        context_.report.Fail("the provider does not start: " + host::ResultName(result));
        return false;
    }
    // An unsolicited drop is not made during a start: a usual one has a connection and all its lines.
    if (kind == life::kUsual && context_.service.AcceptedCount() == accepted) {
        context_.report.Fail("a start made no connection");
    }
    return true;
}

void provider_restarter::OpenLines() {
    for (const host::line_device& device : context_.host.Devices()) {
        if (!life_random_.Chance(75)) {
            continue;
        }
        const watched_step step(watched_, "TSPI_lineOpen", context_.Patiently(kRequestBound + kMargin));
        if (HTAPILINE const line = context_.host.OpenLine(device.device_id); line != nullptr) {
            context_.board.AddLine(line);
        }
    }
}

void provider_restarter::UsualLife() {
    const watched_step step(watched_, "(letting it live)", context_.Patiently(kSimulatorBound));
    context_.steady = false;
    // Some end as soon as they have begun.
    const milliseconds length(life_random_.Chance(15) ? life_random_.Between(0, 20)
                                                      : life_random_.Between(300, 3000));
    const milliseconds alone(life_random_.Between(50, 700));
    const auto begun = clock::now();
    auto lost = clock::time_point::max();
    for (auto now = begun; now < begun + length; now = clock::now()) {
        context_.gate.Pause(milliseconds(20));
        // A life without a connection has little to show.
        lost = context_.service.OpenCount() != 0 ? clock::time_point::max() : std::min(lost, now);
        if (lost != clock::time_point::max() && now > lost + alone) {
            return;
        }
    }
}

/// What the provider cannot know before its timer tells it.
void provider_restarter::ChangeService(life kind) {
    auto& service = context_.service;
    const watched_step step(watched_, "(changing the service)", context_.Patiently(kSimulatorBound));
    context_.gate.Pause(milliseconds(life_random_.Between(100, 2000)));
    service.SetListAnswer(simulator::answer_policy::kAtOnce);
    if (kind == life::kServiceAway) {
        service.Start();
    } else if (kind == life::kServiceMoved) {
        service.Restart();
    } else if (kind == life::kConnectionLost) {
        service.DropConnectionsNow(life_random_.Chance(50) ? simulator::drop_kind::kGraceful
                                                           : simulator::drop_kind::kReset);
    }
    service.Publish();
}

void provider_restarter::WaitForTimer(life kind) {
    auto& service = context_.service;
    const std::size_t accepted = service.AcceptedCount();
    ChangeService(kind);
    const milliseconds bound = context_.Patiently(kReconnectBound + kMargin);
    const watched_step step(watched_, "(waiting for the timer)", bound + kMargin);
    bool came = false;
    if (kind == life::kSilent) {
        came = service.WaitForRequest(simulator::request_kind::kKeepAlive, bound, service.ReceivedCount())
                   .has_value();
    } else {
        came = service.WaitForConnection(bound, accepted + 1);
    }
    if (!came) {
        context_.report.Fail("the provider's timer neither kept the connection alive nor made a new one");
        return;
    }
    context_.report.Note(kind == life::kSilent ? "the timer has sent its keep-alive"
                                               : "the timer has connected again");
    const auto lines = static_cast<std::size_t>(context_.options.lines);
    if (!context_.host.WaitForDevices(lines, context_.Patiently(kMargin))) {
        context_.report.Fail("the lines were not announced after the new connection");
    }
    OpenLines();
}

void provider_restarter::CloseInGoodOrder() {
    // While the applications go on.
    for (HTAPICALL const call : context_.board.Calls()) {
        const watched_step step(watched_, "TSPI_lineCloseCall", context_.Patiently(kRequestBound + kMargin));
        context_.board.RemoveCall(call);
        (void)context_.host.CloseCall(call);
    }
    for (HTAPILINE const line : context_.board.Lines()) {
        const watched_step step(watched_, "TSPI_lineClose", context_.Patiently(kRequestBound + kMargin));
        context_.board.RemoveLine(line);
        (void)context_.host.CloseLine(line);
    }
}

void provider_restarter::ShutDown() {
    const milliseconds bound = context_.Patiently(kShutdownBound);
    watched_.Begin("TSPI_providerShutdown", bound + kMargin);
    const LONG result = context_.host.Shutdown();
    const milliseconds time = watched_.End();
    context_.report.shutdowns.Add(time);
    if (result != 0) {
        context_.report.Fail("shutdown returned " + host::ResultName(result));
    }
    if (time > bound) {
        context_.report.Fail("shutdown took " + std::to_string(time.count()) + " ms, its bound is " +
                             std::to_string(bound.count()) + " ms");
    }
}

void provider_restarter::LookAtWhatIsLeft() {
    const watched_step step(watched_, "(looking at what is left)", context_.Patiently(kSimulatorBound));
    auto& checker = context_.host.Checker();
    auto& report = context_.report;
    context_.board.Clear();
    if (!context_.service.WaitForNoConnection(context_.Patiently(kMargin))) {
        report.Fail("a connection outlived the provider's shutdown");
    }
    context_.service.ForgetClosedConnections();
    if (const std::size_t open = checker.OutstandingRequests(); open != 0) {
        report.Fail(std::to_string(open) + " requests were never completed");
    }
    if (const std::size_t stray = host::telephony_host::StrayCallbacks(); stray != 0) {
        report.Fail(std::to_string(stray) + " callbacks reached no host");
    }
    const std::vector<std::string> breaches = checker.Breaches();
    for (std::size_t i = known_breaches_; i < std::min(breaches.size(), kMostBreachesPrinted); ++i) {
        report.Fail("life " + std::to_string(lives_) + ": contract breach: " + breaches[i]);
    }
    known_breaches_ = breaches.size();
    if (!report.Failed()) {
        LimitProviderLog();
    }
    const process_figures figures = TakeFigures();
    const std::size_t kept = context_.service.AcceptedCount() + refused_connects_;
    report.AddSample({report.Seconds(), figures.handles, kept, figures.private_bytes, lives_ * kKeptBuffer});
}

}  // namespace brivelnox::stress
