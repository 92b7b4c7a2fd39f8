// The simulator as a provider sees it: over the socket and in the registry.

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/looked_up.h"
#include "tests/tools/simulator_fixture_helper.h"

namespace brivelnox::test {
namespace {

using namespace std::chrono_literals;
using simulator::announcement;
using simulator::answer_policy;
using simulator::KeepAliveResponse;
using simulator::kPortValue;
using simulator::kUpAndRunningValue;
using simulator::message_splitter;
using simulator::received_message;
using simulator::registration_change;
using simulator::RegistrationChangedEvent;
using simulator::RegistrationListResponse;
using simulator::registry_publication;
using simulator::request_kind;
using simulator::service_simulator;
using simulator::softphone;
using simulator::wire_line;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(simulated_service, accepts_connections_and_counts_them) {
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

TEST_F(simulated_service, publishes_itself_in_the_registry) {
    service_.Publish();
    EXPECT_EQ(registry_publication::Read(kUpAndRunningValue, 9), 1U);
    EXPECT_EQ(registry_publication::Read(kPortValue, 9), service_.Port());
    service_.Unpublish();
    EXPECT_FALSE(registry_publication::Exists());
}

TEST_F(simulated_service, leaves_no_key_behind) {
    {
        service_simulator other;
        other.Start();
        other.Publish();
        EXPECT_TRUE(registry_publication::Exists());
    }
    EXPECT_FALSE(registry_publication::Exists());
}

TEST_F(simulated_service, answers_the_list_request_with_the_softphones_in_order) {
    (void)service_.AddSoftphone({7, "Seven", 5070, true, true});
    (void)service_.AddSoftphone({3, "Three", 5071, false, true});
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(kListRequest));
    EXPECT_EQ(client.ReceiveUntil("</msg>", kPatience),
              RegistrationListResponse(0, service_.Registrations()));
    ASSERT_THAT(service_.Registrations(), SizeIs(2));
    EXPECT_EQ(service_.Registrations().at(1).permanent_line_id, 3);
}

TEST_F(simulated_service, answers_a_keep_alive_with_its_id) {
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(kKeepAlive));
    EXPECT_EQ(client.ReceiveUntil("</msg>", kPatience), KeepAliveResponse(1));
}

TEST_F(simulated_service, answers_only_the_one_that_asked) {
    socket_client other = Connect();
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(kKeepAlive));
    EXPECT_EQ(client.ReceiveUntil("</msg>", kPatience), KeepAliveResponse(1));
    EXPECT_EQ(other.ReceiveBytes(1, kMoment), "");
}

TEST_F(simulated_service, records_what_it_receives_in_order) {
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

TEST_F(simulated_service, waits_for_requests_from_a_mark_on) {
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

TEST_F(simulated_service, keeps_only_the_newest_messages_when_limited) {
    service_.LimitReceived(1);
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(std::string(kKeepAlive) + kPlaceCall));
    ASSERT_TRUE(service_.WaitForRequest(request_kind::kPlaceCall, kPatience));
    EXPECT_THAT(service_.Received(), SizeIs(1));
    EXPECT_EQ(service_.ReceivedCount(), 2U);
}

TEST_F(simulated_service, puts_a_split_request_together) {
    socket_client client = Connect();
    const std::string text = kKeepAlive;
    ASSERT_TRUE(client.Send(text.substr(0, 10)));
    EXPECT_FALSE(service_.WaitForRequest(request_kind::kKeepAlive, kMoment));
    ASSERT_TRUE(client.Send(text.substr(10)));
    EXPECT_TRUE(service_.WaitForRequest(request_kind::kKeepAlive, kPatience));
}

TEST_F(simulated_service, holds_answers_back_until_they_are_demanded) {
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

TEST_F(simulated_service, never_answers_if_so_told) {
    service_.SetListAnswer(answer_policy::kNever);
    service_.SetKeepAliveAnswer(answer_policy::kNever);
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(std::string(kListRequest) + kKeepAlive));
    ASSERT_TRUE(service_.WaitForRequest(request_kind::kKeepAlive, kPatience));
    EXPECT_EQ(client.ReceiveBytes(1, kMoment), "");
    EXPECT_EQ(service_.AnswerPending(), 0U);
}

TEST_F(simulated_service, answers_late_if_so_told) {
    service_.SetKeepAliveAnswer(answer_policy::kAtOnce, 200ms);
    socket_client client = Connect();
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(client.Send(kKeepAlive));
    EXPECT_EQ(client.ReceiveUntil("</msg>", kPatience), KeepAliveResponse(1));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 199ms);
}

TEST_F(simulated_service, announces_changes_of_its_softphones) {
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

TEST_F(simulated_service, lets_a_softphone_react_before_the_request_is_seen) {
    const auto phone = service_.AddSoftphone({7, "Seven", 5070, true, true});
    socket_client client = Connect();
    ASSERT_TRUE(client.Send(kPlaceCall));
    ASSERT_TRUE(service_.WaitForRequest(request_kind::kPlaceCall, kPatience));
    ASSERT_TRUE(phone->FindCall("c1"));
    EXPECT_EQ(Found(phone->FindCall("c1"))->call_state, "Ringback");
    EXPECT_THAT(client.ReceiveUntil("Ringback", kPatience), HasSubstr("callState='Outgoing'"));
}

TEST_F(simulated_service, forgets_the_calls_of_a_softphone_that_goes) {
    const auto phone = service_.AddSoftphone({7, "Seven", 5070, true, true});
    (void)phone->Ring({"1", ""});
    EXPECT_TRUE(service_.RemoveSoftphone(7));
    EXPECT_THAT(phone->Calls(), IsEmpty());
}

TEST_F(simulated_service, outlived_by_softphones_that_then_send_nothing) {
    std::shared_ptr<softphone> phone;
    {
        service_simulator other;
        other.Start();
        phone = other.AddSoftphone({7, "Seven", 5070, true, true});
    }
    EXPECT_EQ(phone->Ring({"1", ""}), "7-1");
    EXPECT_THAT(phone->Calls(), SizeIs(1));
}

TEST_F(simulated_service, shows_the_wire_in_order) {
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

TEST_F(simulated_service, bears_many_threads_at_once) {
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
    EXPECT_EQ(Last(messages), "<done>");
}

}  // namespace
}  // namespace brivelnox::test
