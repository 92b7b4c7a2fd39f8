// The simulator as a provider sees it: over the socket and in the registry.

#include "tools/service_simulator/service_simulator.h"

#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/socket_client_helper.h"

namespace brivelnox::simulator {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using tests::socket_client;

constexpr std::chrono::milliseconds kPatience{10000};
// For what must not happen.
constexpr std::chrono::milliseconds kMoment{150};
constexpr char kListRequest[] = "<msg><request id='0'><GetClientRegistrations/></request></msg>";
constexpr char kKeepAlive[] = "<msg><request id='1'><KeepAlive/></request></msg>";
constexpr char kPlaceCall[] =
    "<msg><request><placeCall permanentLineId='7' phoneNumber='200' "
    "requestedClientCallId='c1'/></request></msg>";
constexpr char kEmptyList[] = "<msg><response id='0'><RegistrationList></RegistrationList></response></msg>";

class ServiceSimulator : public testing::Test {
  protected:
    void SetUp() override { service_.Start(); }
    void TearDown() override { registry_publication().Remove(); }
    /// A client that the service has accepted.
    socket_client Connect() {
        const std::size_t before = service_.AcceptedCount();
        socket_client client(service_.Port());
        EXPECT_TRUE(service_.WaitForConnection(kPatience, before + 1));
        return client;
    }

    service_simulator service_;
};

TEST_F(ServiceSimulator, AcceptsConnectionsAndCountsThem) {
    EXPECT_TRUE(service_.Listening());
    EXPECT_EQ(service_.OpenCount(), 0U);
    socket_client first = Connect();
    socket_client second = Connect();
    EXPECT_TRUE(first.Connected());
    EXPECT_EQ(service_.AcceptedCount(), 2U);
    EXPECT_EQ(service_.OpenCount(), 2U);
    first.Close();
    second.Close();
    EXPECT_TRUE(service_.WaitForNoConnection(kPatience));
    EXPECT_EQ(service_.AcceptedCount(), 2U);
}

TEST_F(ServiceSimulator, PublishesItselfInTheRegistry) {
    service_.Publish();
    EXPECT_EQ(registry_publication::Read(kUpAndRunningValue, 9), 1U);
    EXPECT_EQ(registry_publication::Read(kPortValue, 9), service_.Port());
    service_.Unpublish();
    EXPECT_FALSE(registry_publication::Exists());
}

TEST_F(ServiceSimulator, LeavesNoKeyBehind) {
    {
        service_simulator other;
        other.Start();
        other.Publish();
        EXPECT_TRUE(registry_publication::Exists());
    }
    EXPECT_FALSE(registry_publication::Exists());
}

TEST_F(ServiceSimulator, AnswersTheListRequestWithTheSoftphonesInOrder) {
    (void)service_.AddSoftphone({7, "Seven", 5070, true, true});
    (void)service_.AddSoftphone({3, "Three", 5071, false, true});
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(kListRequest));
    EXPECT_EQ(client.ReceiveUntil("</msg>", kPatience),
              RegistrationListResponse(0, service_.Registrations()));
    ASSERT_THAT(service_.Registrations(), SizeIs(2));
    EXPECT_EQ(service_.Registrations()[1].permanent_line_id, 3);
}

TEST_F(ServiceSimulator, AnswersAKeepAliveWithItsId) {
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(kKeepAlive));
    EXPECT_EQ(client.ReceiveUntil("</msg>", kPatience), KeepAliveResponse(1));
}

TEST_F(ServiceSimulator, AnswersOnlyTheOneThatAsked) {
    socket_client other = Connect();
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(kKeepAlive));
    EXPECT_EQ(client.ReceiveUntil("</msg>", kPatience), KeepAliveResponse(1));
    EXPECT_EQ(other.ReceiveBytes(1, kMoment), "");
}

