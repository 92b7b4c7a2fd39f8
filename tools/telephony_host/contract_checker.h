#pragma once

// Watches whether a provider keeps its contract with the telephony service, and writes down every breach as a
// sentence. It knows nothing of DLLs and threads of its own: the telephony host tells it what happens, as it
// happens, and tests can feed it any sequence.
//
// Checked:
//  - two messages or completions at once, on different threads (one inside the other on one thread is
//  allowed: a
//    request made from inside a callback completes there);
//  - a request completed twice, never, after it was refused, or without having been issued; a request
//  function that
//    returned neither its request id nor an error;
//  - a message for a line that was never opened or is closed, a message that the provider has no business to
//  send,
//    or one with parameters that it must not have;
//  - a state or information for a call that was never announced, or announced on another line, that has ended
//    (IDLE), or that the application has closed; the same state twice in a row;
//  - a call that has not ended IDLE when its line is closed or the provider shut down;
//  - the same temporary identifier in two LINE_CREATE messages;
//  - anything after shutdown has returned.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/telephony_host/tapi_event.h"

namespace brivelnox::host {

/// What to make of messages that carry no call handle. A call that the provider met while its line was closed
/// never got a handle, and its messages carry 0 once the line is open.
enum class null_call_rule {
    kReport,    ///< a breach: a state for a call that was never announced
    kTolerate,  ///< only counted
};

/// Every operation is thread-safe and quick; it takes the checker's own lock only.
class contract_checker {
  public:
    contract_checker() = default;
    contract_checker(const contract_checker&) = delete;
    contract_checker& operator=(const contract_checker&) = delete;

    // --- The provider's life.

    /// The provider is about to be enumerated: everything known of lines, calls and requests is forgotten,
    /// breaches are kept. `provider` is the handle that every LINE_CREATE must carry.
    void Starting(HPROVIDER provider);
    /// TSPI_providerShutdown is about to be called. From here on the provider closes lines by itself.
    void ShuttingDown();
    /// It has returned: every call of which anything was ever told has to be IDLE.
    void ShutDown();

    // --- Callbacks: between Enter and Leave the provider is inside one of the service's procedures, on the
    // thread that the event names. Enter also checks the message or completion itself.

    void Enter(const tapi_event& event);
    void Leave(DWORD thread_id);

    // --- Requests with a request id.

    /// Before the provider's function is called.
    void RequestIssued(DRV_REQUESTID id, const char* name);
    /// After it returned. Returns true if the request was accepted, that is, if it returned the id.
    bool RequestReturned(DRV_REQUESTID id, LONG returned);

    // --- Lines. `device` is what makes two handles the same line.

    /// Before TSPI_lineOpen is called: from here on messages for the handle are expected.
    void LineOpening(HTAPILINE line, DWORD device);
    /// After it returned, or failed to open anything.
    void LineOpened(HTAPILINE line, bool success);
    /// Before TSPI_lineClose is called. Messages go on being expected.
    void LineClosing(HTAPILINE line);
    /// After it returned: the handles that were open when it was called are closed, and their calls have to
    /// be IDLE. If the same line was opened again meanwhile, on another thread, nobody can tell which came
    /// first: then calls are not judged.
    void LineClosed(HTAPILINE line);

    // --- Calls.

    /// A handle is given to the provider, in LINE_NEWCALL or before a request that makes a call.
    void CallAnnounced(HTAPICALL call, HTAPILINE line, bool by_provider);
    /// The provider's own handle of the call has become known; no two live calls may have the same, and none
    /// 0. A request that made the call has returned: the call has to have a state, if its line was open all
    /// the time.
    void CallNumbered(HTAPICALL call, HDRVCALL driver);
    /// The request that the handle was given to was refused: nothing may have been sent for it.
    void CallWithdrawn(HTAPICALL call);
    /// Before TSPI_lineCloseCall is called. From here on nobody waits for the call to end, although messages
    /// for it may still come.
    void CallClosing(HTAPICALL call);
    /// After TSPI_lineCloseCall returned.
    void CallClosed(HTAPICALL call);

