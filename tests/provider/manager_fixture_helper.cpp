#include "tests/provider/manager_fixture_helper.h"

#include <atomic>
#include <stdexcept>

namespace brivelnox::test {

namespace {

std::atomic<completion_recorder*> current{nullptr};

}  // namespace

completion_recorder::completion_recorder() {
    current = this;
}

completion_recorder::~completion_recorder() {
    current = nullptr;
}

ASYNC_COMPLETION completion_recorder::Procedure() const {
    return &completion_recorder::OnCompletion;
}

void completion_recorder::SetReaction(std::function<void()> reaction) {
    const std::lock_guard guard(mutex_);
    reaction_ = std::move(reaction);
}

std::vector<completion> completion_recorder::Completions() const {
    const std::lock_guard guard(mutex_);
    return completions_;
}

void CALLBACK completion_recorder::OnCompletion(DRV_REQUESTID request_id, LONG result) {
    completion_recorder* const recorder = current;
    if (recorder == nullptr) {
        return;
    }
    std::function<void()> reaction;
    {
        const std::lock_guard guard(recorder->mutex_);
        recorder->completions_.emplace_back(request_id, result);
        reaction = recorder->reaction_;
    }
    if (reaction) {
        reaction();
    }
}

std::shared_ptr<line_manager> FailToMakeLines(std::shared_ptr<call_manager>, std::uint32_t) {
    throw std::runtime_error("no lines today");
}

}  // namespace brivelnox::test