TEST_F(ServiceSimulator, RecordsWhatItReceivesInOrder) {
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(std::string(kListRequest) + "noise" + kKeepAlive));
    ASSERT_TRUE(service_.WaitForRequest(request_kind::kKeepAlive, kPatience));
    const std::vector<received_message> all = service_.Received();
    ASSERT_THAT(all, SizeIs(3));
    EXPECT_EQ(all[0].text, kListRequest);
    EXPECT_EQ(all[0].parsed.kind, request_kind::kGetClientRegistrations);
    EXPECT_EQ(all[1].text, "noise");
    EXPECT_EQ(all[1].parsed.kind, request_kind::kMalformed);
    EXPECT_EQ(all[2].index, 2U);
    EXPECT_EQ(all[2].connection, 1U);
    EXPECT_LE(all[0].time, all[2].time);
    EXPECT_EQ(service_.ReceivedCount(), 3U);
    EXPECT_THAT(service_.Received(request_kind::kMalformed), SizeIs(1));
}

TEST_F(ServiceSimulator, WaitsForRequestsFromAMarkOn) {
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(kKeepAlive));
    ASSERT_TRUE(service_.WaitForRequest(request_kind::kKeepAlive, kPatience));
    const std::size_t mark = service_.ReceivedCount();
    EXPECT_FALSE(service_.WaitForRequest(request_kind::kKeepAlive, 1ms, mark));
    ASSERT_TRUE(client.Send(kKeepAlive));
    const auto second = service_.WaitForRequest(request_kind::kKeepAlive, kPatience, mark);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->index, mark);
}

TEST_F(ServiceSimulator, KeepsOnlyTheNewestMessagesWhenLimited) {
    service_.LimitReceived(1);
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(std::string(kKeepAlive) + kPlaceCall));
    ASSERT_TRUE(service_.WaitForRequest(request_kind::kPlaceCall, kPatience));
    EXPECT_THAT(service_.Received(), SizeIs(1));
    EXPECT_EQ(service_.ReceivedCount(), 2U);
}

TEST_F(ServiceSimulator, PutsASplitRequestTogether) {
    socket_client client = Connect();
    const std::string text = kKeepAlive;
    ASSERT_TRUE(client.Send(text.substr(0, 10)));
    EXPECT_FALSE(service_.WaitForRequest(request_kind::kKeepAlive, kMoment));
    ASSERT_TRUE(client.Send(text.substr(10)));
    EXPECT_TRUE(service_.WaitForRequest(request_kind::kKeepAlive, kPatience));
}

TEST_F(ServiceSimulator, HoldsAnswersBackUntilTheyAreDemanded) {
    service_.SetListAnswer(answer_policy::kOnDemand);
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(kListRequest));
    ASSERT_TRUE(service_.WaitForRequest(request_kind::kGetClientRegistrations, kPatience));
    EXPECT_EQ(service_.PendingCount(), 1U);
    (void)service_.AddSoftphone({7, "Seven", 5070, true, true}, announcement::kSilent);
    EXPECT_EQ(service_.AnswerPending(), 1U);
    EXPECT_EQ(client.ReceiveUntil("</msg>", kPatience),
              RegistrationListResponse(0, service_.Registrations()));
    EXPECT_EQ(service_.PendingCount(), 0U);
}

TEST_F(ServiceSimulator, NeverAnswersIfSoTold) {
    service_.SetListAnswer(answer_policy::kNever);
    service_.SetKeepAliveAnswer(answer_policy::kNever);
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(std::string(kListRequest) + kKeepAlive));
    ASSERT_TRUE(service_.WaitForRequest(request_kind::kKeepAlive, kPatience));
    EXPECT_EQ(client.ReceiveBytes(1, kMoment), "");
    EXPECT_EQ(service_.AnswerPending(), 0U);
}

TEST_F(ServiceSimulator, AnswersLateIfSoTold) {
    service_.SetKeepAliveAnswer(answer_policy::kAtOnce, 200ms);
    socket_client client = Connect();
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(client.Send(kKeepAlive));
    EXPECT_EQ(client.ReceiveUntil("</msg>", kPatience), KeepAliveResponse(1));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 199ms);
}

