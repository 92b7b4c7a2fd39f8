#include "tools/setup/transaction.h"

#include <cstddef>
#include <exception>

namespace brivelnox::setup {

namespace {

std::string WithNote(const std::string& title, const std::string& note) {
    return note.empty() ? title : title + ": " + note;
}

/// Returns whether the step succeeded.
bool DoOne(step& one, const reporter& report) {
    try {
        report("done        " + WithNote(one.Title(), one.Do()));
        return true;
    } catch (const std::exception& why) {
        report("FAILED      " + WithNote(one.Title(), why.what()));
        return false;
    }
}

void UndoOne(step& one, const reporter& report) {
    try {
        if (one.Undo()) {
            report("undone      " + one.Title());
        }
    } catch (const std::exception& why) {
        report("NOT UNDONE  " + WithNote(one.Title(), why.what()));
    }
}

}  // namespace

outcome RunSteps(const step_list& steps, const reporter& report) {
    for (std::size_t at = 0; at < steps.size(); ++at) {
        if (DoOne(*steps[at], report)) {
            continue;
        }
        for (std::size_t back = at + 1; back > 0; --back) {
            UndoOne(*steps[back - 1], report);
        }
        return outcome::kUndone;
    }
    bool waits_for_next_start = false;
    for (const auto& one : steps) {
        waits_for_next_start = one->Finish() || waits_for_next_start;
    }
    return waits_for_next_start ? outcome::kDoneAtNextStart : outcome::kDone;
}

}  // namespace brivelnox::setup
