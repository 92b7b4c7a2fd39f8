#pragma once

// Stands in for TAPI's event procedure and holds every message against what TAPI may be told.

#include <windows.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <utility>
#include <vector>

namespace brivelnox::fuzz {

/// Who has brought a call about.
enum class call_source { softphone, placed, consultation };

/// What TAPI knows of one call.
struct told_call {
    call_source source = call_source::softphone;
    std::uintptr_t line_handle = 0;   // of the opening in which the call came about
    std::uint64_t driver_handle = 0;  // 0 while the request that makes the call has not returned
    DWORD state = LINECALLSTATE_UNKNOWN;
    DWORD changed_information = 0;  // the bits told since StartOperation
    bool was_closed = false;        // by TAPI
};

/// One LINE_CALLSTATE since StartOperation.
struct told_state {
    std::uintptr_t call = 0;
    DWORD state = 0;
    DWORD mode = 0;

    bool operator==(const told_state&) const = default;
};

/// The book of what has been told. Event procedures are plain functions, so there is one ledger at a time.
/// One thread.
class call_ledger {
  public:
    /// Asked after each message: what TAPI does from inside it.
    using reaction = std::function<void(std::uintptr_t call, DWORD message, DWORD state)>;

    call_ledger();
    ~call_ledger();
    call_ledger(const call_ledger&) = delete;
    call_ledger& operator=(const call_ledger&) = delete;

    void SetReaction(reaction react) { react_ = std::move(react); }
    [[nodiscard]] static LINEEVENT Procedure() { return &call_ledger::OnEvent; }

    /// The line was opened with this handle, and closed. Only in between may anything be told.
    void LineOpened(std::uintptr_t handle) { open_line_ = handle; }
    /// A call that is just being announced is forgotten with the line: its record comes about later and ends
    /// without TAPI.
    void LineClosed();
    [[nodiscard]] std::uintptr_t OpenLine() const { return open_line_; }
    /// Whether LINE_NEWCALL is answered with a handle.
    void SetAnswersNewCalls(bool answers) { answers_ = answers; }
    [[nodiscard]] bool AnswersNewCalls() const { return answers_; }

    /// TAPI gives a call that it makes itself a handle.
    std::uintptr_t AddOwnCall(call_source source);
    /// The request that made it has failed.
    void ForgetCall(std::uintptr_t handle) { calls_.erase(handle); }
    /// The call with this driver call handle, or null.
    [[nodiscard]] told_call* FindCall(std::uint64_t driver_handle);
    [[nodiscard]] const std::map<std::uintptr_t, told_call>& Calls() const { return calls_; }
    [[nodiscard]] told_call& CallOf(std::uintptr_t handle) { return calls_[handle]; }

    /// Forgets the states and the information told so far.
    void StartOperation();
    [[nodiscard]] const std::vector<told_state>& States() const { return states_; }
    /// How much has been told since the beginning.
    [[nodiscard]] std::size_t MessageCount() const { return message_count_; }
    /// The driver call handle of the last LINE_NEWCALL since StartOperation, 0: none.
    [[nodiscard]] std::uint64_t NewDriverHandle() const { return new_driver_handle_; }
    /// How many calls without a handle have been told to be idle, since the beginning. They cannot be told
    /// apart.
    [[nodiscard]] std::size_t EndedWithoutHandle() const { return ended_without_handle_; }

  private:
    static void CALLBACK OnEvent(HTAPILINE line, HTAPICALL call, DWORD message, DWORD_PTR param1,
                                 DWORD_PTR param2, DWORD_PTR param3);
    void TakeNewCall(std::uintptr_t call, DWORD_PTR driver_handle, DWORD_PTR address, DWORD_PTR param3);
    void TakeState(std::uintptr_t call, DWORD_PTR state, DWORD_PTR mode, DWORD_PTR media_mode);
    void TakeInformation(std::uintptr_t call, DWORD_PTR bits, DWORD_PTR param2, DWORD_PTR param3);
    [[nodiscard]] told_call& LiveCall(std::uintptr_t call);

    reaction react_;
    bool answers_ = true;
    std::uintptr_t open_line_ = 0;
    std::uintptr_t last_handle_ = 0x1000;
    std::uint64_t last_new_driver_handle_ = 0;
    std::uint64_t new_driver_handle_ = 0;
    std::uintptr_t announced_ = 0;  // the call inside whose LINE_NEWCALL TAPI is
    std::size_t ended_without_handle_ = 0;
    std::size_t message_count_ = 0;
    std::map<std::uintptr_t, told_call> calls_;
    std::vector<told_state> states_;
};

}  // namespace brivelnox::fuzz
