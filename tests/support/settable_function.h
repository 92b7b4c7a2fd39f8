#pragma once

// A function that a test sets on one thread while another may be about to call it.

#include <functional>
#include <mutex>
#include <utility>

namespace brivelnox::test {

/// Empty to begin with; a call then does nothing. A call that is under way when another function is set still
/// runs the one before.
template <class... Arguments>
class settable_function {
  public:
    using function = std::function<void(Arguments...)>;

    settable_function& operator=(function set) {
        const std::lock_guard guard(lock_);
        function_ = std::move(set);
        return *this;
    }

    void operator()(Arguments... arguments) const {
        function called;
        {
            const std::lock_guard guard(lock_);
            called = function_;
        }
        if (called) {
            called(arguments...);
        }
    }

  private:
    mutable std::mutex lock_;
    function function_;
};

}  // namespace brivelnox::test
