#pragma once

// An application of TAPI's in the process of the test. It calls the functions that the library beside the
// test program exports, and nothing else of it.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/signal.h"
#include "tools/service_simulator/service_simulator.h"

namespace brivelnox::test {

inline constexpr DWORD kVersion = 0x00020002;
inline constexpr DWORD kVoice = LINEMEDIAMODE_INTERACTIVEVOICE;

// TAPI's errors as its functions return them.
inline constexpr LONG kBadDevice = static_cast<LONG>(LINEERR_BADDEVICEID);
inline constexpr LONG kFailed = static_cast<LONG>(LINEERR_OPERATIONFAILED);
inline constexpr LONG kIncompatibleVersion = static_cast<LONG>(LINEERR_INCOMPATIBLEAPIVERSION);
inline constexpr LONG kInvalidApp = static_cast<LONG>(LINEERR_INVALAPPHANDLE);
inline constexpr LONG kInvalidCall = static_cast<LONG>(LINEERR_INVALCALLHANDLE);
inline constexpr LONG kInvalidLine = static_cast<LONG>(LINEERR_INVALLINEHANDLE);
inline constexpr LONG kInvalidMediaMode = static_cast<LONG>(LINEERR_INVALMEDIAMODE);
inline constexpr LONG kInvalidParameter = static_cast<LONG>(LINEERR_INVALPARAM);
inline constexpr LONG kInvalidPointer = static_cast<LONG>(LINEERR_INVALPOINTER);
inline constexpr LONG kInvalidPrivilege = static_cast<LONG>(LINEERR_INVALPRIVSELECT);
inline constexpr LONG kNotOwner = static_cast<LONG>(LINEERR_NOTOWNER);
inline constexpr LONG kTooSmall = static_cast<LONG>(LINEERR_STRUCTURETOOSMALL);

inline constexpr DWORD kReply = static_cast<DWORD>(LINE_REPLY);
inline constexpr DWORD kNewCall = static_cast<DWORD>(LINE_APPNEWCALL);
inline constexpr DWORD kCallState = static_cast<DWORD>(LINE_CALLSTATE);
inline constexpr DWORD kCallInfo = static_cast<DWORD>(LINE_CALLINFO);
inline constexpr DWORD kCreate = static_cast<DWORD>(LINE_CREATE);

/// The path of the built provider, and of the one that a test plays.
std::wstring BuiltProvider();
std::wstring PlayedProviderFile();

/// The permanent identifiers of the listed providers, in their order.
std::vector<DWORD> ListedIds();

/// lineInitializeExW for an application that is notified by event; returns what it returned.
LONG InitializeByEvent(HLINEAPP& app, DWORD& devices);

/// Fixture: a list of providers that is empty at first, whatever a test before may have left behind, and at
/// the end. No application.
class provider_list : public testing::Test {
  protected:
    provider_list();
    ~provider_list() override;

    /// lineAddProviderW; returns the identifier, after having checked that it was added.
    static DWORD Add(const std::wstring& file);
};

/// Fixture: the built provider with a service that has one softphone, "Desk 1001", and an application that is
/// notified by event. At the end it leaves in good order, and the provider must have kept its contract.
class tapi_application : public provider_list {
  protected:
    static constexpr DWORD_PTR kInstance = 4711;

    void SetUp() override;
    void TearDown() override;

    HLINE Open(DWORD privileges = LINECALLPRIVILEGE_OWNER, DWORD_PTR instance = kInstance, DWORD device = 0);
    /// The next message of any kind; all zeroes if none comes.
    LINEMESSAGE Next();
    /// The next LINE_CALLSTATE; what comes before it is passed over.
    LINEMESSAGE NextState();
    [[nodiscard]] bool NothingWaits();
    /// A call from "4711", once it is ACCEPTED; its LINE_APPNEWCALL was the first of its messages.
    HCALL IncomingCall();
    /// The same, answered.
    HCALL ConnectedCall();
    /// Checks that the request was taken and succeeds. What comes before its reply is still to come
    /// afterwards.
    void ExpectReply(LONG request);

    simulator::service_simulator service_;
    std::shared_ptr<simulator::softphone> phone_;
    HLINEAPP app_ = 0;
    DWORD devices_ = 0;

  private:
    std::deque<LINEMESSAGE> passed_over_;
};

}  // namespace brivelnox::test
