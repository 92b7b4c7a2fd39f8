// LINEDEVSTATUS and LINEADDRESSSTATUS, byte by byte, and the numbers of calls in them.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <chrono>
#include <cstddef>
#include <map>
#include <string>

#include "tests/dll/byte_pattern_helper.h"
#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::IsEmpty;

patterned_structure ExpectedLineStatus(std::size_t size, DWORD active, DWORD on_hold) {
    patterned_structure status(size);
    status.Set(4, 88).Set(8, 88);
    status.Set(20, active).Set(24, on_hold).Set(28, 0);
    status.Set(32, LINEFEATURE_MAKECALL);
    status.Set(36, 0).Set(40, 0);  // call completions, ring mode
    status.Set(56, LINEDEVSTATUSFLAGS_CONNECTED | LINEDEVSTATUSFLAGS_INSERVICE);
    status.Set(68, 0).Set(72, 0);  // device-specific data
    return status;
}

patterned_structure ExpectedAddressStatus(std::size_t size, DWORD active, DWORD on_hold) {
    patterned_structure status(size);
    status.Set(4, 64).Set(8, 64);
    status.Set(16, active).Set(20, on_hold).Set(24, on_hold);
    status.Set(28, LINEADDRFEATURE_MAKECALL);
    return status;
}

class line_status : public open_line {
  protected:
    void ExpectCounts(HDRVLINE line, DWORD active, DWORD on_hold) {
        patterned_structure line_answer(88);
        EXPECT_EQ(module_.TSPI_lineGetLineDevStatus(line, line_answer.As<LINEDEVSTATUS>()), 0);
        EXPECT_TRUE(SameBytes(ExpectedLineStatus(88, active, on_hold), line_answer));
        patterned_structure address_answer(64);
        EXPECT_EQ(module_.TSPI_lineGetAddressStatus(line, 0, address_answer.As<LINEADDRESSSTATUS>()), 0);
        EXPECT_TRUE(SameBytes(ExpectedAddressStatus(64, active, on_hold), address_answer));
    }

    static std::string CallEvent(const std::string& id, const std::string& state) {
        simulator::call_state_event event;
        event.permanent_line_id = kPhone;
        event.client_call_id = id;
        event.call_state = state;
        return simulator::CallStateEvent(event);
    }
};

