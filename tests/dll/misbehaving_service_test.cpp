// A service that sends what no service should: the provider stays usable.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/dll/process_usage_helper.h"
#include "tests/dll/provider_fixture_helper.h"

namespace brivelnox::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

constexpr DWORD kOffering = LINECALLSTATE_OFFERING;
constexpr DWORD kAccepted = LINECALLSTATE_ACCEPTED;
constexpr DWORD kConnected = LINECALLSTATE_CONNECTED;
constexpr DWORD kOnHold = LINECALLSTATE_ONHOLD;

constexpr std::size_t kMegabyte = std::size_t{1024} * 1024;
// The most that the provider is to hold of a message that does not end.
constexpr std::size_t kLargestMessage = 16 * kMegabyte;

class misbehaving_service : public open_line {
  protected:
    std::string CallEvent(const std::string& id, const std::string& state) const {
        simulator::call_state_event event;
        event.permanent_line_id = kPhone;
        event.client_call_id = id;
        event.call_state = state;
        event.peer = peer_;
        return simulator::CallStateEvent(event);
    }

    /// Sends the same event until it is understood: what arrived in one chunk with something broken is lost
    /// with it.
    bool ListensAgain(const std::string& id) {
        const auto deadline = steady_clock::now() + kSoon;
        const std::string ending = "client_call_id: " + id + ", client call state: None";
        while (steady_clock::now() < deadline) {
            service_.Send(CallEvent(id, "None"));
            for (int look = 0; look < 20; ++look) {
                for (const std::string& text : log_.Texts("Line")) {
                    if (text.ends_with(ending)) {
                        return true;
                    }
                }
                Sleep(5);
            }
        }
        return false;
    }

    /// A call that rings now is told as if nothing had been.
    void ExpectUsable(const std::string& id) {
        const std::uint64_t mark = host_.Mark();
        service_.Send(CallEvent(id, "Ringing"));
        HTAPICALL const call = host_.WaitForNewCall(line_, kSoon, mark);
        ASSERT_NE(call, nullptr);
        EXPECT_TRUE(Becomes(call, kAccepted));
        EXPECT_EQ(service_.AcceptedCount(), 1u) << "it is still the first connection";
        EXPECT_TRUE(host_.Drop(call).Accepted());
    }
};

TEST_F(misbehaving_service, that_sends_garbage_is_listened_to_afterwards) {
    for (std::uint32_t seed = 1; seed <= 4; ++seed) {
        service_.SendGarbage(50000, seed);
    }
    ASSERT_TRUE(service_.WaitUntilSent(kSoon));
    // Garbage that is still in the same chunk does no harm to what follows it.
    ExpectUsable("after");
    EXPECT_GE(log_.Count("TcpLink", "No start tag"), 1u);
}

TEST_F(misbehaving_service, that_sends_one_byte_at_a_time_is_understood) {
    const std::uint64_t mark = host_.Mark();
    service_.SendSplit(CallEvent("slow", "Ringing") + CallEvent("slow", "Connected"), {1});
    HTAPICALL const call = host_.WaitForNewCall(line_, kSoon, mark);
    ASSERT_TRUE(Becomes(call, kConnected));
    EXPECT_THAT(host_.States(call), ElementsAre(kOffering, kAccepted, kConnected));
}

TEST_F(misbehaving_service, that_cuts_its_messages_anywhere_is_understood) {
    // The cut behind a complete message runs through every place of the next one's start tag.
    for (std::size_t cut = 0; cut <= 6; ++cut) {
        const std::string id = Text("cut-%d", static_cast<int>(cut));
        const std::string begin = CallEvent(id, "Ringing");
        const std::string end = CallEvent(id, "Connected");
        const std::uint64_t mark = host_.Mark();
        service_.SendSplit(begin + end, {begin.size() + cut, end.size() - cut}, milliseconds(30));
        HTAPICALL const call = host_.WaitForNewCall(line_, kSoon, mark);
        ASSERT_TRUE(Becomes(call, kConnected)) << "cut " << cut << " bytes into the second message";
    }
}

TEST_F(misbehaving_service, that_puts_many_messages_into_one_piece_is_understood_in_order) {
    const std::uint64_t mark = host_.Mark();
    std::string all = CallEvent("merged", "Ringing");
    for (int i = 0; i < 50; ++i) {
        all += CallEvent("merged", "Connected") + CallEvent("merged", "Parked");
    }
    service_.Send(all);
    ASSERT_TRUE(Settled(kPhone));
    HTAPICALL const call = host_.WaitForNewCall(line_, kSoon, mark);
    std::vector<DWORD> expected = {kOffering, kAccepted};
    for (int i = 0; i < 50; ++i) {
        expected.insert(expected.end(), {kConnected, kOnHold});
    }
    EXPECT_EQ(host_.States(call), expected);
}

TEST_F(misbehaving_service, that_sends_zero_bytes_between_its_messages_is_understood) {
    const std::string zeros(3, '\0');
    const std::uint64_t mark = host_.Mark();
    service_.Send(zeros + CallEvent("zero", "Ringing") + zeros + CallEvent("zero", "Connected") + zeros);
    HTAPICALL const call = host_.WaitForNewCall(line_, kSoon, mark);
    ASSERT_TRUE(Becomes(call, kConnected));
    ExpectUsable("after");
}

