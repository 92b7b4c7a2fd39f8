#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "platform/unique_handle.h"

namespace brivelnox::setup {

/// The machine's services, as far as the setup needs them. Each operation throws a failure when the system
/// refuses it.
class service_manager {
  public:
    service_manager() = default;
    virtual ~service_manager() = default;
    service_manager(const service_manager&) = delete;
    service_manager& operator=(const service_manager&) = delete;

    /// SERVICE_RUNNING, SERVICE_STOPPED and so on.
    [[nodiscard]] virtual DWORD State(const std::wstring& service) = 0;

    /// The services that depend on this one, directly or through others, and are not stopped; in an order in
    /// which they can be stopped.
    [[nodiscard]] virtual std::vector<std::wstring> ActiveDependents(const std::wstring& service) = 0;

    /// Asks the service to stop and does not wait for it. Where it cannot take the request at the moment,
    /// nothing happens: it has to be asked again.
    virtual void AskToStop(const std::wstring& service) = 0;

    /// Asks the service to start and does not wait for it. Nothing happens to one that is not stopped.
    virtual void AskToStart(const std::wstring& service) = 0;
};

/// The service manager of this machine.
class windows_service_manager : public service_manager {
  public:
    /// Throws a failure if the service manager does not answer.
    windows_service_manager();

    [[nodiscard]] DWORD State(const std::wstring& service) override;
    [[nodiscard]] std::vector<std::wstring> ActiveDependents(const std::wstring& service) override;
    void AskToStop(const std::wstring& service) override;
    void AskToStart(const std::wstring& service) override;

  private:
    using unique_service = unique_handle<handle_traits<SC_HANDLE, &CloseServiceHandle>>;

    [[nodiscard]] unique_service Open(const std::wstring& service, DWORD access) const;

    unique_service manager_;
};

}  // namespace brivelnox::setup