TEST_F(line_status, of_a_line_without_calls_are_these_bytes_and_no_others) {
    log_.Skip();
    ExpectCounts(host_.Driver(line_), 0, 0);
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(line_status, leave_the_room_behind_them_alone) {
    patterned_structure line_answer(200);
    EXPECT_EQ(module_.TSPI_lineGetLineDevStatus(host_.Driver(line_), line_answer.As<LINEDEVSTATUS>()), 0);
    EXPECT_TRUE(SameBytes(ExpectedLineStatus(200, 0, 0), line_answer));
    patterned_structure address_answer(200);
    EXPECT_EQ(
        module_.TSPI_lineGetAddressStatus(host_.Driver(line_), 0, address_answer.As<LINEADDRESSSTATUS>()), 0);
    EXPECT_TRUE(SameBytes(ExpectedAddressStatus(200, 0, 0), address_answer));
}

TEST_F(line_status, count_active_and_held_calls) {
    AcceptedCall("in-1");
    ExpectCounts(host_.Driver(line_), 1, 0);
    HeldCall("in-2");
    ExpectCounts(host_.Driver(line_), 1, 1);
    HTAPICALL const third = HeldCall("in-3");
    ExpectCounts(host_.Driver(line_), 1, 2);
    HTAPICALL const consultation = host_.SetupTransfer(third).call;
    ExpectCounts(host_.Driver(line_), 2, 2);
    ASSERT_TRUE(host_.Drop(consultation).Accepted());
    ExpectCounts(host_.Driver(line_), 1, 2);
    ASSERT_TRUE(host_.Drop(third).Accepted());
    ExpectCounts(host_.Driver(line_), 1, 1);
}

TEST_F(line_status, count_nothing_on_a_closed_line_nor_on_an_unknown_one) {
    const HDRVLINE driver = host_.Driver(line_);
    ConnectedCall();
    ExpectCounts(AsHandle<HDRVLINE>(99), 0, 0);
    ExpectCounts(nullptr, 0, 0);
    ASSERT_EQ(host_.CloseLine(line_), 0);
    Play("in-2", "Connected");
    ASSERT_TRUE(Settled(kPhone));
    ExpectCounts(driver, 0, 0);
    // The call got no handle, and what happens to it is told with none when the line is open again.
    host_.Checker().SetNullCallRule(host::null_call_rule::kTolerate);
}

TEST_F(line_status, never_count_a_call_twice_nor_not_at_all_while_it_is_held_and_resumed) {
    constexpr int kToggles = 2000;
    HTAPICALL const call = ConnectedCall();
    std::string toggles;
    for (int i = 0; i < kToggles; ++i) {
        toggles += CallEvent("in-1", "Parked") + CallEvent("in-1", "Connected");
    }
    const HDRVLINE driver = host_.Driver(line_);
    std::map<DWORD, int> line_counts;
    std::map<DWORD, int> address_counts;
    const std::size_t told = host_.States(call).size();
    const auto deadline = std::chrono::steady_clock::now() + 4 * kSoon;
    service_.Send(toggles + CallEvent("in-1", "Ringing"));
    while (Found(host_.View(call))->State() != LINECALLSTATE_ACCEPTED) {
        LINEDEVSTATUS line = {};
        line.dwTotalSize = sizeof line;
        ASSERT_EQ(module_.TSPI_lineGetLineDevStatus(driver, &line), 0);
        ++line_counts[line.dwNumActiveCalls + line.dwNumOnHoldCalls];
        LINEADDRESSSTATUS address = {};
        address.dwTotalSize = sizeof address;
        ASSERT_EQ(module_.TSPI_lineGetAddressStatus(driver, 0, &address), 0);
        ++address_counts[address.dwNumActiveCalls + address.dwNumOnHoldCalls];
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the last event does not arrive";
    }
    ASSERT_EQ(host_.States(call).size(), told + 2 * kToggles + 1);
    EXPECT_THAT(line_counts, testing::ElementsAre(testing::Key(1u)));
    EXPECT_THAT(address_counts, testing::ElementsAre(testing::Key(1u)));
}

TEST_F(line_status, say_in_service_whatever_the_state_of_the_softphone) {
    simulator::registration changed = phone_->Registration();
    changed.client_connected = false;
    changed.sip_connected = false;
    service_.ChangeSoftphone(changed, simulator::registration_change::kRefreshed);
    ASSERT_TRUE(Settled(kPhone));
    ExpectCounts(host_.Driver(line_), 0, 0);
}

TEST_F(line_status, need_all_of_their_room) {
    for (const std::size_t size : {std::size_t{87}, std::size_t{12}}) {
        patterned_structure answer(size);
        EXPECT_EQ(module_.TSPI_lineGetLineDevStatus(host_.Driver(line_), answer.As<LINEDEVSTATUS>()),
                  kStructureTooSmall);
        patterned_structure expected(size);
        expected.Set(4, 88);
        EXPECT_TRUE(SameBytes(expected, answer)) << size;
    }
    for (const std::size_t size : {std::size_t{63}, std::size_t{12}}) {
        patterned_structure answer(size);
        EXPECT_EQ(module_.TSPI_lineGetAddressStatus(host_.Driver(line_), 0, answer.As<LINEADDRESSSTATUS>()),
                  kStructureTooSmall);
        patterned_structure expected(size);
        expected.Set(4, 64);
        EXPECT_TRUE(SameBytes(expected, answer)) << size;
    }
}

TEST_F(line_status, do_not_look_at_the_address) {
    patterned_structure answer(64);
    EXPECT_EQ(module_.TSPI_lineGetAddressStatus(host_.Driver(line_), 4711, answer.As<LINEADDRESSSTATUS>()),
              0);
    EXPECT_TRUE(SameBytes(ExpectedAddressStatus(64, 0, 0), answer));
}

}  // namespace
}  // namespace brivelnox::test
