// A service that takes the connection and says nothing, and the keep-alive on a connection that lives. In
// real time.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/dll/provider_fixture_helper.h"

namespace brivelnox::test {
namespace {

using simulator::request_kind;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::IsEmpty;

using silent_service = hosted_provider;

TEST_F(silent_service, is_waited_for_20_seconds_and_kept_alive_after_30) {
    AddPhone(1001, "Desk 1001");
    service_.SetListAnswer(simulator::answer_policy::kNever);
    service_.SetKeepAliveAnswer(simulator::answer_policy::kNever);
    StartService();
    const auto begun = steady_clock::now();
    ASSERT_EQ(host_.Start(), 0);
    const auto started = steady_clock::now() - begun;
    EXPECT_GE(started, milliseconds(19900));
    EXPECT_LT(started, milliseconds(22000));
    EXPECT_THAT(host_.Devices(), IsEmpty());

    // What was asked for without waiting may still be answered.
    ASSERT_TRUE(service_.WaitForMessage(
        [](const simulator::received_message& message) {
            return message.text.find("id='1'") != std::string::npos;
        },
        kSoon));
    const std::vector<simulator::received_message> lists =
        service_.Received(request_kind::kGetClientRegistrations);
    ASSERT_EQ(lists.size(), 2u);
    EXPECT_EQ(lists[0].text, "<msg><request id='0'><GetClientRegistrations/></request></msg>");
    EXPECT_EQ(lists[1].text, "<msg><request id='1'><GetClientRegistrations/></request></msg>");
    service_.Send(simulator::RegistrationListResponse(1, service_.Registrations()));
    const auto answering = steady_clock::now();
    ASSERT_TRUE(host_.WaitForDevices(1, kSoon));
    const auto announced = steady_clock::now() - answering;

    log_.Skip();
    const auto alive = service_.WaitForRequest(request_kind::kKeepAlive, milliseconds(20000));
    ASSERT_TRUE(alive);
    const auto kept_alive = alive->time - begun;
    EXPECT_GE(kept_alive, milliseconds(29900));
    EXPECT_LT(kept_alive, milliseconds(33000));
    EXPECT_EQ(alive->text, "<msg><request id='1'><KeepAlive/></request></msg>");
    EXPECT_EQ(alive->connection, 1u);
    EXPECT_EQ(service_.ReceivedCount(), 3u) << "no further list is asked for while the connection lives";
    EXPECT_EQ(log_.Count("RsTspClient", "ReConnect"), 0u);
    EXPECT_EQ(service_.AcceptedCount(), 1u);
    const auto print = [](const char* what, steady_clock::duration figure) {
        std::printf("fault: list that never comes: %s %lld ms\n", what,
                    static_cast<long long>(std::chrono::duration_cast<milliseconds>(figure).count()));
    };
    print("started without lines after", started);
    print("line of a list that comes after all announced after", announced);
    print("kept alive since the start after", kept_alive);
}

}  // namespace
}  // namespace brivelnox::test