TEST_F(ServiceSimulator, AnnouncesChangesOfItsSoftphones) {
    socket_client client = Connect();
    (void)service_.AddSoftphone({7, "Seven", 5070, true, true});
    EXPECT_EQ(client.ReceiveUntil("</msg>", kPatience),
              RegistrationChangedEvent("registered", {7, "Seven", 5070, true, true}));
    (void)service_.AddSoftphone({7, "Seven", 5071, true, true});
    EXPECT_EQ(client.ReceiveUntil("</msg>", kPatience),
              RegistrationChangedEvent("refreshed", {7, "Seven", 5071, true, true}));
    EXPECT_TRUE(service_.ChangeSoftphone({7, "Seven", 5071, false, true}, registration_change::kRegistered));
    EXPECT_EQ(client.ReceiveUntil("</msg>", kPatience),
              RegistrationChangedEvent("registered", {7, "Seven", 5071, false, true}));
    EXPECT_TRUE(service_.RemoveSoftphone(7));
    EXPECT_EQ(client.ReceiveUntil("</msg>", kPatience),
              RegistrationChangedEvent("unregistered", {7, "Seven", 0, false, false}));
    EXPECT_THAT(service_.Registrations(), IsEmpty());
    EXPECT_FALSE(service_.RemoveSoftphone(7));
    EXPECT_FALSE(service_.ChangeSoftphone({7, "", 1, true, true}, registration_change::kRefreshed));
    EXPECT_EQ(service_.FindSoftphone(7), nullptr);
}

TEST_F(ServiceSimulator, LetsASoftphoneReactBeforeTheRequestIsSeen) {
    const auto phone = service_.AddSoftphone({7, "Seven", 5070, true, true});
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(kPlaceCall));
    ASSERT_TRUE(service_.WaitForRequest(request_kind::kPlaceCall, kPatience));
    ASSERT_TRUE(phone->FindCall("c1"));
    EXPECT_EQ(phone->FindCall("c1")->call_state, "Ringback");
    EXPECT_THAT(client.ReceiveUntil("Ringback", kPatience), HasSubstr("callState='Outgoing'"));
}

TEST_F(ServiceSimulator, ForgetsTheCallsOfASoftphoneThatGoes) {
    const auto phone = service_.AddSoftphone({7, "Seven", 5070, true, true});
    (void)phone->Ring({"1", ""});
    EXPECT_TRUE(service_.RemoveSoftphone(7));
    EXPECT_THAT(phone->Calls(), IsEmpty());
}

TEST_F(ServiceSimulator, OutlivedBySoftphonesThatThenSendNothing) {
    std::shared_ptr<softphone> phone;
    {
        service_simulator other;
        other.Start();
        phone = other.AddSoftphone({7, "Seven", 5070, true, true});
    }
    EXPECT_EQ(phone->Ring({"1", ""}), "7-1");
    EXPECT_THAT(phone->Calls(), SizeIs(1));
}

TEST_F(ServiceSimulator, SendsSplitWithPausesBetweenThePieces) {
    socket_client client = Connect();
    service_.SendSplit("0123456789", {1, 3}, 60ms);
    EXPECT_EQ(client.ReceiveBytes(1, kPatience), "0");
    EXPECT_EQ(client.ReceiveBytes(3, kPatience), "123");
    EXPECT_EQ(client.ReceiveBytes(6, kPatience), "456789");
}

TEST_F(ServiceSimulator, SendsLaterAndHoldsBackWhatFollows) {
    socket_client client = Connect();
    const auto start = std::chrono::steady_clock::now();
    service_.SendLater("first", 150ms);
    service_.Send("second");
    EXPECT_EQ(client.ReceiveBytes(11, kPatience), "firstsecond");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 149ms);
}

