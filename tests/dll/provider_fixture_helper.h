#pragma once

// The built provider under test: loaded as the telephony service loads it, between a service that the test
// plays and a telephony service that the test is. Only the exports are used.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/log_reader.h"
#include "tests/support/signal.h"
#include "tools/service_simulator/service_simulator.h"
#include "tools/telephony_host/telephony_host.h"

namespace brivelnox::test {

inline constexpr DWORD kVersion = 0x00020002;
// TAPI's errors as its functions return them.
inline constexpr LONG kIncompatibleVersion = static_cast<LONG>(LINEERR_INCOMPATIBLEAPIVERSION);
inline constexpr LONG kInvalidAddress = static_cast<LONG>(LINEERR_INVALADDRESS);
inline constexpr LONG kInvalidAddressId = static_cast<LONG>(LINEERR_INVALADDRESSID);
inline constexpr LONG kInvalidLineHandle = static_cast<LONG>(LINEERR_INVALLINEHANDLE);
inline constexpr LONG kInvalidPointer = static_cast<LONG>(LINEERR_INVALPOINTER);
inline constexpr LONG kNoDevice = static_cast<LONG>(LINEERR_NODEVICE);
inline constexpr LONG kNoMemory = static_cast<LONG>(LINEERR_NOMEM);
inline constexpr LONG kNotInDialTone = static_cast<LONG>(LINEERR_DIALDIALTONE);
inline constexpr LONG kOperationFailed = static_cast<LONG>(0x80000048);
inline constexpr LONG kOperationUnavailable = static_cast<LONG>(0x80000049);
inline constexpr LONG kStructureTooSmall = static_cast<LONG>(LINEERR_STRUCTURETOOSMALL);
inline constexpr LONG kUninitialized = static_cast<LONG>(LINEERR_UNINITIALIZED);

inline constexpr char kManagerCategory[] = "TelephonyManager";

/// A text in the manner of printf.
std::string Text(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/// A handle or address as the log shows it: its low 32 bits.
template <class T>
unsigned Low(T* handle) {
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(handle));
}

/// The text that the service gets when it is asked for a call to be placed.
std::string PlaceCallRequest(std::int32_t line, const std::string& number, const std::string& id);

/// Fixture: the loaded provider with its log. Whatever is left running is shut down at the end.
class loaded_provider : public testing::Test {
  protected:
    loaded_provider();
    ~loaded_provider() override;

    /// What the log got under the provider interface's category since the start of the test, or since the
    /// last Skip.
    [[nodiscard]] std::vector<std::string> ManagerLog() const { return log_.Texts(kManagerCategory); }

    /// Whether everything that the service has sent up to now has been handled by the provider. The line with
    /// this identifier must exist.
    [[nodiscard]] bool HasHandled(simulator::service_simulator& service, std::int32_t permanent_line_id);

    log_reader log_ = log_reader::OfProvider();
    host::provider_module module_;

  private:
    int markers_ = 0;
};

/// Fixture: a service with softphones and the telephony host, which checks the contract all the time. At the
/// end the provider is shut down, and no breach may have been found.
class hosted_provider : public loaded_provider {
  protected:
    void TearDown() override;

    /// Adds a softphone that answers nothing by itself: the test plays its calls.
    std::shared_ptr<simulator::softphone> AddPhone(
        std::int32_t permanent_line_id, const std::string& name,
        simulator::announcement how = simulator::announcement::kSilent);

    /// Starts the service and publishes it.
    void StartService();
    /// The service first, then the provider. Fails the test when the provider does not start.
    void StartAll();

    [[nodiscard]] bool Settled(std::int32_t permanent_line_id) {
        return HasHandled(service_, permanent_line_id);
    }

    simulator::service_simulator service_;
    host::telephony_host host_{module_};
};

/// Fixture: one softphone, "Desk 1001" with permanent line id 1001, whose line is open as line_. Its own
/// party is ("1001", "Desk 1001"), the caller of its calls ("4711", "Anna").
class open_line : public hosted_provider {
  protected:
    static constexpr std::int32_t kPhone = 1001;

    void SetUp() override;

    /// What the service got since that index, up to a call that is placed now for that purpose, which is left
    /// out and ended again. So what is missing was not sent.
    std::vector<std::string> RequestsSince(std::size_t since);

    // Calls of the softphone with this client call id, once TAPI has been told the state.
    HTAPICALL AcceptedCall(const std::string& id = "in-1");
    HTAPICALL ConnectedCall(const std::string& id = "in-1");
    HTAPICALL HeldCall(const std::string& id = "in-1");

    /// Whether the softphone's next event makes the call's state this one.
    [[nodiscard]] bool Becomes(HTAPICALL call, DWORD state) {
        return host_.WaitForCurrentState(call, state, kSoon);
    }
    /// A CallState event for the softphone with the usual parties.
    void Play(const std::string& id, const std::string& state, bool is_caller = false,
              std::int32_t reason = 0);

    std::shared_ptr<simulator::softphone> phone_;
    DWORD device_ = 0;
    HTAPILINE line_ = nullptr;
    const simulator::party self_{"1001", "Desk 1001"};
    const simulator::party peer_{"4711", "Anna"};
};

}  // namespace brivelnox::test
