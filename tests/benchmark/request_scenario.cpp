#include "tests/benchmark/request_scenario.h"

#include <stdexcept>

#include "tests/benchmark/event_acts.h"
#include "tests/support/signal.h"

namespace brivelnox::benchmark {

request_scenario::request_scenario(const host::provider_module& provider, request requested)
    : requested_(requested), stage_(provider, 1), sends_(provider.Module()) {
    stage_.UseInstantFiles(true);
    stage_.StartProvider();
    line_ = stage_.Provider().Open(1);
    event_act connected = Ringing(1, kCall);
    connected += Answered(1, kCall);
    (void)stage_.Play(connected);
    stage_.StartFloor(kNoLines);
    Expect();
    script_ = stage_.Rehearse(sends_.Sent(), [this] { Request(); });
    CleanUp();
}

/// Whatever TAPI is told, it is told before the request returns: nothing has to be waited for.
void request_scenario::Expect() {
    stage_.Told().ExpectAny();
    sends_.Expect();
}

void request_scenario::Request() {
    if (requested_ == request::hold) {
        stage_.Provider().Hold(stage_.Provider().LastNewCall());
    } else {
        call_ = stage_.Provider().MakeCall(line_);
    }
}

/// A call that has been placed goes. One that is to be held stays as it is: the softphone has not answered.
void request_scenario::CleanUp() {
    if (requested_ == request::make_call) {
        stage_.Provider().Close(call_);
    }
    Await(stage_.ProviderService(), ++provider_requests_);
}

/// Until the service has nothing left to do, which would count for what is measured next.
void request_scenario::Await(const test::loopback_service& service, std::size_t requests) {
    if (!service.WaitForRequests(requests, test::kSoon)) {
        throw std::runtime_error("a request has not arrived");
    }
}

sample request_scenario::Provider() {
    Expect();
    const time_point begun = benchmark_clock::now();
    Request();
    const time_point returned = benchmark_clock::now();
    CleanUp();
    return {Microseconds(begun, sends_.Sent().First()), Microseconds(begun, returned)};
}

sample request_scenario::Floor() {
    const time_point begun = benchmark_clock::now();
    stage_.Floor().Append(script_, 0, script_.moments.front());
    const time_point sent = benchmark_clock::now();
    stage_.Floor().Send(sends_.Text());
    stage_.Floor().Append(script_, script_.moments.front(), script_.lines.size());
    const time_point returned = benchmark_clock::now();
    Await(stage_.FloorService(), ++floor_requests_);
    return {Microseconds(begun, sent), Microseconds(begun, returned)};
}

}  // namespace brivelnox::benchmark
