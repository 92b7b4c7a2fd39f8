// More softphones than anybody has, and one that does not stay.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tests/faults/fault_fixture_helper.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ten_thousand_softphones : public hosted_provider {
  protected:
    static constexpr std::int32_t kPhones = 10000;

    void SetUp() override {
        simulator::registration subject;
        for (std::int32_t id = 1; id <= kPhones; ++id) {
            subject.permanent_line_id = id;
            subject.tapi_line_name = Text("Softphone number %d of the list", static_cast<int>(id));
            service_.AddSoftphone(subject, simulator::announcement::kSilent);
        }
        // The negotiation for each device is the telephony service's time, not the provider's.
        host_.Options().negotiate_every_device = false;
        StartService();
    }
};

TEST_F(ten_thousand_softphones, are_all_lines_and_the_last_one_takes_calls) {
    const stopwatch starting;
    ASSERT_EQ(host_.Start(), 0);
    const milliseconds started = starting.Elapsed();
    const std::vector<host::line_device> devices = host_.Devices();
    ASSERT_EQ(devices.size(), std::size_t{kPhones}) << "the list came too late to be counted";
    EXPECT_LT(started, milliseconds(20000));

    const stopwatch opening;
    HTAPILINE const line = host_.OpenLine(devices.back().device_id);
    ASSERT_NE(line, nullptr);
    const auto caps = host_.GetDevCaps(devices.back().device_id);
    ASSERT_TRUE(caps);
    const milliseconds opened = opening.Elapsed();
    EXPECT_LT(opened, kAtOnce);
    EXPECT_EQ(caps->permanent_line_id, DWORD{kPhones});

    const stopwatch calling;
    (void)Found(service_.FindSoftphone(kPhones))->Ring({"4711", "Anna"});
    HTAPICALL const incoming = host_.WaitForNewCall(line, kSoon);
    ASSERT_NE(incoming, nullptr);
    EXPECT_TRUE(host_.WaitForCurrentState(incoming, LINECALLSTATE_ACCEPTED, kSoon));
    const host::request_result made = host_.MakeCall(line, L"4711");
    EXPECT_TRUE(made.Accepted());
    EXPECT_TRUE(host_.WaitForCurrentState(made.call, LINECALLSTATE_RINGBACK, kSoon));
    const milliseconds called = calling.Elapsed();
    EXPECT_LT(called, kAtOnce);
    const stopwatch stopping;
    EXPECT_EQ(host_.Shutdown(), 0);
    EXPECT_LT(stopping.Elapsed(), milliseconds(15000));
    PrintFigure("10,000 softphones", "started after", started);
    PrintCount("10,000 softphones", "devices", devices.size());
    PrintFigure("10,000 softphones", "last line opened and described in", opened);
    PrintFigure("10,000 softphones", "a call from and to the last one ringing after", called);
    PrintFigure("10,000 softphones", "shut down after", stopping.Elapsed());
}

class flapping_softphone : public open_line {
  protected:
    static constexpr milliseconds kBetweenChanges{100};
    static constexpr int kFlaps = 20;

    simulator::registration Subject(std::uint32_t port) const {
        simulator::registration subject = phone_->Registration();
        subject.tcp_port = port;
        subject.client_connected = port != 0;
        subject.sip_connected = port != 0;
        return subject;
    }
    void Unregister() {
        EXPECT_TRUE(service_.ChangeSoftphone(Subject(0), simulator::registration_change::kUnregistered));
    }
    void Register() {
        EXPECT_TRUE(service_.ChangeSoftphone(Subject(5070), simulator::registration_change::kRegistered));
    }
    /// The time between two changes is the fault itself, not a wait for something.
    static void UntilTheNextChange() { Sleep(static_cast<DWORD>(kBetweenChanges.count())); }
};

TEST_F(flapping_softphone, ends_its_calls_each_time_and_keeps_its_line) {
    const std::uint64_t mark = host_.Mark();
    std::vector<HTAPICALL> calls = {ConnectedCall("in-0")};
    milliseconds slowest_end{0};
    for (int flap = 1; flap <= kFlaps; ++flap) {
        const stopwatch going;
        Unregister();
        ASSERT_TRUE(Becomes(calls.back(), LINECALLSTATE_IDLE)) << "flap " << flap;
        slowest_end = std::max(slowest_end, going.Elapsed());
        UntilTheNextChange();
        Register();
        const std::uint64_t before = host_.Mark();
        Play(Text("in-%d", flap), "Connected");
        calls.push_back(host_.WaitForNewCall(line_, kSoon, before));
        ASSERT_TRUE(Becomes(calls.back(), LINECALLSTATE_CONNECTED)) << "flap " << flap;
        UntilTheNextChange();
    }
    HTAPICALL const last = calls.back();
    calls.pop_back();
    for (HTAPICALL const call : calls) {
        const auto view = host_.View(call);
        ASSERT_TRUE(view);
        EXPECT_THAT(view->states,
                    ElementsAre(LINECALLSTATE_OFFERING, LINECALLSTATE_ACCEPTED, LINECALLSTATE_CONNECTED,
                                LINECALLSTATE_DISCONNECTED, LINECALLSTATE_IDLE));
        EXPECT_EQ(view->modes.at(3), DWORD{LINEDISCONNECTMODE_CANCELLED});
    }
    EXPECT_EQ(host_.WaitForMessage(static_cast<DWORD>(LINE_CREATE), milliseconds(0), mark), std::nullopt);
    EXPECT_EQ(host_.Devices().size(), 1u);
    EXPECT_EQ(service_.AcceptedCount(), 1u) << "it is still the first connection";
    Play("in-20", "Parked");
    EXPECT_TRUE(Becomes(last, LINECALLSTATE_ONHOLD));
    EXPECT_LT(slowest_end, kAtOnce);
    PrintCount("softphone that flaps", "times gone and back", kFlaps);
    PrintFigure("softphone that flaps", "its call ended at the latest after", slowest_end);
}

TEST_F(flapping_softphone, faster_than_anybody_follows_leaves_its_line_usable) {
    HTAPICALL const call = ConnectedCall("in-0");
    for (int flap = 0; flap < 10 * kFlaps; ++flap) {
        Unregister();
        Register();
    }
    const stopwatch following;
    ASSERT_TRUE(Settled(kPhone));
    const milliseconds followed = following.Elapsed();
    EXPECT_EQ(Found(host_.View(call))->State(), DWORD{LINECALLSTATE_IDLE});
    EXPECT_NE(ConnectedCall("in-1"), nullptr);
    EXPECT_EQ(host_.Devices().size(), 1u);
    EXPECT_LT(followed, kSoon);
    PrintFigure("softphone that flaps", "400 changes at once followed after", followed);
}

}  // namespace
}  // namespace brivelnox::test
