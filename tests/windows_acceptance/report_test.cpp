#include "tools/windows_acceptance/report.h"

#include <array>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/windows_acceptance/bench.h"
#include "tools/windows_acceptance/steps.h"

namespace brivelnox::test {
namespace {

using acceptance::bench;
using acceptance::left_out;
using acceptance::report_row;
using acceptance::step;
using acceptance::verdict;

constexpr std::array kSteps = {
    step{"good", "It works", "by doing", [](bench&) -> std::string { return "a \"word\""; }},
    step{"bad", "It breaks", "by doing",
         [](bench&) -> std::string { throw std::runtime_error("one\r\ntwo|\n"); }},
    step{"none", "It is not there", "by looking",
         [](bench&) -> std::string { throw left_out("no such thing"); }},
};

class acceptance_report : public testing::Test {
  protected:
    acceptance_report() {
        bench machine({});
        for (const step& each : kSteps) {
            rows_.push_back({&each, acceptance::RunStep(each, machine)});
            rows_.back().seen.seconds = 1.25;
        }
    }

    const acceptance::report_head head_ = {"Windows 10.0.1", "1.0", "2026-11-22"};
    std::vector<report_row> rows_;
};

TEST_F(acceptance_report, has_the_verdict_of_each_step) {
    EXPECT_EQ(rows_[0].seen.what, verdict::kPassed);
    EXPECT_EQ(rows_[1].seen.what, verdict::kFailed);
    EXPECT_EQ(rows_[2].seen.what, verdict::kLeftOut);
}

TEST_F(acceptance_report, is_json) {
    rows_.resize(2);
    EXPECT_EQ(
        acceptance::ToJson(head_, rows_),
        "{\n  \"system\": \"Windows 10.0.1\",\n  \"version\": \"1.0\",\n  \"day\": \"2026-11-22\",\n"
        "  \"steps\": [\n"
        "    {\"name\": \"good\", \"claim\": \"It works\", \"how\": \"by doing\", \"verdict\": \"passed\", "
        "\"text\": \"a \\\"word\\\"\", \"seconds\": 1.2},\n"
        "    {\"name\": \"bad\", \"claim\": \"It breaks\", \"how\": \"by doing\", \"verdict\": \"FAILED\", "
        "\"text\": \"one\\u000d\\u000atwo|\\u000a\", \"seconds\": 1.2}\n"
        "  ]\n}\n");
}

TEST_F(acceptance_report, is_a_table) {
    EXPECT_EQ(
        acceptance::ToMarkdown(head_, rows_),
        "Windows 10.0.1, version 1.0, 2026-11-22:\n\n| step | claim | result | seen |\n|---|---|---|---|\n"
        "| `good` | It works | passed | a \"word\" (1.2 s) |\n"
        "| `bad` | It breaks | FAILED | one<br>two\\| (1.2 s) |\n"
        "| `none` | It is not there | left out | no such thing (1.2 s) |\n");
}

TEST(windows_page, has_each_claim) {
    const std::string page = acceptance::ReadFile(BRIVELNOX_WINDOWS_PAGE);
    for (const step& each : acceptance::AllSteps()) {
        EXPECT_THAT(page, testing::HasSubstr(std::string("| `") + each.name + "` | " + each.claim + " | "));
    }
}

}  // namespace
}  // namespace brivelnox::test
