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
    /// What the requests with a result return; true to begin with.
    void SetResult(bool sent) { result_ = sent; }
    [[nodiscard]] std::vector<std::string> Requests() const {
        const std::lock_guard guard(mutex_);
        return requests_;
    }
    void Clear() {
        const std::lock_guard guard(mutex_);
        requests_.clear();
    }

    void PlaceCall(std::int32_t line, const std::string& number, const std::string& requested_id) override {
        Record("placeCall", line, {number, requested_id});
    }
    void AcceptCall(std::int32_t line, const std::string& id) override { Record("acceptCall", line, {id}); }
    void HoldCall(std::int32_t line, const std::string& id) override { Record("holdCall", line, {id}); }
    void ResumeCall(std::int32_t line, const std::string& id) override { Record("resumeCall", line, {id}); }
    bool TransferCall(std::int32_t line, const std::string& id, const std::string& on_hold_id) override {
        Record("transferCall", line, {id, on_hold_id});
        return result_;
    }
    void ForwardCall(std::int32_t line, const std::string& id, const std::string& number) override {
        Record("forwardCall", line, {id, number});
    }
    void PlayDtmf(std::int32_t line, const std::string& id, const std::string& digits) override {
        Record("playDtmf", line, {id, digits});
    }
    bool HangupCall(std::int32_t line, const std::string& id) override {
        Record("hangupCall", line, {id});
        return result_;
    }

  private:
    void Record(const char* name, std::int32_t line, const std::vector<std::string>& arguments) {
        std::string text = name;
        text += ' ' + std::to_string(line);
        for (const std::string& argument : arguments) {
            text += ' ' + argument;
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
    }

    std::atomic<bool> result_{true};
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    reaction reaction_;
};

}  // namespace brivelnox::test