TEST_F(misbehaving_service, that_sends_a_zero_byte_inside_a_message_loses_that_message_alone) {
    std::string broken = CallEvent("broken", "Ringing");
    broken.insert(broken.size() / 2, 1, '\0');
    service_.Send(broken);
    ASSERT_TRUE(log_.WaitForStarting("TcpLink", "Could not parse xml, ", kSoon));
    ExpectUsable("after");
    EXPECT_EQ(log_.CountStarting("VekTapiCall", "New call created client_call_id: broken"), 0u);
}

TEST_F(misbehaving_service, that_sends_broken_xml_loses_what_it_has_sent_with_it) {
    const char* const broken[] = {
        "<msg><event></msg>",
        "<msg><event><CallState clientCallId='x></event></msg>",
        "<msg>",
        "<msg></msg>",
        "<msg>text</msg>",
        "<msg><!-- nothing --></msg>",
        "<msg><event/></msg>",
        "<msg><event><Unknown/></event></msg>",
        "<msg><command><CallState/></command></msg>",
        "<msg><response id='7'><Unknown/></response></msg>",
        "<msg><event><RegistrationChanged reason='refreshed'/></event></msg>",
        "<msg><event><CallRemoved/></event></msg>",
        "<msg><event><CallState/></event></msg>",
        "<MSG><event/></MSG>",
        "<msg a='1'><event/></msg>",
    };
    int number = 0;
    for (const char* const each : broken) {
        SCOPED_TRACE(each);
        service_.Send(each);
        // What is unfinished ends with a further end tag, and the message that it swallows is lost.
        service_.Send("</msg>");
        service_.Send("<msg><event/></msg>");
        ASSERT_TRUE(ListensAgain(Text("flush-%d", ++number)));
        ExpectUsable(Text("after-%d", number));
    }
}

TEST_F(misbehaving_service, that_talks_of_unknown_lines_and_calls_is_ignored) {
    const std::uint64_t mark = host_.Mark();
    simulator::call_state_event event;
    event.client_call_id = "stray";
    event.call_state = "Ringing";
    for (const std::int32_t line : {0, -1, 4711, INT32_MIN, INT32_MAX}) {
        event.permanent_line_id = line;
        service_.Send(simulator::CallStateEvent(event));
        service_.Send(simulator::CallRemovedEvent(line, "stray"));
    }
    service_.Send(simulator::CallRemovedEvent(kPhone, "stray"));
    ASSERT_TRUE(Settled(kPhone));
    EXPECT_THAT(host_.History().Since(mark), testing::IsEmpty());
}

TEST_F(misbehaving_service, that_never_ends_a_message_takes_a_bounded_amount_of_memory) {
    ExpectUsable("before");
    log_.Skip();
    const std::size_t memory = PrivateBytes();
    const auto begun = steady_clock::now();
    service_.SendEndless(kLargestMessage + 2 * kMegabyte);
    std::size_t most = memory;
    steady_clock::duration slowest{0};
    std::size_t requests = 0;
    while (!service_.WaitUntilSent(milliseconds(20))) {
        most = std::max(most, PrivateBytes());
        const auto asked = steady_clock::now();
        const host::request_result made = host_.MakeCall(line_, L"4711");
        ASSERT_TRUE(made.Accepted());
        ASSERT_TRUE(host_.Drop(made.call).Accepted());
        ASSERT_EQ(host_.CloseCall(made.call), 0);
        slowest = std::max(slowest, steady_clock::now() - asked);
        ++requests;
        ASSERT_LT(steady_clock::now() - begun, milliseconds(200000));
    }
    std::printf(
        "an endless message in %.1f s, at most %zu bytes more, %zu requests meanwhile, the slowest "
        "%.1f ms\n",
        std::chrono::duration<double>(steady_clock::now() - begun).count(), most - memory, requests,
        std::chrono::duration<double, std::milli>(slowest).count());
    // While it grows there are two buffers for a moment, and the service has what it is about to send.
    EXPECT_LT(most - memory, 3 * kLargestMessage);
    EXPECT_LT(slowest, milliseconds(2000));
    // It was given up on the way: what came then had no beginning any more.
    EXPECT_TRUE(log_.WaitFor("TcpLink", "No start tag", kSoon));
    ExpectUsable("after");
}

TEST_F(misbehaving_service, that_ends_the_connection_leaves_requests_completing) {
    for (const simulator::drop_kind kind : {simulator::drop_kind::kGraceful, simulator::drop_kind::kReset}) {
        service_.DropConnections(kind);
        ASSERT_TRUE(service_.WaitForNoConnection(kSoon));
        const host::request_result made = host_.MakeCall(line_, L"4711");
        EXPECT_TRUE(made.Accepted());
        EXPECT_EQ(host_.WaitForCompletion(made.request_id, kSoon), 0);
        EXPECT_TRUE(host_.Drop(made.call).Accepted());
    }
    EXPECT_EQ(host_.Devices().size(), 1u) << "the line stays";
}

}  // namespace
}  // namespace brivelnox::test
