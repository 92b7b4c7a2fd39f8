// A log that cannot be written, each time for another reason: the lines are lost, and the application notices
// nothing.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "tests/dll/pe_image_helper.h"
#include "tests/faults/fault_fixture_helper.h"
#include "tests/faults/log_place_helper.h"
#include "tests/support/looked_up.h"
#include "tests/support/unix_pipe.h"

namespace brivelnox::test {
namespace {

using testing::IsEmpty;

constexpr std::int32_t kPhone = 1001;

/// A provider that is loaded, used and unloaded again, as by one life of the telephony service.
class provider_life {
  public:
    explicit provider_life(simulator::service_simulator& service) : service_(service) {}

    void Start() {
        ASSERT_EQ(host_.Start(), 0);
        ASSERT_EQ(host_.Devices().size(), 1u);
        line_ = host_.OpenLine(host_.Devices().front().device_id);
        ASSERT_NE(line_, nullptr);
    }

    /// A call from the softphone and one to it, both to their ends.
    void Work() {
        const auto phone = Found(service_.FindSoftphone(kPhone));
        const std::uint64_t mark = host_.Mark();
        const std::string id = phone->Ring({"4711", "Anna"});
        HTAPICALL const incoming = host_.WaitForNewCall(line_, kSoon, mark);
        ASSERT_TRUE(host_.WaitForCurrentState(incoming, LINECALLSTATE_ACCEPTED, kSoon));
        EXPECT_TRUE(host_.Answer(incoming).Accepted());
        ASSERT_TRUE(host_.WaitForCurrentState(incoming, LINECALLSTATE_CONNECTED, kSoon));
        EXPECT_EQ(Found(host_.GetCallInfo(incoming))->caller.number, L"4711");
        EXPECT_TRUE(phone->End(id, 200));
        ASSERT_TRUE(host_.WaitForCurrentState(incoming, LINECALLSTATE_IDLE, kSoon));
        EXPECT_EQ(host_.CloseCall(incoming), 0);
        const host::request_result made = host_.MakeCall(line_, L"4712");
        EXPECT_TRUE(made.Accepted());
        EXPECT_EQ(host_.WaitForCompletion(made.request_id, kSoon), 0);
        ASSERT_TRUE(host_.WaitForCurrentState(made.call, LINECALLSTATE_RINGBACK, kSoon));
        EXPECT_TRUE(host_.Drop(made.call).Accepted());
        EXPECT_EQ(host_.CloseCall(made.call), 0);
    }

    void Stop() {
        EXPECT_EQ(host_.Shutdown(), 0);
        EXPECT_THAT(host_.Checker().Breaches(), IsEmpty());
    }

  private:
    simulator::service_simulator& service_;
    host::provider_module module_{BuiltProviderPath().wstring()};
    host::telephony_host host_{module_};
    HTAPILINE line_ = nullptr;
};

/// Fixture: a service with one softphone, and the place of the log.
class provider_log : public testing::Test {
  protected:
    void SetUp() override {
        simulator::registration subject;
        subject.permanent_line_id = kPhone;
        subject.tapi_line_name = "Desk 1001";
        (void)service_.AddSoftphone(subject, simulator::announcement::kSilent);
        service_.Start();
        service_.Publish();
    }

    /// One life of the provider with the log as it is; the fault is lifted in the middle of it. Then it logs
    /// again, with the next line.
    void LiveWithAndWithout(const std::string& row, const std::function<void()>& lift) {
        const stopwatch living;
        provider_life life(service_);
        life.Start();
        life.Work();
        const milliseconds with = living.Elapsed();
        lift();
        const log_reader log = log_reader::OfProvider();
        const stopwatch lifted;
        life.Work();
        const milliseconds without = lifted.Elapsed();
        EXPECT_EQ(log.CountStarting("Line", "MakeCall Desk 1001"), 1u);
        life.Stop();
        EXPECT_EQ(log.Count("TelephonyManager", "TSPI_providerShutdown"), 1u);
        EXPECT_LT(with, kAtOnce);
        PrintFigure(row, "start and two calls took", with);
        PrintFigure(row, "two calls with the log again took", without);
    }

