// A connection that worked and is lost, each time in another way, with calls on it. In real time.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>

#include "tests/faults/fault_fixture_helper.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;

constexpr DWORD kOffering = LINECALLSTATE_OFFERING;
constexpr DWORD kAccepted = LINECALLSTATE_ACCEPTED;
constexpr DWORD kConnected = LINECALLSTATE_CONNECTED;

using connection_reset = lost_connection;

TEST_F(connection_reset, leaves_lines_and_calls_and_is_mended_by_the_timer) {
    HTAPICALL const dropped = ConnectedCall("dropped");
    HTAPICALL const kept = ConnectedCall("kept");
    const std::uint64_t mark = host_.Mark();
    service_.DropConnectionsNow(simulator::drop_kind::kReset);
    ASSERT_TRUE(service_.WaitForNoConnection(kSoon));
    const stopwatch lost;

    const milliseconds request = CallAndDrop();
    EXPECT_LT(request, kAtOnce);
    // The user's own end of a call is told at once, although nobody hears of it.
    EXPECT_TRUE(host_.Drop(dropped).Accepted());
    EXPECT_TRUE(Becomes(dropped, LINECALLSTATE_IDLE));
    EXPECT_THAT(host_.States(kept), ElementsAre(kOffering, kAccepted, kConnected));

    const milliseconds came = ConnectsWithTheTick();
    ASSERT_TRUE(Settled(kPhone));
    PrintFigure("connection reset", "a call made and dropped meanwhile took", request);
    PrintFigure("connection reset", "connected again since the start after", came);
    PrintFigure("connection reset", "since the loss", lost.Elapsed());
    // The list of the new connection has changed nothing; the call goes on where it was.
    EXPECT_THAT(host_.States(kept), ElementsAre(kOffering, kAccepted, kConnected));
    EXPECT_EQ(host_.Devices().size(), 1u);
    EXPECT_EQ(host_.WaitForMessage(static_cast<DWORD>(LINE_CREATE), milliseconds(0), mark), std::nullopt);
    Play("kept", "Parked");
    EXPECT_TRUE(Becomes(kept, LINECALLSTATE_ONHOLD));
}

class service_killed_inside_a_message : public lost_connection {
  protected:
    /// The service's process is gone: its port refuses, its connection is broken off. The registry still
    /// names it.
    void Kill() {
        port_ = service_.Port();
        service_.StopListening();
        service_.DropConnectionsNow(simulator::drop_kind::kReset);
        ASSERT_TRUE(service_.WaitForNoConnection(kSoon));
    }

    /// It is started again, on its old port unless somebody else has that by now.
    void StartAgain() {
        try {
            service_.Start(port_);
        } catch (const std::system_error&) {
            service_.Start();
            service_.Publish();
        }
    }

  private:
    std::uint16_t port_ = 0;
};

TEST_F(service_killed_inside_a_message, costs_that_message_and_nothing_of_the_next_connection) {
    HTAPICALL const call = ConnectedCall("in-1");
    simulator::call_state_event event;
    event.permanent_line_id = kPhone;
    event.client_call_id = "in-1";
    event.call_state = "Parked";
    const std::string message = simulator::CallStateEvent(event);
    service_.Send(message.substr(0, message.size() / 2));
    ASSERT_TRUE(log_.WaitFor("TcpLink", "No end tag", kSoon));
    Kill();
    const stopwatch lost;
    const milliseconds request = CallAndDrop();
    EXPECT_LT(request, kAtOnce);
    StartAgain();

    const milliseconds came = ConnectsWithTheTick();
    // The second half alone is no message, and the first one does not lie before the next.
    const std::uint64_t mark = host_.Mark();
    service_.Send(message.substr(message.size() / 2));
    Play("in-2", "Ringing");
    HTAPICALL const next = host_.WaitForNewCall(line_, kSoon, mark);
    ASSERT_NE(next, nullptr);
    EXPECT_TRUE(Becomes(next, kAccepted));
    EXPECT_THAT(host_.States(call), ElementsAre(kOffering, kAccepted, kConnected));
    PrintFigure("service killed in the middle of a message", "a call made and dropped meanwhile took",
                request);
    PrintFigure("service killed in the middle of a message", "connected again since the start after", came);
    PrintFigure("service killed in the middle of a message", "since the kill", lost.Elapsed());
}

using service_restarted_on_another_port = lost_connection;

