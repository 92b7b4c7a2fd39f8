// The commands of the service's program, carried out in this process.

#include "tools/service_simulator/simulator_console.h"

#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using simulator::request;
using simulator::request_kind;
using simulator::service_simulator;
using simulator::simulator_console;
using simulator::wire_direction;
using simulator::WireReport;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class console_of_the_simulator : public testing::Test {
  protected:
    /// The lines that a command prints.
    std::vector<std::string> Run(const std::string& line) {
        printed_.clear();
        going_on_ = console_.Execute(line);
        return printed_;
    }

    service_simulator service_;
    std::vector<std::string> printed_;
    bool going_on_ = true;
    simulator_console console_{service_, [this](const std::string& line) { printed_.push_back(line); }};
};

TEST_F(console_of_the_simulator, registers_and_lists_softphones) {
    EXPECT_THAT(Run("register 1001 \"Anna M\\xFCller\" 5080"), ElementsAre("OK register 1001"));
    EXPECT_THAT(Run("phones"),
                ElementsAre("PHONE 1001 \"Anna M\\xFCller\" port 5080 client on sip on", "OK phones"));
    EXPECT_EQ(service_.Registrations().at(0).tapi_line_name, "Anna M\xFCller");
    EXPECT_THAT(Run("status 1001 sip off"), ElementsAre("OK status 1001"));
    EXPECT_FALSE(service_.Registrations().at(0).sip_connected);
    EXPECT_THAT(Run("status 1001 client off"), ElementsAre("OK status 1001"));
    EXPECT_FALSE(service_.Registrations().at(0).client_connected);
    EXPECT_THAT(Run("unregister 1001"), ElementsAre("OK unregister 1001"));
    EXPECT_THAT(Run("phones"), ElementsAre("OK phones"));
}

TEST_F(console_of_the_simulator, plays_calls) {
    (void)Run("register 7 Seven");
    EXPECT_THAT(Run("ring 7 +49301 \"Dora Lindt\" 8 Eight CFB"), ElementsAre("OK ring 7-1"));
    EXPECT_THAT(Run("phonecalls 7"),
                ElementsAre("CALL 7-1 Ringing incoming +49301 \"Dora Lindt\"", "OK phonecalls"));
    const auto phone = Found(service_.FindSoftphone(7));
    EXPECT_EQ(Found(Found(phone->FindCall("7-1"))->forwarded_by)->forward_type, "CFB");
    EXPECT_THAT(Run("connect 7"), ElementsAre("OK connect 7-1"));
    EXPECT_EQ(Found(phone->FindCall("7-1"))->call_state, "Connected");
    EXPECT_THAT(Run("park 7 7-1"), ElementsAre("OK park 7-1"));
    EXPECT_EQ(Found(phone->FindCall("7-1"))->call_state, "Parked");
    EXPECT_THAT(Run("state 7 Consult"), ElementsAre("OK state 7-1"));
    EXPECT_EQ(Found(phone->FindCall("7-1"))->call_state, "Consult");
    EXPECT_THAT(Run("hangup 7 486"), ElementsAre("OK hangup 7-1"));
    EXPECT_EQ(Found(phone->FindCall("7-1"))->call_reason, 486);
    EXPECT_THAT(Run("remove 7"), ElementsAre("OK remove 7-1"));
    EXPECT_THAT(phone->Calls(), IsEmpty());
    EXPECT_THAT(Run("phonedial 7 200"), ElementsAre("OK phonedial 7-2"));
    EXPECT_THAT(Run("ringback 7"), ElementsAre("OK ringback 7-2"));
    EXPECT_TRUE(Found(phone->FindCall("7-2"))->is_caller);
}

TEST_F(console_of_the_simulator, tells_the_digits_played) {
    (void)Run("register 7");
    (void)Run("ring 7 1");
    request digits;
    digits.kind = request_kind::kPlayDtmf;
    digits.permanent_line_id = 7;
    digits.client_call_id = "7-1";
    digits.digits = "12#";
    Found(service_.FindSoftphone(7))->Handle(digits);
    EXPECT_THAT(Run("digits 7"), ElementsAre("OK digits 12#"));
}