    // --- Findings.

    void SetNullCallRule(null_call_rule rule);
    /// Messages with a call handle of 0 so far, whatever the rule.
    [[nodiscard]] std::size_t NullCallMessages() const;

    /// All breaches so far, oldest first, at most kMaxBreaches (more are only counted).
    [[nodiscard]] std::vector<std::string> Breaches() const;
    [[nodiscard]] std::size_t BreachCount() const;
    /// Forgets the breaches, for a test that provoked some.
    void ClearBreaches();

    /// Requests that have been accepted or are under way and not completed.
    [[nodiscard]] std::size_t OutstandingRequests() const;

    static constexpr std::size_t kMaxBreaches = 1000;

  private:
    struct request_record {
        const char* name = "";
        bool returned = false;
        bool completed = false;
    };
    struct line_record {
        DWORD device = 0;
        bool opened = false;
        bool closed = false;
        bool met_a_close = false;  // it was opened while another thread closed the line; either may have won
    };
    struct call_record {
        HTAPILINE line = nullptr;
        DWORD device = 0;
        HDRVCALL driver = nullptr;
        DWORD last_state = 0;
        bool by_provider = false;
        bool idle = false;
        bool closing = false;
        bool judged = false;
        bool line_was_open = false;     // and nobody was closing it, when the call was announced
        std::size_t closes_before = 0;  // of its device, then
        std::size_t messages = 0;
    };
    struct closing_record {
        std::set<HTAPILINE> lines;
        std::set<HTAPICALL> calls;
        bool opened_meanwhile = false;
        std::size_t closers = 0;
    };
    struct inside_record {
        std::size_t depth = 0;
        std::string first;  // what it entered with
    };

    // All of these are called with the lock held.
    void Report(std::string text);
    void CheckMessage(const tapi_event& event);
    [[nodiscard]] bool IsOfARequestUnderWay(const tapi_event& event) const;
    void CheckCompletion(const tapi_event& event);
    void CheckLineCreate(const tapi_event& event, const std::string& text);
    void CheckNewCall(const tapi_event& event, const std::string& text);
    void CheckCallState(const tapi_event& event, const std::string& text);
    void CheckCallInfo(const tapi_event& event, const std::string& text);
    bool CheckLine(const tapi_event& event, const std::string& text);
    call_record* CheckCall(const tapi_event& event, const std::string& text);
    [[nodiscard]] std::set<HTAPILINE> OpenLines(DWORD device) const;
    [[nodiscard]] bool IsUntold(const call_record& call) const;
    void ForgetCall(std::unordered_map<HTAPICALL, call_record>::iterator position);
    void JudgeCalls(const std::set<HTAPICALL>& calls, const char* when);

    mutable std::mutex mutex_;
    bool running_ = false;
    bool shutting_down_ = false;
    HPROVIDER provider_ = nullptr;
    null_call_rule null_call_rule_ = null_call_rule::kReport;
    std::size_t null_call_messages_ = 0;
    std::map<DWORD, inside_record> inside_;  // by thread id
    std::unordered_map<DRV_REQUESTID, request_record> requests_;
    DRV_REQUESTID highest_request_ = 0;
    std::unordered_map<HTAPILINE, line_record> lines_;
    std::unordered_map<HTAPICALL, call_record> calls_;
    std::uintptr_t highest_call_ = 0;
    std::map<DWORD, closing_record> closing_;               // by device
    std::map<DWORD, std::size_t> closes_;                   // how many have begun, by device
    std::set<DWORD_PTR> created_;                           // temporary identifiers
    std::unordered_map<HDRVCALL, HTAPICALL> driver_calls_;  // of the calls in calls_
    std::vector<std::string> breaches_;
    std::size_t breach_count_ = 0;
};

}  // namespace brivelnox::host
