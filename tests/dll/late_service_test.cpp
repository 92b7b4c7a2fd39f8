// A service that is not there when the provider starts: the wait for the list, and the timer that connects
// later. In real time.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <chrono>
#include <cstdio>

#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using simulator::request_kind;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::IsEmpty;

milliseconds Since(steady_clock::time_point begun) {
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - begun);
}

using late_service = hosted_provider;

TEST_F(late_service, is_waited_for_20_seconds_and_connected_by_the_timer_after_30) {
    AddPhone(1001, "Desk 1001");
    AddPhone(1002, "Desk 1002");
    service_.Start();
    service_.Publication().Write(0, service_.Port());

    log_.Skip();
    const auto begun = steady_clock::now();
    ASSERT_EQ(host_.Start(), 0);
    const milliseconds started = Since(begun);
    EXPECT_GE(started, milliseconds(19900));
    EXPECT_LT(started, milliseconds(22000));
    EXPECT_THAT(host_.Devices(), IsEmpty());
    EXPECT_EQ(log_.Count("RsTspClient", "Registry service not yet running"), 1u);
    EXPECT_EQ(log_.Count(kManagerCategory, "Initial line count: 0"), 1u);
    EXPECT_EQ(service_.AcceptedCount(), 0u);

    service_.Publish();
    ASSERT_TRUE(host_.WaitForDevices(2, milliseconds(20000)));
    const milliseconds connected = Since(begun);
    EXPECT_GE(connected, milliseconds(29900));
    EXPECT_LT(connected, milliseconds(33000));
    EXPECT_EQ(log_.Count("RsTspClient", "ReConnect"), 1u);
    EXPECT_EQ(log_.Count("RsTspClient", Text("Connect to port %d", static_cast<int>(service_.Port()))), 1u);
    // The two requests before it were lost: the one that waited, and the one that followed its empty list.
    const auto list = service_.WaitForRequest(request_kind::kGetClientRegistrations, kSoon);
    ASSERT_TRUE(list);
    EXPECT_EQ(list->text, "<msg><request id='2'><GetClientRegistrations/></request></msg>");
    EXPECT_EQ(list->index, 0u);

    // They are lines like any others.
    ASSERT_EQ(host_.Devices()[0].temporary, host_.Options().device_id_base);
    HTAPILINE const line = host_.OpenLine(host_.Devices()[0].device_id);
    ASSERT_NE(line, nullptr);
    EXPECT_EQ(Found(host_.GetDevCaps(host_.Devices()[0].device_id))->line_name, L"Desk 1001");
    EXPECT_TRUE(host_.MakeCall(line, L"4711").Accepted());
    std::printf("fault: service not running: started without lines after %lld ms\n",
                static_cast<long long>(started.count()));
    std::printf("fault: service not running: lines announced since the start after %lld ms\n",
                static_cast<long long>(connected.count()));
}

}  // namespace
}  // namespace brivelnox::test