TEST_F(ServiceSimulator, SendsEndlessMessagesAndGarbage) {
    socket_client client = Connect();
    service_.SendEndless(5000);
    const std::string endless = client.ReceiveBytes(5005, kPatience);
    EXPECT_EQ(endless.size(), 5005U);
    EXPECT_EQ(endless.substr(0, 6), "<msg>x");
    EXPECT_EQ(endless.find("</msg>"), std::string::npos);
    service_.SendGarbage(3000, 5);
    const std::string garbage = client.ReceiveBytes(3000, kPatience);
    EXPECT_EQ(garbage.size(), 3000U);
    EXPECT_EQ(garbage.find('<'), std::string::npos);
    EXPECT_NE(garbage.find('\0'), std::string::npos);
    service_.SendGarbage(3000, 5);
    EXPECT_EQ(client.ReceiveBytes(3000, kPatience), garbage);
}

TEST_F(ServiceSimulator, TellsWhenEverythingHasBeenSent) {
    EXPECT_TRUE(service_.WaitUntilSent(1ms));
    socket_client client = Connect();
    service_.SendLater("x", 100ms);
    EXPECT_FALSE(service_.WaitUntilSent(1ms));
    EXPECT_TRUE(service_.WaitUntilSent(kPatience));
    EXPECT_EQ(client.ReceiveBytes(1, kPatience), "x");
}

TEST_F(ServiceSimulator, DropsGracefullyBehindWhatIsQueued) {
    socket_client client = Connect();
    service_.Send("<msg>half of a mess");
    service_.DropConnections(drop_kind::kGraceful);
    EXPECT_EQ(client.ReceiveBytes(19, kPatience), "<msg>half of a mess");
    EXPECT_EQ(client.WaitForEnd(kPatience), socket_client::end::kClosed);
    EXPECT_TRUE(service_.WaitForNoConnection(kPatience));
}

TEST_F(ServiceSimulator, DropsGracefullyAlthoughThereIsUnreadInput) {
    service_.PauseReading();
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(kKeepAlive));
    service_.Send("last words");
    service_.DropConnections(drop_kind::kGraceful);
    EXPECT_EQ(client.ReceiveBytes(10, kPatience), "last words");
    EXPECT_EQ(client.WaitForEnd(kPatience), socket_client::end::kClosed);
}

TEST_F(ServiceSimulator, ResetsAConnection) {
    socket_client client = Connect();
    service_.DropConnections(drop_kind::kReset);
    ASSERT_TRUE(service_.WaitForNoConnection(kPatience));
    EXPECT_NE(client.WaitForEnd(kPatience), socket_client::end::kOpen);
    // Only a reset makes the very first send fail.
    EXPECT_FALSE(client.Send("x"));
}

TEST_F(ServiceSimulator, TakesAFirstSendAfterAGracefulDrop) {
    socket_client client = Connect();
    service_.DropConnections(drop_kind::kGraceful);
    ASSERT_TRUE(service_.WaitForNoConnection(kPatience));
    EXPECT_EQ(client.WaitForEnd(kPatience), socket_client::end::kClosed);
    EXPECT_TRUE(client.Send("x"));
}

TEST_F(ServiceSimulator, DropsAtOnceWithoutSendingWhatIsQueued) {
    socket_client client = Connect();
    service_.SendLater("never", 60000ms);
    service_.DropConnectionsNow(drop_kind::kGraceful);
    EXPECT_EQ(client.ReceiveBytes(5, kPatience), "");
    EXPECT_EQ(client.WaitForEnd(kPatience), socket_client::end::kClosed);
}

TEST_F(ServiceSimulator, ReadsNothingWhileReadingIsPaused) {
    socket_client client = Connect();
    service_.PauseReading();
    ASSERT_TRUE(client.Send(kKeepAlive));
    EXPECT_FALSE(service_.WaitForRequest(request_kind::kKeepAlive, kMoment));
    service_.ResumeReading();
    EXPECT_TRUE(service_.WaitForRequest(request_kind::kKeepAlive, kPatience));
}

TEST_F(ServiceSimulator, LetsTheSendersBufferRunFull) {
    service_.Stop();
    service_.SetReceiveBufferSize(4096);
    service_.Start();
    service_.PauseReading();
    socket_client client = Connect();
    constexpr std::size_t kMost = std::size_t{64} << 20U;
    EXPECT_LT(client.SendUntilFull(kMost, 300ms), kMost);
}

