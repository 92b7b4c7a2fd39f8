#pragma once

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <deque>
#include <mutex>
#include <vector>

#include "tests/stress/random_source.h"

namespace brivelnox::stress {

/// The lines and calls that the applications know at this moment, and some that are gone, from which each
/// thread takes what it makes its next request for. Thread-safe: another thread may close what one has just
/// been given, which is the purpose.
class handle_board {
  public:
    void AddLine(HTAPILINE line);
    void RemoveLine(HTAPILINE line);
    /// A call that has been reported in a state; adding it again changes nothing.
    void AddCall(HTAPICALL call);
    void RemoveCall(HTAPICALL call);
    /// A driver handle that was a call's; used for requests for calls that are gone.
    void AddStale(HDRVCALL call);
    void Clear();

    /// Null where there is none.
    [[nodiscard]] HTAPILINE AnyLine(random_source& random) const;
    [[nodiscard]] HTAPICALL AnyCall(random_source& random) const;
    [[nodiscard]] HDRVCALL AnyStale(random_source& random) const;
    [[nodiscard]] std::vector<HTAPILINE> Lines() const;
    [[nodiscard]] std::vector<HTAPICALL> Calls() const;
    [[nodiscard]] std::size_t CallCount() const;

  private:
    mutable std::mutex mutex_;
    std::vector<HTAPILINE> lines_;
    std::vector<HTAPICALL> calls_;
    std::deque<HDRVCALL> stale_;
};

}  // namespace brivelnox::stress
