// The table of commands that both consoles are made of.

#include "tools/console/command_table.h"

#include <optional>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brivelnox::test {
namespace {

using console::command_table;
using console::words;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

class commands : public testing::Test {
  protected:
    words given_;
    const command_table table_{{
        {"ring", "<line> on|off [name] [second name]", "an incoming call",
         [this](const words& arguments) {
             given_ = arguments;
             return std::string("rung");
         }},
        {"list", "", "the lines", [](const words&) { return std::string(); }},
        {"refuse", "[why]", "always wrong",
         [](const words& arguments) -> std::string { console::Refuse(arguments.at(0)); }},
    }};

    std::string Refusal(const words& line) {
        try {
            (void)table_.Run(line);
        } catch (const std::invalid_argument& refused) {
            return refused.what();
        }
        return "not refused";
    }
};

TEST_F(commands, get_the_words_behind_their_name_and_return_a_result) {
    EXPECT_EQ(table_.Run({"ring", "7", "on", "Dora Lindt"}), "rung");
    EXPECT_THAT(given_, ElementsAre("7", "on", "Dora Lindt"));
    EXPECT_EQ(table_.Run({"list"}), "");
}

TEST_F(commands, are_refused_with_their_usage_when_words_are_missing) {
    EXPECT_EQ(table_.Run({"ring", "7", "on"}), "rung");
    EXPECT_EQ(Refusal({"ring", "7"}), "usage: ring <line> on|off [name] [second name]");
    EXPECT_EQ(Refusal({"ring"}), "usage: ring <line> on|off [name] [second name]");
}

TEST_F(commands, say_themselves_what_is_wrong) {
    EXPECT_EQ(Refusal({"refuse", "not today"}), "not today");
}

TEST_F(commands, that_are_not_in_the_table_are_nothing) {
    EXPECT_EQ(table_.Run({"Ring", "7", "on"}), std::nullopt);
    EXPECT_EQ(table_.Run({}), std::nullopt);
}

TEST_F(commands, have_their_help_in_one_column_unless_the_arguments_take_its_room) {
    const words help = table_.Help();
    ASSERT_THAT(help, SizeIs(3));
    EXPECT_EQ(help[0], "ring <line> on|off [name] [second name]  an incoming call");
    EXPECT_THAT(help[1], AllOf(StartsWith("list "), HasSubstr("  the lines")));
    EXPECT_THAT(help[2], StartsWith("refuse [why] "));
    EXPECT_EQ(help[1].find("the lines"), help[2].find("always wrong"));
}

}  // namespace
}  // namespace brivelnox::test
