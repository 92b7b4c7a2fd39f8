#include "tests/benchmark/event_acts.h"

#include "tests/support/loopback_service.h"
#include "tools/service_simulator/service_messages.h"

namespace brivelnox::benchmark {

namespace {

event_act State(std::uint32_t line, const std::string& call, const char* state, std::size_t told) {
    simulator::call_state_event event;
    event.permanent_line_id = static_cast<std::int32_t>(line);
    event.client_call_id = call;
    event.call_state = state;
    event.self = simulator::party{"1001", "Desk 1001"};
    event.peer = simulator::party{"+49304711", "Anna Beispiel"};
    return {simulator::CallStateEvent(event), 1, told};
}

}  // namespace

event_act& event_act::operator+=(const event_act& next) {
    messages += next.messages;
    count += next.count;
    told += next.told;
    return *this;
}

event_act Registered(std::uint32_t line) {
    const auto id = static_cast<std::int32_t>(line);
    return {test::RegistrationChanged("registered",
                                      test::RegistrationElement(id, "Desk " + std::to_string(line))),
            1, 1};
}

event_act Ringing(std::uint32_t line, const std::string& call) {
    return State(line, call, "Ringing", 4);  // the call, OFFERING, the parties, ACCEPTED
}

event_act Answered(std::uint32_t line, const std::string& call) {
    return State(line, call, "Connected", 1);
}

event_act Parked(std::uint32_t line, const std::string& call) {
    return State(line, call, "Parked", 1);
}

event_act Resumed(std::uint32_t line, const std::string& call) {
    return State(line, call, "Connected", 2);
}

event_act Removed(std::uint32_t line, const std::string& call) {
    return {simulator::CallRemovedEvent(static_cast<std::int32_t>(line), call), 1, 2};  // DISCONNECTED, IDLE
}

}  // namespace brivelnox::benchmark