TEST_F(service_restarted_on_another_port, is_found_there_by_the_timer_with_its_new_softphones) {
    const std::uint16_t old_port = service_.Port();
    service_.Restart();
    const stopwatch lost;
    ASSERT_NE(service_.Port(), old_port);
    AddPhone(1002, "Desk 1002");
    const milliseconds request = CallAndDrop();
    EXPECT_LT(request, kAtOnce);

    const milliseconds came = ConnectsWithTheTick();
    EXPECT_EQ(log_.Count("RsTspClient", Text("Connect to port %d", static_cast<int>(service_.Port()))), 1u);
    ASSERT_TRUE(host_.WaitForDevices(2, kSoon));
    const milliseconds announced = lost.Elapsed();
    EXPECT_EQ(Found(host_.GetDevCaps(Last(host_.Devices()).device_id))->line_name, L"Desk 1002");
    EXPECT_NE(AcceptedCall("in-1"), nullptr) << "the old line is as good as the new one";
    PrintFigure("service restarted on another port", "connected again since the start after", came);
    PrintFigure("service restarted on another port", "new softphone announced since the restart after",
                announced);
}

/// A service that is still there for the network, and reads and says nothing any more.
class half_open_connection : public lost_connection {
  protected:
    // Long enough that a full socket is reached soon, short enough for one request.
    const std::wstring digits_ = std::wstring(900, L'1');

    void SetUp() override {
        service_.SetReceiveBufferSize(8192);
        lost_connection::SetUp();
    }

    /// More requests than the buffers between the two can hold. Returns how long the slowest of them took:
    /// one of them found its socket full.
    milliseconds FillTheSocket(HTAPICALL call) {
        milliseconds slowest{0};
        for (std::size_t i = 0; i < kRequests && SinceStart() < kFillingAtMost; ++i) {
            const stopwatch asked;
            EXPECT_EQ(host_.GenerateDigits(call, digits_.c_str()), 0);
            slowest = std::max(slowest, asked.Elapsed());
        }
        return slowest;
    }

    /// Until the service has read everything of the connection that the provider has closed.
    bool FirstConnectionEnds() {
        const stopwatch waiting;
        while (service_.OpenCount() != 1 && waiting.Elapsed() < kSoon) {
            Sleep(5);
        }
        return service_.OpenCount() == 1;
    }

    static constexpr std::size_t kRequests = 6000;
    // Before the timer's tick, which would send something, too.
    static constexpr milliseconds kFillingAtMost{25000};
};

TEST_F(half_open_connection, is_left_when_its_socket_is_full_and_made_anew_by_the_timer) {
    HTAPICALL const call = ConnectedCall("in-1");
    const std::size_t since = service_.ReceivedCount();
    service_.PauseReading();
    const stopwatch filling;
    const milliseconds slowest = FillTheSocket(call);
    const milliseconds filled = filling.Elapsed();
    // The send that fails waits for the connection's reader, which is asleep and ends at once.
    EXPECT_LT(slowest, kAtOnce);
    const milliseconds request = CallAndDrop();
    EXPECT_LT(request, kAtOnce);

    // The service takes the next connection, too, and is as silent on it.
    ASSERT_TRUE(service_.WaitForConnection(kTickAtMost, 2)) << "the socket was never full";
    const milliseconds came = SinceStart();
    EXPECT_GE(came, kTickAtLeast);
    EXPECT_LT(came, kTickAtMost);
    EXPECT_THAT(host_.States(call), ElementsAre(kOffering, kAccepted, kConnected));

    service_.ResumeReading();
    const stopwatch awake;
    EXPECT_TRUE(service_.WaitForMessage(
        [](const simulator::received_message& each) {
            return each.connection == 2 &&
                   each.parsed.kind == simulator::request_kind::kGetClientRegistrations;
        },
        kSoon));
    Play("in-1", "Parked");
    EXPECT_TRUE(Becomes(call, LINECALLSTATE_ONHOLD));
    const milliseconds usable = awake.Elapsed();
    EXPECT_LT(usable, kAtOnce);
    // What the buffers held arrives after all, and nothing of what was asked for later.
    ASSERT_TRUE(FirstConnectionEnds());
    const std::size_t held = service_.Received(simulator::request_kind::kPlayDtmf, since).size();
    EXPECT_LT(held, kRequests);
    PrintCount("half-open connection", "requests that the buffers held", held);
    PrintFigure("half-open connection", "6,000 requests took", filled);
    PrintFigure("half-open connection", "the slowest of them took", slowest);
    PrintFigure("half-open connection", "a call made and dropped without a connection took", request);
    PrintFigure("half-open connection", "connected again since the start after", came);
    PrintFigure("half-open connection", "a call goes on when the service reads again after", usable);
}

}  // namespace
}  // namespace brivelnox::test
