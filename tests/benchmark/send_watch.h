#pragma once

#include <windows.h>

#include <string>

#include "tests/benchmark/arrivals.h"
#include "tests/dll/replaced_import_helper.h"

namespace brivelnox::benchmark {

/// Sees what the provider sends inside a request, as long as this object lives. There is one at a time.
class send_watch {
  public:
    explicit send_watch(HMODULE provider);

    /// Sees what is sent on this thread from now on.
    void Expect();
    /// When that was.
    [[nodiscard]] arrivals& Sent() { return sent_; }
    /// What was sent last.
    [[nodiscard]] const std::string& Text() const { return text_; }

  private:
    static int WSAAPI Send(SOCKET socket, const char* bytes, int size, int flags);

    arrivals sent_;
    std::string text_;
    DWORD thread_ = 0;
    const test::replaced_import send_;
};

}  // namespace brivelnox::benchmark