TEST_F(ServiceSimulator, NoticesThatTheProviderClosedAlsoWhilePaused) {
    socket_client client = Connect();
    service_.PauseReading();
    client.Close();
    EXPECT_TRUE(service_.WaitForNoConnection(kPatience));
}

TEST_F(ServiceSimulator, StopsListeningButKeepsItsConnections) {
    socket_client client = Connect();
    const std::uint16_t port = service_.Port();
    service_.StopListening();
    EXPECT_FALSE(service_.Listening());
    EXPECT_FALSE(socket_client(port).Connected());
    ASSERT_TRUE(client.Send(kKeepAlive));
    EXPECT_EQ(client.ReceiveUntil("</msg>", kPatience), KeepAliveResponse(1));
}

TEST_F(ServiceSimulator, StopsWithEverything) {
    socket_client client = Connect();
    const std::uint16_t port = service_.Port();
    service_.Stop();
    EXPECT_EQ(client.WaitForEnd(kPatience), socket_client::end::kClosed);
    EXPECT_FALSE(socket_client(port).Connected());
    EXPECT_EQ(service_.OpenCount(), 0U);
    service_.Stop();
    service_.Start(port);
    EXPECT_EQ(service_.Port(), port);
}

TEST_F(ServiceSimulator, ComesBackOnAnotherPort) {
    service_.Publish();
    (void)service_.AddSoftphone({7, "Seven", 5070, true, true});
    socket_client client = Connect();
    const std::uint16_t before = service_.Port();
    service_.Restart();
    EXPECT_NE(service_.Port(), before);
    EXPECT_EQ(registry_publication::Read(kPortValue, 0), service_.Port());
    EXPECT_EQ(client.WaitForEnd(kPatience), socket_client::end::kClosed);
    socket_client again = Connect();
    ASSERT_TRUE(again.Send(kListRequest));
    EXPECT_EQ(again.ReceiveUntil("</msg>", kPatience), RegistrationListResponse(0, service_.Registrations()));
}

TEST_F(ServiceSimulator, ShowsTheWireInOrder) {
    std::mutex mutex;
    std::vector<std::string> seen;
    service_.SetWireObserver([&](const wire_line& line) {
        const std::lock_guard lock(mutex);
        seen.push_back(std::to_string(line.connection) + " " +
                       std::to_string(static_cast<int>(line.direction)) + " " + line.text);
    });
    {
        socket_client client = Connect();
        ASSERT_TRUE(client.Send(kListRequest));
        (void)client.ReceiveUntil("</msg>", kPatience);
    }
    ASSERT_TRUE(service_.WaitForNoConnection(kPatience));
    service_.SetWireObserver({});
    const std::lock_guard lock(mutex);
    EXPECT_THAT(seen, ElementsAre("1 2 connected", std::string("1 0 ") + kListRequest,
                                  std::string("1 1 ") + kEmptyList, "1 2 closed by the provider"));
}

TEST_F(ServiceSimulator, BearsManyThreadsAtOnce) {
    socket_client client = Connect();
    std::vector<std::thread> threads;
    constexpr int kThreads = 4;
    constexpr int kRounds = 50;
    threads.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([this, thread] {
            const auto phone = service_.AddSoftphone({thread, "", 1, true, true}, announcement::kSilent);
            for (int round = 0; round < kRounds; ++round) {
                const std::string id = phone->Ring({"1", ""});
                (void)phone->Connect(id);
                (void)phone->End(id, 200);
            }
        });
    }
    for (std::thread& each : threads) {
        each.join();
    }
    service_.Send("<done>");
    const std::string received = client.ReceiveUntil("<done>", kPatience);
    message_splitter splitter;
    const std::vector<std::string> messages = splitter.Add(received);
    // Five messages a call, none torn, and the done at the end.
    EXPECT_THAT(messages, SizeIs(kThreads * kRounds * 5 + 1));
    EXPECT_EQ(messages.back(), "<done>");
}

}  // namespace
}  // namespace brivelnox::simulator
