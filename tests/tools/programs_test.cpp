// The two programs with the built provider, as a newcomer starts them.

#include <chrono>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/program_helper.h"
#include "tools/service_simulator/registry_publication.h"
#include "tools/service_simulator/simulator_process.h"

namespace brivelnox::test {
namespace {

using namespace std::chrono_literals;
using simulator::simulator_process;
using simulator::simulator_reply;
using simulator::wire_report;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

constexpr std::chrono::milliseconds kPatience{90000};

std::wstring WithProvider(const std::wstring& mode) {
    return mode + L" --provider \"" + ProviderFile() + L"\"";
}

TEST(demonstration_program, plays_a_working_day) {
    const program_result day = RunProgram(L"demonstration.exe", WithProvider(L"--day"), "", kPatience);
    EXPECT_TRUE(day.ended);
    EXPECT_EQ(day.exit_code, 0U) << day.output;
    for (int step = 1; step <= 10; ++step) {
        EXPECT_THAT(day.output, HasSubstr("ok      " + std::to_string(step) + ". "));
    }
    EXPECT_THAT(day.output, HasSubstr("breaches: none"));
    EXPECT_THAT(day.output, HasSubstr("Brivelnox.Tsp\\logs\\Brivelnox.Tsp.log"));
    EXPECT_THAT(day.output, Not(HasSubstr("FAILED")));
    EXPECT_FALSE(simulator::registry_publication::Exists());
}

TEST(demonstration_program, takes_commands) {
    const program_result session = RunProgram(L"demonstration.exe", WithProvider(L"--interactive"),
                                              "list\n"
                                              "open\n"
                                              "ring 1001 +4930123 \"Dora M\xC3\xBCller\"\n"
                                              "wait accepted\n"
                                              "info\n"
                                              "status\n"
                                              "answer\n"
                                              "wait connected\n"
                                              "digits 12\n"
                                              "hold\n"
                                              "wait onhold\n"
                                              "unhold\n"
                                              "wait connected\n"
                                              "transfer\n"
                                              "park 1001\n"
                                              "wait onhold\n"
                                              "dial 202\n"
                                              "wait ringback\n"
                                              "connect 1001\n"
                                              "wait connected\n"
                                              "complete\n"
                                              "wait idle\n"
                                              "dance\n"
                                              "help\n"
                                              "quit\n",
                                              kPatience);
    EXPECT_TRUE(session.ended);
    EXPECT_EQ(session.exit_code, 0U) << session.output;
    for (const char* const text :
         {"device 1  permanent id 1001  Anna Berger (Reception)  closed",
          "caller +4930123 \"Dora M\xC3\xBCller\"", "ACCEPTED, features ANSWER|DROP|REDIRECT",
          "> acceptCall line=1001 call=1001-1", "digits=12", "> holdCall", "> resumeCall", "DIALTONE",
          "> placeCall line=1001", "> transferCall line=1001", "error: unknown command dance, try help",
          "unregister <line>", "The provider kept its contract with TAPI."}) {
        EXPECT_THAT(session.output, HasSubstr(text));
    }
    EXPECT_THAT(session.output, Not(HasSubstr("breach:")));
}

TEST(demonstration_program, ends_in_good_order_with_its_input) {
    const program_result session = RunProgram(L"demonstration.exe", WithProvider(L"--interactive"),
                                              "open 1\nring 1001 5\nwait accepted", kPatience);
    EXPECT_TRUE(session.ended);
    EXPECT_EQ(session.exit_code, 0U) << session.output;
    EXPECT_THAT(session.output, HasSubstr("> hangupCall line=1001"));
    EXPECT_THAT(session.output, HasSubstr("The provider kept its contract with TAPI."));
}

TEST(demonstration_program, says_what_is_wrong) {
    const program_result usage = RunProgram(L"demonstration.exe", L"--night", "", kPatience);
    EXPECT_EQ(usage.exit_code, 2U);
    EXPECT_THAT(usage.output, HasSubstr("usage: demonstration"));
    const program_result missing =
        RunProgram(L"demonstration.exe", L"--day --provider C:\\missing.tsp", "", kPatience);
    EXPECT_EQ(missing.exit_code, 1U);
    EXPECT_THAT(missing.output, HasSubstr("the provider cannot be loaded"));
    const program_result foreign =
        RunProgram(L"demonstration.exe", L"--day --provider kernel32.dll", "", kPatience);
    EXPECT_EQ(foreign.exit_code, 1U);
    EXPECT_THAT(foreign.output, HasSubstr("does not export TSPI_lineNegotiateTSPIVersion"));
}

TEST(service_simulator_program, publishes_itself_while_it_runs) {
    std::mutex mutex;
    std::vector<std::string> notes;
    {
        simulator_process service(ProgramFolder() + L"service_simulator.exe", [&](const wire_report& line) {
            const std::lock_guard lock(mutex);
            notes.push_back(line.direction + " " + line.text);
        });
        EXPECT_EQ(simulator::registry_publication::Read(simulator::kUpAndRunningValue, 0), 1U);
        EXPECT_EQ(simulator::registry_publication::Read(simulator::kPortValue, 0), service.Port());
        EXPECT_TRUE(service.Command("register 7 \"Se ven\"").success);
        const simulator_reply phones = service.Command("phones");
        EXPECT_THAT(phones.lines, ElementsAre("PHONE 7 \"Se ven\" port 5070 client on sip on"));
        EXPECT_EQ(service.Command("ring 7 1").text, "7-1");
        const simulator_reply wrong = service.Command("dance");
        EXPECT_FALSE(wrong.success);
        EXPECT_EQ(wrong.text, "unknown command dance");
    }
    EXPECT_FALSE(simulator::registry_publication::Exists());
}

TEST(service_simulator_program, ends_with_its_input) {
    const program_result run = RunProgram(L"service_simulator.exe", L"", "", kPatience);
    EXPECT_TRUE(run.ended);
    EXPECT_EQ(run.exit_code, 0U);
    EXPECT_THAT(run.output, MatchesRegex("READY \\d+\n"));
    EXPECT_FALSE(simulator::registry_publication::Exists());
}

TEST(service_simulator_program, takes_a_port_or_says_what_is_wrong) {
    EXPECT_EQ(RunProgram(L"service_simulator.exe", L"--port x", "", kPatience).exit_code, 2U);
    const program_result run = RunProgram(L"service_simulator.exe", L"--port 70000", "", kPatience);
    EXPECT_EQ(run.exit_code, 2U);
    EXPECT_THAT(run.output, HasSubstr("usage: service_simulator"));
}

TEST(simulator_process, refuses_a_program_that_is_not_there) {
    EXPECT_THROW(simulator_process(L"C:\\missing.exe", [](const wire_report&) {}), std::runtime_error);
}

}  // namespace
}  // namespace brivelnox::test
