// A service that is not there when the provider starts, each for another reason, and what becomes of it when
// it comes. In real time.

#include <winsock2.h>
#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstdint>
#include <optional>
#include <string>

#include "tests/faults/fault_fixture_helper.h"
#include "tests/faults/other_program_helper.h"

namespace brivelnox::test {
namespace {

constexpr std::int32_t kPhone = 1001;
constexpr char kClient[] = "RsTspClient";
constexpr char kNoKey[] = "Could not open SOFTWARE\\Brivelnox\\TspRegistryService";

using service_not_installed = missing_service;

TEST_F(service_not_installed, is_waited_for_at_the_start_and_looked_for_with_every_tick) {
    const milliseconds started = StartWithoutList();
    EXPECT_EQ(log_.Count(kClient, kNoKey), 1u);

    // The application finds no device, and asking for one does no harm.
    LONG opened = -1;
    EXPECT_EQ(host_.OpenLine(host_.Options().device_id_base, &opened), nullptr);
    EXPECT_EQ(opened, 0);
    EXPECT_EQ(host_.GetDevCaps(host_.Options().device_id_base), std::nullopt);

    ASSERT_TRUE(log_.WaitFor(kClient, kNoKey, kTickAtMost, 2));
    const milliseconds ticked = SinceStart();
    EXPECT_GE(ticked, kTickAtLeast);
    EXPECT_LT(ticked, kTickAtMost);
    EXPECT_EQ(log_.Count(kClient, "ReConnect"), 1u);
    const stopwatch stopping;
    EXPECT_EQ(host_.Shutdown(), 0);
    EXPECT_LT(stopping.Elapsed(), kAtOnce);
    PrintFigure("service not installed", "started without lines after", started);
    PrintFigure("service not installed", "looked for again after", ticked);
    PrintFigure("service not installed", "shut down after", stopping.Elapsed());
}

using service_key_that_appears_later = missing_service;

TEST_F(service_key_that_appears_later, is_found_by_the_timer) {
    AddPhone(kPhone, "Desk 1001");
    const milliseconds started = StartWithoutList();
    EXPECT_EQ(log_.Count(kClient, kNoKey), 1u);
    StartService();
    const stopwatch since_there;
    const milliseconds came = LineComesWithTheTick(kPhone);
    PrintStart("registry key that appears later", started, came);
    PrintFigure("registry key that appears later", "since the key was there", since_there.Elapsed());
}

using service_without_a_port = missing_service;

TEST_F(service_without_a_port, is_connected_by_the_timer_once_it_has_one) {
    AddPhone(kPhone, "Desk 1001");
    service_.Start();
    service_.Publication().Write(1, 0);
    const milliseconds started = StartWithoutList();
    EXPECT_EQ(log_.Count(kClient, "Registry service listening port not known"), 1u);
    EXPECT_EQ(service_.AcceptedCount(), 0u);
    service_.Publish();
    const milliseconds came = LineComesWithTheTick(kPhone);
    PrintStart("port 0", started, came);
}

using service_port_refused = missing_service;

TEST_F(service_port_refused, is_tried_again_by_the_timer) {
    AddPhone(kPhone, "Desk 1001");
    const std::uint16_t nobody = PortOfNobody();
    service_.Publication().Write(1, nobody);
    const milliseconds started = StartWithoutList();
    EXPECT_EQ(log_.Count(kClient, Text("Connect to port %d", static_cast<int>(nobody))), 1u);
    StartService();
    const milliseconds came = LineComesWithTheTick(kPhone);
    EXPECT_EQ(service_.AcceptedCount(), 1u);
    PrintStart("port refused", started, came);
}

/// Fixture: the port that the registry names belongs to another program.
class foreign_port : public missing_service {
  protected:
    /// The provider meets the other program at its start, and the service has its port again before the first
    /// tick.
    void PlayWith(const std::string& row, other_program& stranger) {
        AddPhone(kPhone, "Desk 1001");
        service_.Publication().Write(1, stranger.Port());
        const milliseconds started = StartWithoutList();
        EXPECT_EQ(stranger.Accepted(), 1);
        StartService();
        const milliseconds came = LineComesWithTheTick(kPhone);
        EXPECT_EQ(stranger.Accepted(), 1);
        PrintStart(row, started, came);
    }
};

using another_program_that_answers = foreign_port;

TEST_F(another_program_that_answers, in_its_own_language_is_not_understood_and_left_when_it_hangs_up) {
    other_program web_server([](SOCKET connection) {
        const std::string asked = ReceiveSome(connection);
        EXPECT_EQ(asked, "<msg><request id='0'><GetClientRegistrations/></request></msg>");
        SendAll(connection,
                "HTTP/1.1 400 Bad Request\r\nContent-Type: text/html\r\nConnection: close\r\n\r\n"
                "<html><head><title>400</title></head><body>Bad Request</body></html>\r\n");
    });
    PlayWith("another program answers", web_server);
    EXPECT_EQ(log_.Count("TcpLink", "No start tag"), 1u);
}

using another_program_that_stays = foreign_port;

TEST_F(another_program_that_stays, is_kept_alive_and_left_when_it_hangs_up) {
    signal kept_alive;
    other_program patient([&](SOCKET connection) {
        std::string asked;
        do {
            asked = ReceiveSome(connection);
        } while (!asked.empty() && asked.find("<KeepAlive/>") == std::string::npos);
        kept_alive.Set();
    });
    AddPhone(kPhone, "Desk 1001");
    service_.Publication().Write(1, patient.Port());
    (void)StartWithoutList();
    // The registry names the service again, but the provider has a connection.
    StartService();
    ASSERT_TRUE(kept_alive.Wait(kTickAtMost));
    const milliseconds alive = SinceStart();
    EXPECT_GE(alive, kTickAtLeast);
    EXPECT_EQ(service_.AcceptedCount(), 0u);
    EXPECT_THAT(host_.Devices(), testing::IsEmpty());

    ASSERT_TRUE(host_.WaitForDevices(1, kTickAtMost));
    const milliseconds came = SinceStart();
    EXPECT_GE(came, 2 * kTickAtLeast);
    EXPECT_LT(came, 2 * kTickAtMost);
    EXPECT_EQ(patient.Accepted(), 1);
    EXPECT_EQ(log_.Count(kClient, "ReConnect"), 1u);
    ExpectWorkingLine(host_.Devices().at(0).device_id, kPhone);
    PrintFigure("another program stays", "kept alive since the start after", alive);
    PrintFigure("another program stays", "line announced since the start after", came);
}

using another_program_that_hangs_up = foreign_port;

TEST_F(another_program_that_hangs_up, at_once_is_a_connection_lost_like_any_other) {
    other_program rude([](SOCKET) {});
    PlayWith("another program hangs up", rude);
    EXPECT_THAT(log_.Texts("TcpLink"), testing::IsEmpty());
}

}  // namespace
}  // namespace brivelnox::test
