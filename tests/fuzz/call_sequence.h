#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "call_ledger.h"
#include "calls/call_manager.h"
#include "calls/tapi_call.h"
#include "fuzz_input.h"
#include "lines/line.h"
#include "platform/event_lock.h"
#include "state_model.h"
#include "tests/support/recording_call_requests.h"

namespace brivelnox::fuzz {

/// The life of one line, as an input tells it: what the softphone reports, what applications request, and
/// what TAPI does from inside the messages. After each step everything is held against the rules.
///
/// An input is a row of steps. A step is a letter (the table in call_sequence.cpp) with its arguments, mostly
/// one digit each; bytes that are no letter of a step are passed over.
class call_sequence {
  public:
    explicit call_sequence(std::string_view input);

    /// Plays all of it, closes the line and shuts the provider down.
    void Play();

  private:
    struct step_row;
    struct request_row;
    using call_ptr = std::shared_ptr<tapi_call>;

    /// What TAPI is going to do from inside a message.
    struct planned_reaction {
        DWORD message;
        DWORD state;  // of LINE_CALLSTATE; 0: any
        char letter;
        std::size_t slot;
    };

    void PlayStep(const step_row& step);
    void Settle();
    void CheckRecord(std::uintptr_t handle, const told_call& told) const;
    void CheckCounts();

    // Steps of the line (call_sequence.cpp).
    void OpenLine();
    void CloseLine();
    void ResetCalls();
    void UpdateRegistration();
    void UpdateServiceState();
    void AdvanceClock();
    void ReadText();
    void ToggleNewCalls();
    void ToggleService();
    void ShutDown();
    void CheckReset(bool is_reset) const;

    // Steps of the softphone (call_sequence_events.cpp).
    void Report();
    void RemoveCall();
    [[nodiscard]] std::wstring ReadCallId();
    [[nodiscard]] std::wstring ReadParty();
    [[nodiscard]] client_call_state ReadReport();
    [[nodiscard]] met_call Meet(const call_ptr& call) const;
    void CheckSteps(const call_ptr& call, const state_steps& steps) const;
    void CheckParties(const tapi_call& call, const client_call_state& report) const;
    void CheckInformation(const tapi_call& call, std::uint32_t expected) const;

    // Steps of the applications (call_sequence_requests.cpp).
    void MakeRequest(char letter);
    void PlanReaction();
    void React(std::uintptr_t call, DWORD message, DWORD state);
    void ReactWith(const planned_reaction& reaction, std::uintptr_t call);
    void Request(char letter, std::uint64_t driver_handle);
    void RequestOfRow(const request_row& row, std::uint64_t driver_handle);
    [[nodiscard]] std::string ExpectedRequest(const request_row& row, const call_ptr& call) const;
    void TransferCalls();
    void DialCall(std::uint64_t driver_handle);
    void CloseCall(std::uint64_t driver_handle);
    void MakeCall();
    void PrepareConsultation(std::uint64_t driver_handle);
    [[nodiscard]] bool MayMakeCalls() const;
    [[nodiscard]] bool MakeOwnCall(std::uintptr_t handle, const std::function<void()>& make);

    /// One of the calls there have been, or a handle that never was.
    [[nodiscard]] std::uint64_t HandleInSlot(std::size_t slot) const;
    [[nodiscard]] call_ptr FindById(const std::wstring& client_call_id) const;
    void Know(std::uint64_t driver_handle);
    void KnowNewCalls();

    fuzz_input input_;
    call_ledger ledger_;
    test::recording_call_requests requests_;
    event_lock events_;
    call_manager calls_;
    client_registration registration_;
    line line_;

    std::vector<std::uint64_t> handles_;  // every driver call handle there has been
    std::vector<std::int64_t> created_;   // their times, by the test's clock
    std::vector<planned_reaction> planned_;
    std::wstring text_ = L"4711";
    std::int64_t clock_ = 0;
    std::uintptr_t last_line_handle_ = 0xA000;
    std::size_t calls_without_handle_ = 0;
    std::size_t closing_ = 0;    // how many closes of the line are under way
    std::size_t reactions_ = 0;  // how many have been carried out
    std::size_t depth_ = 0;
    bool client_connected_ = false;
    bool service_is_up_ = true;
    bool is_shut_ = false;
};

}  // namespace brivelnox::fuzz