TEST_F(console_of_the_simulator, sets_what_a_dialled_number_does) {
    (void)Run("register 7");
    EXPECT_THAT(Run("plan 7 200 busy"), ElementsAre("OK plan 200"));
    EXPECT_THAT(Run("plan 7 200 engaged"),
                ElementsAre(HasSubstr("ringback, answered, busy, unknown, silent")));
    EXPECT_THAT(Run("automatic 7 off"), ElementsAre("OK automatic off"));
}

TEST_F(console_of_the_simulator, refuses_what_it_does_not_understand) {
    EXPECT_THAT(Run("dance"), ElementsAre("ERR unknown command dance"));
    EXPECT_THAT(Run("ring 7"), ElementsAre(StartsWith("ERR usage: ring <line> <number>")));
    EXPECT_THAT(Run("ring x 1"), ElementsAre("ERR the line must be a number: x"));
    EXPECT_THAT(Run("ring 7 1"), ElementsAre("ERR no softphone 7"));
    EXPECT_THAT(Run("unregister 7"), ElementsAre("ERR no softphone 7"));
    (void)Run("register 7");
    EXPECT_THAT(Run("connect 7"), ElementsAre("ERR the softphone has no call"));
    EXPECT_THAT(Run("connect 7 c9"), ElementsAre("ERR no call c9"));
    EXPECT_THAT(Run("remove 7 c9"), ElementsAre("ERR no call c9"));
    EXPECT_THAT(Run("hangup 7 x"), ElementsAre("ERR the softphone has no call"));
    EXPECT_THAT(Run("digits 7 c9"), ElementsAre("ERR no call c9"));
    EXPECT_THAT(Run("status 7 tea on"), ElementsAre("ERR client or sip, not tea"));
    EXPECT_THAT(Run("reading maybe"), ElementsAre("ERR on or off, not maybe"));
    EXPECT_THAT(Run("answers tea on"), ElementsAre("ERR list or keepalive, not tea"));
    EXPECT_TRUE(going_on_);
}

TEST_F(console_of_the_simulator, misbehaves_on_command) {
    service_.Start();
    EXPECT_THAT(Run("answers list off"), ElementsAre("OK answers off"));
    EXPECT_THAT(Run("answers keepalive off"), ElementsAre("OK answers off"));
    EXPECT_THAT(Run("reading off"), ElementsAre("OK reading off"));
    EXPECT_THAT(Run("reading on"), ElementsAre("OK reading on"));
    EXPECT_THAT(Run("raw \\x00\\xFF"), ElementsAre("OK raw 2"));
    EXPECT_THAT(Run("break reset"), ElementsAre("OK break reset"));
    const std::vector<std::string> restarted = Run("restart");
    EXPECT_THAT(restarted, ElementsAre("OK restart " + std::to_string(service_.Port())));
}

TEST_F(console_of_the_simulator, ends_with_quit_only) {
    EXPECT_THAT(Run("   "), IsEmpty());
    EXPECT_TRUE(going_on_);
    const std::vector<std::string> help = Run("help");
    EXPECT_GT(help.size(), 20U);
    EXPECT_EQ(Last(help), "OK help");
    EXPECT_TRUE(going_on_);
    EXPECT_THAT(Run("quit"), ElementsAre("OK quit"));
    EXPECT_FALSE(going_on_);
}

TEST(wire_report, is_one_line_that_a_program_can_read) {
    const std::chrono::steady_clock::time_point time{std::chrono::microseconds(1234567)};
    EXPECT_EQ(WireReport({wire_direction::kReceived, 2, "<msg>\n", time}), "WIRE 1234567 in 2 <msg>\\x0A");
    EXPECT_EQ(WireReport({wire_direction::kSent, 1, "x", time}), "WIRE 1234567 out 1 x");
    EXPECT_EQ(WireReport({wire_direction::kNote, 0, "connected", time}), "WIRE 1234567 note 0 connected");
}

}  // namespace
}  // namespace brivelnox::test
