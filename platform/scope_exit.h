#pragma once

#include <utility>

namespace brivelnox {

/// Runs an action when its scope ends, on whatever path, unless it has been dismissed before: for what has to
/// be done in any case, and for what a later step that fails must not leave behind. What the action throws is
/// dropped.
template <class Action>
class scope_exit {
  public:
    explicit scope_exit(Action action) : action_(std::move(action)) {}
    ~scope_exit() {
        if (is_armed_) {
            try {
                action_();
            } catch (...) {
                // The failure that has led here is the one to report.
            }
        }
    }
    scope_exit(const scope_exit&) = delete;
    scope_exit& operator=(const scope_exit&) = delete;

    /// The steps have succeeded: nothing is to be undone.
    void Dismiss() noexcept { is_armed_ = false; }

  private:
    Action action_;
    bool is_armed_ = true;
};

}  // namespace brivelnox
