#pragma once

// The machine that the tests run on, as the setup changes it: Wine's, made for them.

#include <windows.h>

#include <filesystem>
#include <string>

#include "platform/unique_handle.h"
#include "tests/tools/program_helper.h"
#include "tools/setup/installation.h"

namespace brivelnox::test {

using unique_service = unique_handle<handle_traits<SC_HANDLE, &CloseServiceHandle>>;

/// A service of this machine, of the stand-in program, from its making to its removal. Failures throw
/// std::runtime_error.
class test_service {
  public:
    /// Makes and starts it. `depends_on` may be empty.
    test_service(const std::wstring& name, const std::wstring& depends_on);
    /// Stops and removes it.
    ~test_service();
    test_service(const test_service&) = delete;
    test_service& operator=(const test_service&) = delete;

    void Stop();
    /// 0 if it does not run. Another one tells that it has been started again.
    [[nodiscard]] DWORD ProcessId() const;
    /// Whether the system knows what depends on it. Not for a service on which nothing does.
    [[nodiscard]] bool TellsDependents() const;

  private:
    [[nodiscard]] SERVICE_STATUS_PROCESS Status() const;
    void Start();

    unique_service manager_;
    unique_service service_;
};

/// Puts the stand-in for TAPI in the place of Wine's own, which does nothing, and Wine's back at the end.
class tapi_in_place {
  public:
    tapi_in_place();
    ~tapi_in_place();
    tapi_in_place(const tapi_in_place&) = delete;
    tapi_in_place& operator=(const tapi_in_place&) = delete;

  private:
    const std::filesystem::path place_;
    const std::filesystem::path aside_;
};

/// Runs the setup with the arguments and waits for its end.
program_result RunSetup(const std::wstring& arguments);

/// Runs the setup as the same user without the rights of an administrator. Where there are no such users the
/// exit code is 99.
program_result RunSetupNotElevated(const std::wstring& arguments);

}  // namespace brivelnox::test
