#pragma once

// Stands in for the connection to the service: records the requests that a line sends.

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "registry_service/call_requests.h"

namespace brivelnox::test {

/// Records each request as one text, its name and arguments divided by blanks: "acceptCall 7 id-1". May be
/// used on any thread.
class recording_call_requests : public call_requests {
  public:
    using reaction = std::function<void(const std::string&)>;

    /// What happens inside each request, after it has been recorded.
    void SetReaction(reaction react) {
        const std::lock_guard guard(mutex_);
        reaction_ = std::move(react);
    }
    /// What the requests return; true to begin with.
    void SetResult(bool sent) { result_ = sent; }
    [[nodiscard]] std::vector<std::string> Requests() const {
        const std::lock_guard guard(mutex_);
        return requests_;
    }
    void Clear() {
        const std::lock_guard guard(mutex_);
        requests_.clear();
    }

    bool SendCallRequest(const call_request& request, std::int32_t permanent_line_id,
                         const std::string& argument, const std::string& second_argument) override {
        std::string text = request.command;
        text += ' ' + std::to_string(permanent_line_id) + ' ' + argument;
        if (request.second_argument != nullptr) {
            text += ' ' + second_argument;
        }
        reaction react;
        {
            const std::lock_guard guard(mutex_);
            requests_.push_back(text);
            react = reaction_;
        }
        if (react) {
            react(text);
        }
        return result_;
    }

  private:
    std::atomic<bool> result_{true};
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    reaction reaction_;
};

}  // namespace brivelnox::test