    log_place place_;
    simulator::service_simulator service_;
};

using log_that_cannot_be_written = provider_log;

TEST_F(log_that_cannot_be_written, for_want_of_its_folder_costs_nothing_but_the_lines) {
    place_.PutAFileInPlaceOfTheFolder();
    LiveWithAndWithout("log folder missing", [this] {
        EXPECT_EQ(GetFileAttributesW(place_.File().c_str()), INVALID_FILE_ATTRIBUTES);
        place_.PutTheFolderBack();
    });
}

TEST_F(log_that_cannot_be_written, because_it_is_read_only_costs_nothing_but_the_lines) {
    place_.WriteFile("kept\r\n");
    std::printf("fault: log read-only: %s\n", place_.KeepEverybodyFromWriting().c_str());
    const std::string before = log_place::Read(place_.File());
    LiveWithAndWithout("log read-only", [&] {
        EXPECT_EQ(log_place::Read(place_.File()), before);
        place_.RemoveFile();
    });
}

TEST_F(log_that_cannot_be_written, because_its_disk_is_full_costs_nothing_but_the_lines) {
    if (const std::string why = place_.LetTheFileGrowToTheLargestSize(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    LiveWithAndWithout("log on a full disk", [this] { place_.RemoveFile(); });
}

TEST_F(log_that_cannot_be_written, because_another_program_keeps_it_to_itself_costs_nothing_but_the_lines) {
    place_.WriteFile("kept\r\n");
    unique_file held(CreateFileW(place_.File().c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                 OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(held);
    LiveWithAndWithout("log held open by another program", [&] {
        EXPECT_EQ(GetFileSize(held.get(), nullptr), DWORD{sizeof("kept\r\n") - 1});
        held.reset();
    });
}

TEST_F(log_that_cannot_be_written, because_a_pipe_has_its_place_costs_nothing_but_the_lines) {
    auto pipe = std::make_unique<unix_pipe>(place_.File());
    if (!pipe->IsThere()) {
        GTEST_SKIP() << "a pipe in a file's place cannot be made here";
    }
    LiveWithAndWithout("pipe in the log's place", [&] {
        EXPECT_EQ(pipe->Take(), "");
        pipe.reset();
    });
}

using clock_set_over_midnight = provider_log;

TEST_F(clock_set_over_midnight, and_back_puts_the_log_away_once_and_then_goes_on_with_it) {
    // Each life of the provider meets the file of another day: it was written before midnight, or after it
    // and the clock has been put back since.
    const stopwatch living;
    place_.WriteFile("yesterday's\r\n");
    for (const int day : {-1, 1, -1, 1}) {
        place_.DateFile(day);
        const log_reader log = log_reader::OfProvider();
        provider_life life(service_);
        life.Start();
        life.Work();
        life.Stop();
        EXPECT_EQ(log.CountStarting("Line", "MakeCall Desk 1001"), 1u) << "from day " << day;
    }
    const milliseconds lived = living.Elapsed();
    EXPECT_LT(lived, milliseconds(15000));
    // Put away once. The backup of that name then keeps its place, and the current file goes on growing.
    EXPECT_EQ(log_place::Read(place_.BackupOfToday()), "yesterday's\r\n");
    const std::string all = log_place::Read(place_.File());
    std::size_t starts = 0;
    for (std::size_t at = all.find("TSPI_providerInit"); at != std::string::npos;
         at = all.find("TSPI_providerInit", at + 1)) {
        ++starts;
    }
    EXPECT_EQ(starts, 4u);
    PrintFigure("clock set back and forth over midnight", "four lives with two calls each took", lived);
}

}  // namespace
}  // namespace brivelnox::test
