#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tools/setup/service_manager.h"
#include "tools/setup/transaction.h"

namespace brivelnox::setup {

/// The Windows telephony service.
inline constexpr wchar_t kTelephonyService[] = L"TapiSrv";

/// How long a service may take to start or to stop.
inline constexpr std::chrono::milliseconds kServicePatience{60000};

/// The telephony service and what depends on it. Remembers which of them run when it is made.
class telephony_services {
  public:
    /// Throws a failure if there is no telephony service. `manager` has to outlive this object.
    explicit telephony_services(service_manager& manager,
                                std::chrono::milliseconds patience = kServicePatience);

    /// Stops them and waits until they have stopped. Whatever a client starts again meanwhile is stopped
    /// again. Throws a failure when they still run after the patience.
    void Stop();

    /// Starts those that are remembered, and waits until they run. Throws a failure at the first that does
    /// not.
    void StartAgain();

    /// Those that are remembered, in the order in which they can be started.
    [[nodiscard]] const std::vector<std::wstring>& Remembered() const { return remembered_; }

  private:
    /// Asks what runs to stop. Returns whether nothing did.
    bool AskToStop();
    void Start(const std::wstring& service);

    service_manager& manager_;
    const std::chrono::milliseconds patience_;
    std::vector<std::wstring> remembered_;
};

/// Stops the services; its undoing starts again what was remembered.
class stop_services : public step {
  public:
    explicit stop_services(telephony_services& services) : services_(services) {}

    [[nodiscard]] std::string Title() const override { return "Stop the telephony service"; }
    std::string Do() override;
    bool Undo() override;

  private:
    telephony_services& services_;
};

/// Starts again what was remembered. It has nothing to undo: the steps that need the services stopped stop
/// them.
class start_services : public step {
  public:
    explicit start_services(telephony_services& services) : services_(services) {}

    [[nodiscard]] std::string Title() const override { return "Start again what ran"; }
    std::string Do() override;

  private:
    telephony_services& services_;
};

}  // namespace brivelnox::setup
