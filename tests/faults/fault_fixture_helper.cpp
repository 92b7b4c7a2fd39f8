#include "tests/faults/fault_fixture_helper.h"

#include <cstdio>

namespace brivelnox::test {

void PrintFigure(const std::string& row, const std::string& what, milliseconds figure) {
    std::printf("fault: %s: %s %lld ms\n", row.c_str(), what.c_str(), static_cast<long long>(figure.count()));
}

void PrintStart(const std::string& row, milliseconds started, milliseconds came) {
    PrintFigure(row, "started without lines after", started);
    PrintFigure(row, "line announced since the start after", came);
}

void PrintCount(const std::string& row, const std::string& what, std::size_t count) {
    std::printf("fault: %s: %s %zu\n", row.c_str(), what.c_str(), count);
}

void missing_service::SetUp() {
    service_.Unpublish();
    ASSERT_FALSE(simulator::registry_publication::Exists());
}

milliseconds missing_service::StartWithoutList() {
    since_start_ = {};
    EXPECT_EQ(host_.Start(), 0);
    const milliseconds took = SinceStart();
    EXPECT_GE(took, kListWaitAtLeast);
    EXPECT_LT(took, kListWaitAtMost);
    EXPECT_THAT(host_.Devices(), testing::IsEmpty());
    EXPECT_EQ(log_.Count(kManagerCategory, "Initial line count: 0"), 1u);
    return took;
}

milliseconds missing_service::LineComesWithTheTick(std::int32_t permanent_line_id) {
    EXPECT_TRUE(host_.WaitForDevices(1, kTickAtMost));
    const milliseconds came = SinceStart();
    EXPECT_GE(came, kTickAtLeast);
    EXPECT_LT(came, kTickAtMost);
    EXPECT_EQ(log_.Count("RsTspClient", "ReConnect"), 1u);
    if (!host_.Devices().empty()) {
        ExpectWorkingLine(host_.Devices().at(0).device_id, permanent_line_id);
    }
    return came;
}

void missing_service::ExpectWorkingLine(DWORD device_id, std::int32_t permanent_line_id) {
    HTAPILINE const line = host_.OpenLine(device_id);
    ASSERT_NE(line, nullptr);
    const auto phone = service_.FindSoftphone(permanent_line_id);
    ASSERT_NE(phone, nullptr);
    const std::uint64_t mark = host_.Mark();
    const std::string id = phone->Ring({"4711", "Anna"});
    HTAPICALL const call = host_.WaitForNewCall(line, kSoon, mark);
    ASSERT_NE(call, nullptr);
    EXPECT_TRUE(host_.WaitForCurrentState(call, LINECALLSTATE_ACCEPTED, kSoon));
    EXPECT_TRUE(phone->End(id, 200));
    EXPECT_TRUE(host_.WaitForCurrentState(call, LINECALLSTATE_IDLE, kSoon));
    EXPECT_EQ(host_.CloseCall(call), 0);
}

milliseconds lost_connection::ConnectsWithTheTick() {
    const std::size_t since = service_.ReceivedCount();
    EXPECT_TRUE(service_.WaitForConnection(kTickAtMost, 2));
    const milliseconds came = SinceStart();
    EXPECT_GE(came, kTickAtLeast);
    EXPECT_LT(came, kTickAtMost);
    const auto list = service_.WaitForRequest(simulator::request_kind::kGetClientRegistrations, kSoon, since);
    EXPECT_TRUE(list.has_value());
    if (list) {
        EXPECT_EQ(list->connection, 2u);
    }
    EXPECT_EQ(log_.Count("RsTspClient", "ReConnect"), 1u);
    return came;
}

milliseconds lost_connection::CallAndDrop() {
    const stopwatch took;
    const host::request_result made = host_.MakeCall(line_, L"4711");
    EXPECT_TRUE(made.Accepted());
    EXPECT_EQ(host_.WaitForCompletion(made.request_id, kSoon), 0);
    EXPECT_TRUE(host_.Drop(made.call).Accepted());
    EXPECT_EQ(host_.CloseCall(made.call), 0);
    return took.Elapsed();
}

}  // namespace brivelnox::test
