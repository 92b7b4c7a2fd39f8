#pragma once

// A provider of a few lines that the tests command: it accepts everything, remembers what it was asked, and
// sends what it is told to. There is one of it in a process, as of a loaded DLL.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "tools/telephony_host/provider_module.h"

namespace brivelnox::test {

class fake_provider {
  public:
    /// The one that the entry points work on; made by a test, gone with it.
    fake_provider();
    ~fake_provider();
    fake_provider(const fake_provider&) = delete;
    fake_provider& operator=(const fake_provider&) = delete;

    /// The table of entry points for a host.
    [[nodiscard]] const host::provider_module& Module() const { return module_; }

    // Settings.
    DWORD lines = 2;
    LONG negotiation_result = 0;
    LONG enum_result = 0;
    LONG init_result = 0;
    LONG request_result = 0;  ///< a negative error instead of the request id
    bool complete = true;     ///< whether requests are completed before they return

    // What TAPI handed over.
    LINEEVENT line_create = nullptr;
    LINEEVENT line_event = nullptr;
    ASYNC_COMPLETION completion = nullptr;
    HPROVIDER handle = nullptr;
    DWORD device_base = 0;
    HTAPILINE last_line = nullptr;
    HTAPICALL last_call = nullptr;

    /// The names of the entry points called, with their most telling argument, in order.
    [[nodiscard]] std::vector<std::string> Asked() const;
    void Note(const std::string& what);

    // What is sent, on the calling thread. A state is only sent once a line has been opened.
    void SendState(HTAPILINE line, HTAPICALL call, DWORD state, DWORD mode = 0) const;
    /// LINE_NEWCALL; returns the handle that came back.
    HTAPICALL SendNewCall(HTAPILINE line, DWORD_PTR driver) const;
    void SendCreate(DWORD temporary) const;

    LONG Answer(DRV_REQUESTID id, const std::string& what);
    std::atomic<std::uintptr_t> next_driver_call{1};

  private:
    host::provider_module module_;
    mutable std::mutex mutex_;
    std::vector<std::string> asked_;
};

}  // namespace brivelnox::test
