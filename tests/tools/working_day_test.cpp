// The working day with a provider that does not do its work: it must not pass.

#include "tools/demonstration/working_day.h"

#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/fake_provider_helper.h"
#include "tests/tools/program_helper.h"
#include "tools/demonstration/application.h"
#include "tools/demonstration/merged_print.h"
#include "tools/service_simulator/simulator_process.h"
#include "tools/telephony_host/telephony_host.h"

namespace brivelnox::test {
namespace {

using namespace std::chrono_literals;
using demonstration::application;
using demonstration::merged_print;
using demonstration::working_day;
using simulator::simulator_process;
using simulator::wire_report;
using testing::Contains;
using testing::StartsWith;

TEST(working_day, fails_with_a_provider_that_does_nothing) {
    fake_provider provider;
    std::vector<std::string> lines;
    bool passed = true;
    {
        merged_print print(merged_print::clock::now(),
                           [&](const std::string& line) { lines.push_back(line); });
        simulator_process service(ProgramFolder() + L"service_simulator.exe", [](const wire_report&) {});
        host::telephony_host host(provider.Module());
        application dialler(host, print);
        passed = working_day(dialler, service, print, 50ms).Play();
    }
    EXPECT_FALSE(passed);
    EXPECT_THAT(
        lines, Contains(StartsWith("FAILED  1. the lines are listed with name and permanent id: expected:")));
    EXPECT_THAT(lines, Contains(StartsWith("FAILED  2. ")));
    EXPECT_THAT(lines,
                Contains(StartsWith("FAILED  7. a softphone registers and appears as a new line: expected: "
                                    "LINE_CREATE")));
}

TEST(working_day, fails_with_a_provider_that_breaks_its_contract) {
    fake_provider provider;
    std::vector<std::string> lines;
    {
        merged_print print(merged_print::clock::now(),
                           [&](const std::string& line) { lines.push_back(line); });
        simulator_process service(ProgramFolder() + L"service_simulator.exe", [](const wire_report&) {});
        host::telephony_host host(provider.Module());
        application dialler(host, print);
        EXPECT_EQ(host.Start(), 0);
        provider.completion(4711, 0);
        EXPECT_EQ(host.Shutdown(), 0);
        EXPECT_FALSE(working_day(dialler, service, print, 50ms).Play());
    }
    EXPECT_THAT(lines, Contains(StartsWith("breach: request 4711 was completed but never issued")));
    EXPECT_THAT(lines, Contains(StartsWith("FAILED  10. the provider kept its contract with TAPI")));
}

}  // namespace
}  // namespace brivelnox::test
