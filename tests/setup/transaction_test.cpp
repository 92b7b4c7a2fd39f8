#include "tools/setup/transaction.h"

#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/setup/failure.h"

namespace brivelnox::test {
namespace {

using setup::outcome;
using testing::ElementsAre;
using testing::IsEmpty;

/// What a step of these tests does.
struct behaviour {
    bool fails = false;
    bool undo_fails = false;
    bool has_nothing_to_undo = false;
    bool waits_for_next_start = false;
};

/// Notes what is asked of it.
class noting_step : public setup::step {
  public:
    noting_step(std::string name, behaviour how, std::vector<std::string>& notes)
        : name_(std::move(name)), how_(how), notes_(notes) {}

    [[nodiscard]] std::string Title() const override { return name_; }
    std::string Do() override {
        notes_.push_back("do " + name_);
        if (how_.fails) {
            throw setup::failure("it is broken");
        }
        return "well";
    }
    bool Undo() override {
        notes_.push_back("undo " + name_);
        if (how_.undo_fails) {
            throw setup::failure("it stays");
        }
        return !how_.has_nothing_to_undo;
    }
    bool Finish() override {
        notes_.push_back("finish " + name_);
        return how_.waits_for_next_start;
    }

  private:
    const std::string name_;
    const behaviour how_;
    std::vector<std::string>& notes_;
};

class transaction : public testing::Test {
  protected:
    void Add(const std::string& name, behaviour how = {}) {
        steps_.push_back(std::make_unique<noting_step>(name, how, notes_));
    }
    outcome Run() {
        return RunSteps(steps_, [this](const std::string& line) { lines_.push_back(line); });
    }

    std::vector<std::string> notes_;
    std::vector<std::string> lines_;

  private:
    setup::step_list steps_;
};

TEST_F(transaction, does_every_step_and_then_finishes_all) {
    Add("a");
    Add("b");
    EXPECT_EQ(Run(), outcome::kDone);
    EXPECT_THAT(notes_, ElementsAre("do a", "do b", "finish a", "finish b"));
    EXPECT_THAT(lines_, ElementsAre("done        a: well", "done        b: well"));
}

TEST_F(transaction, of_nothing_is_done) {
    EXPECT_EQ(Run(), outcome::kDone);
    EXPECT_THAT(lines_, IsEmpty());
}

TEST_F(transaction, undoes_the_step_that_failed_and_those_before_it_last_one_first) {
    Add("a");
    Add("b");
    Add("c", {.fails = true});
    Add("d");
    EXPECT_EQ(Run(), outcome::kUndone);
    EXPECT_THAT(notes_, ElementsAre("do a", "do b", "do c", "undo c", "undo b", "undo a"));
    EXPECT_THAT(lines_,
                ElementsAre("done        a: well", "done        b: well", "FAILED      c: it is broken",
                            "undone      c", "undone      b", "undone      a"));
}

TEST_F(transaction, says_nothing_of_a_step_with_nothing_to_undo) {
    Add("a", {.has_nothing_to_undo = true});
    Add("b", {.fails = true});
    EXPECT_EQ(Run(), outcome::kUndone);
    EXPECT_THAT(lines_, ElementsAre("done        a: well", "FAILED      b: it is broken", "undone      b"));
}

TEST_F(transaction, goes_on_undoing_behind_what_cannot_be_undone) {
    Add("a");
    Add("b", {.undo_fails = true});
    Add("c", {.fails = true});
    EXPECT_EQ(Run(), outcome::kUndone);
    EXPECT_THAT(notes_, ElementsAre("do a", "do b", "do c", "undo c", "undo b", "undo a"));
    EXPECT_EQ(lines_.at(4), "NOT UNDONE  b: it stays");
}

TEST_F(transaction, finishes_every_step_also_behind_one_that_waits_for_the_next_start) {
    Add("a", {.waits_for_next_start = true});
    Add("b");
    EXPECT_EQ(Run(), outcome::kDoneAtNextStart);
    EXPECT_THAT(notes_, ElementsAre("do a", "do b", "finish a", "finish b"));
}

}  // namespace
}  // namespace brivelnox::test
