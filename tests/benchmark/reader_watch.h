#pragma once

#include <windows.h>

#include "tests/dll/replaced_import_helper.h"

namespace brivelnox::benchmark {

/// Sees when the provider's reader has finished what it received, as long as this object lives. There is one
/// at a time.
class reader_watch {
  public:
    explicit reader_watch(HMODULE provider);

    /// Until the reader waits for something to receive. To be called when TAPI has been told what the last
    /// message sent leads to, or else nothing that has been sent counts as received.
    void WaitUntilIdle() const;

  private:
    test::replaced_import receive_;
    test::replaced_import wait_;
};

}  // namespace brivelnox::benchmark
