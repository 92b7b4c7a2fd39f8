// The client that is written for Windows' own TAPI, with the built provider, in each way of notification. A
// suite for each, so that they run side by side.

#include <chrono>
#include <string>

#include "tests/tapi32/tapi_application_helper.h"
#include "tests/tools/program_helper.h"

namespace brivelnox::test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::chrono::milliseconds kPatience{120000};

program_result RunClient(const std::wstring& arguments, const std::string& input = {}) {
    return RunProgram(L"..\\tests\\tapi_client.exe", arguments, input, kPatience);
}

std::wstring WithSimulator(const std::wstring& mode) {
    return L"--mode " + mode + L" --simulator \"" + ProgramFolder() + L"service_simulator.exe\"";
}

class client_program : public provider_list {
  protected:
    static void PlayWorkingDay(const std::wstring& mode) {
        (void)Add(BuiltProvider());
        const program_result day = RunClient(WithSimulator(mode) + L" working-day");
        EXPECT_TRUE(day.ended);
        EXPECT_EQ(day.exit_code, 0U) << day.output;
        for (int step = 1; step <= 10; ++step) {
            EXPECT_THAT(day.output, HasSubstr("ok      " + std::to_string(step) + ". "));
        }
        EXPECT_THAT(day.output, Not(HasSubstr("SURPRISE")));
        EXPECT_THAT(day.output, Not(HasSubstr("breach")));
    }
};

using client_by_window = client_program;
using client_by_event = client_program;
using client_by_port = client_program;

TEST_F(client_by_window, plays_a_working_day) {
    PlayWorkingDay(L"window");
}

TEST_F(client_by_event, plays_a_working_day) {
    PlayWorkingDay(L"event");
}

TEST_F(client_by_port, plays_a_working_day) {
    PlayWorkingDay(L"port");
}

TEST_F(client_program, fails_with_a_working_day_that_does_not_happen) {
    const program_result day = RunClient(WithSimulator(L"event") + L" --patience 0 working-day");
    EXPECT_TRUE(day.ended);
    EXPECT_EQ(day.exit_code, 1U) << day.output;
    EXPECT_THAT(day.output, HasSubstr("FAILED  1. the lines are found by name and opened: expected: a line"));
    EXPECT_THAT(day.output, HasSubstr("FAILED  5. a busy number: expected: a line that is open"));
    EXPECT_THAT(day.output, HasSubstr("ok      9. "));
}

TEST_F(client_program, takes_commands) {
    (void)Add(BuiltProvider());
    const program_result session = RunClient(WithSimulator(L"event"),
                                             "service register 1001 \"Anna Berger\"\n"
                                             "open \"Anna Berger\"\n"
                                             "lines\n"
                                             "service ring 1001 +4930123 \"Dora M\xC3\xBCller\"\n"
                                             "wait accepted\n"
                                             "info\n"
                                             "status\n"
                                             "answer\n"
                                             "wait connected\n"
                                             "digits 12\n"
                                             "hold\n"
                                             "wait onhold\n"
                                             "make 202\n"
                                             "wait ringback\n"
                                             "service connect 1001\n"
                                             "wait connected\n"
                                             "swap\n"
                                             "drop\n"
                                             "wait idle\n"
                                             "free\n"
                                             "quit\n");
    EXPECT_TRUE(session.ended);
    EXPECT_EQ(session.exit_code, 0U) << session.output;
    for (const char* const text :
         {"permanent id 1001  Anna Berger  open", "LINE_APPNEWCALL", "INBOUND",
          "caller +4930123 \"Dora M\xC3\xBCller\"", "ACCEPTED, features ANSWER|DROP|REDIRECT", "LINE_REPLY",
          ": ONHOLD", ": RINGBACK", "lineSwapHold", "lineDeallocateCall", "lineShutdown: 0"}) {
        EXPECT_THAT(session.output, HasSubstr(text));
    }
}

TEST_F(client_program, fails_when_a_command_does) {
    const program_result session = RunClient(L"--mode port", "answer\ndance\nservice phones\nmake 1\nhelp\n");
    EXPECT_TRUE(session.ended);
    EXPECT_EQ(session.exit_code, 1U);
    for (const char* const text :
         {"error: no call is in a state for that", "error: unknown command dance, try help",
          "error: there is no simulated service", "error: no such line is open", "blind <number>"}) {
        EXPECT_THAT(session.output, HasSubstr(text));
    }
}

TEST_F(client_program, says_how_it_is_used) {
    for (const wchar_t* const arguments :
         {L"", L"--mode", L"--mode pigeon", L"--mode event night", L"--mode event --line X working-day",
          L"--mode event --patience long"}) {
        const program_result usage = RunClient(arguments);
        EXPECT_EQ(usage.exit_code, 2U);
        EXPECT_THAT(usage.output, HasSubstr("usage: tapi_client"));
    }
}

}  // namespace
}  // namespace brivelnox::test
