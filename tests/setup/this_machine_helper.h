#pragma once

// The machine that the tests run on, as the setup changes it: Wine's, made for them.

#include <windows.h>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

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

/// Likewise as the same user without the rights of an administrator.
program_result RunSetupNotElevated(const std::wstring& arguments);

/// Tests that change the machine: with stand-ins for the telephony service and for TAPI, and with nothing of
/// the provider there, neither before nor after. Skipped on a machine that was not made for them.
class this_machine_test : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    /// Installs the built provider.
    static program_result InstallFromBuild();

    /// How many entries the provider has in TAPI's list.
    static std::size_t EntryCount();
    /// Whether the built provider is where the telephony service looks for it.
    static bool IsInstalled();
    /// Nothing of the provider is there, and nothing of a setup that was undone.
    static void ExpectNothingThere();

    inline static const setup::places where_ = setup::PlacesOfThisMachine();
    std::unique_ptr<tapi_in_place> tapi_;
    std::unique_ptr<test_service> service_;

  private:
    static void Clean();
};

}  // namespace brivelnox::test
