// A service that talks before the provider has got its first list.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "tests/dll/provider_fixture_helper.h"

namespace brivelnox::test {
namespace {

using simulator::request_kind;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

class early_messages : public hosted_provider {
  protected:
    void SetUp() override {
        AddPhone(1001, "Desk 1001");
        AddPhone(1002, "Desk 1002");
        StartService();
    }

    std::string CallEvent(const std::string& state) const {
        simulator::call_state_event event;
        event.permanent_line_id = 1001;
        event.client_call_id = "running-1";
        event.call_state = state;
        return simulator::CallStateEvent(event);
    }

    /// Starts the provider while the service sends these messages before it answers the first list request by
    /// itself. Returns how long starting took.
    milliseconds StartWithEarly(const std::string& messages) {
        service_.SetListAnswer(simulator::answer_policy::kOnDemand);
        std::thread service([&] {
            (void)service_.WaitForRequest(request_kind::kGetClientRegistrations, kSoon);
            service_.Send(messages);
            service_.SetListAnswer(simulator::answer_policy::kAtOnce);
            (void)service_.AnswerPending();
        });
        const auto begun = steady_clock::now();
        EXPECT_EQ(host_.Start(), 0);
        const auto elapsed = std::chrono::duration_cast<milliseconds>(steady_clock::now() - begun);
        service.join();
        return elapsed;
    }
};

TEST_F(early_messages, with_a_fast_service_the_lines_are_there_at_once) {
    const auto begun = steady_clock::now();
    ASSERT_EQ(host_.Start(), 0);
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::microseconds>(steady_clock::now() - begun).count();
    EXPECT_EQ(host_.Devices().size(), 2u);
    EXPECT_LT(elapsed, 2000000);
    std::printf("enumerated and initialised with 2 lines in %lld us\n", static_cast<long long>(elapsed));
}

TEST_F(early_messages, about_calls_in_progress_do_not_delay_the_start) {
    const milliseconds elapsed = StartWithEarly(CallEvent("Connected") + CallEvent("Parked"));
    EXPECT_LT(elapsed, milliseconds(5000));
    EXPECT_EQ(host_.Devices().size(), 2u);
    // Nobody knew the line yet; the call is met with its next event.
    HTAPILINE const line = host_.OpenLine(host_.Devices().at(0).device_id);
    service_.Send(CallEvent("Connected"));
    HTAPICALL const call = host_.WaitForNewCall(line, kSoon);
    ASSERT_NE(call, nullptr);
    EXPECT_TRUE(host_.WaitForCallState(call, LINECALLSTATE_CONNECTED, kSoon));
    ASSERT_TRUE(Settled(1001));
}

TEST_F(early_messages, about_changed_softphones_cause_exactly_one_further_list_request) {
    simulator::registration late;
    late.permanent_line_id = 1003;
    late.tapi_line_name = "Desk 1003";
    const std::string changed =
        simulator::RegistrationChangedEvent(simulator::registration_change::kRegistered, late);
    const milliseconds elapsed = StartWithEarly(changed + changed);
    EXPECT_LT(elapsed, milliseconds(5000));
    EXPECT_EQ(host_.Devices().size(), 2u);
    EXPECT_EQ(log_.Count("LineManager", "Client registration changed before receiving complete list"), 2u);
    const auto again = service_.WaitForRequest(request_kind::kGetClientRegistrations, kSoon, 1);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->parsed.id, 1);
    ASSERT_TRUE(Settled(1001));
    EXPECT_EQ(service_.Received(request_kind::kGetClientRegistrations).size(), 2u);
    // The event itself has changed nothing; a later one does.
    EXPECT_EQ(log_.Count("LineManager", "Create new line"), 2u);
    service_.Send(changed);
    ASSERT_TRUE(host_.WaitForDevices(3, kSoon));
}

TEST_F(early_messages, in_one_piece_with_the_first_list_are_no_trouble) {
    service_.SetListAnswer(simulator::answer_policy::kNever);
    std::thread service([&] {
        (void)service_.WaitForRequest(request_kind::kGetClientRegistrations, kSoon);
        service_.Send(CallEvent("Connected") +
                      simulator::RegistrationListResponse(0, service_.Registrations()) +
                      CallEvent("Connected"));
    });
    const auto begun = steady_clock::now();
    EXPECT_EQ(host_.Start(), 0);
    EXPECT_LT(steady_clock::now() - begun, milliseconds(5000));
    service.join();
    EXPECT_EQ(host_.Devices().size(), 2u);
}

}  // namespace
}  // namespace brivelnox::test
