#pragma once

// Stands in for the Windows telephony service: negotiates with the provider, enumerates and initialises it,
// answers LINE_CREATE, hands out handles, opens and closes lines, makes the applications' requests, follows
// their completions, records every message, and has a contract_checker watch all of it.
//
// Threads: every operation may be called from any thread and from several at once, also from inside the event
// hook (that is, from inside the provider's callback), except Start, Shutdown and the destructor, which are
// for one thread at a time and not for the hook. Requests run on the calling thread, as in the telephony
// service. No lock of the host is held while the provider's code or the hook runs. The provider's procedures
// carry no context, so only one host at a time can be between its Start and its destruction in a process; a
// second Start raises std::logic_error.
//
// Lines and calls are named by the handles that the host gave to the provider (HTAPILINE, HTAPICALL). Handles
// are unique over the process's life. A request for a handle that the host does not know reaches the provider
// with the handle value 0, which it must bear.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_map>
#include <vector>

#include "tools/telephony_host/contract_checker.h"
#include "tools/telephony_host/event_history.h"
#include "tools/telephony_host/information.h"
#include "tools/telephony_host/provider_module.h"
#include "tools/telephony_host/tapi_event.h"

namespace brivelnox::host {

/// How LINE_CREATE is answered.
enum class line_create_answer {
    kWorkerThread,    ///< TSPI_providerCreateLineDevice from a thread of the host's, as the telephony service
                      ///< does
    kInsideCallback,  ///< TSPI_providerCreateLineDevice before the line-create procedure returns
    kNever,           ///< not at all
};

/// Settings of a host; they hold for the next Start.
struct host_options {
    DWORD low_version = 0x00010003;  ///< offered in the negotiation
    DWORD high_version = 0x00030001;
    DWORD device_id_base = 1;
    /// Lines announced by LINE_CREATE get device identifiers from device_id_base plus this on, far from the
    /// temporary ones that the provider uses; with 0 they follow the initial lines.
    DWORD created_device_offset = 100000;
    /// Called with the identifier of a line that was announced by LINE_CREATE, once it has one; on the thread
    /// that answers.
    std::function<void(DWORD)> device_created;
    DWORD permanent_provider_id = 7;
    HPROVIDER provider_handle = reinterpret_cast<HPROVIDER>(std::uintptr_t{0x00A0C001});
    line_create_answer create_answer = line_create_answer::kWorkerThread;
    bool negotiate_every_device = true;
    /// LINE_NEWCALL is answered with no handle, as when no application owns the line.
    bool refuse_new_calls = false;
    /// How many completions are remembered for WaitForCompletion, the newest.
    std::size_t kept_completions = 100000;
};

/// A line device that the host knows.
struct line_device {
    DWORD device_id = 0;
    DWORD version = 0;               ///< negotiated
    std::optional<DWORD> temporary;  ///< the identifier that LINE_CREATE named; none for the initial lines
};

/// What became of a request.
struct request_result {
    DRV_REQUESTID request_id = 0;  ///< the id given to the provider
    LONG returned = 0;         ///< what the provider's function returned: the id, or a negative LINEERR_ code
    HTAPICALL call = nullptr;  ///< MakeCall, SetupTransfer: the new call; null if the request was refused
    [[nodiscard]] bool Accepted() const {
        return returned > 0 && static_cast<DRV_REQUESTID>(returned) == request_id;
    }
};

/// A call as the host has seen it.
struct call_view {
    HTAPICALL call = nullptr;
    HTAPILINE line = nullptr;
    HDRVCALL driver = nullptr;
    bool by_provider = false;     ///< announced by LINE_NEWCALL
    std::vector<DWORD> states;    ///< every LINE_CALLSTATE, in order
    std::vector<DWORD> modes;     ///< the disconnect mode of each
    std::size_t information = 0;  ///< how many LINE_CALLINFO came
    [[nodiscard]] DWORD State() const { return states.empty() ? LINECALLSTATE_UNKNOWN : states.back(); }
};

class telephony_host {
  public:
    using milliseconds = std::chrono::milliseconds;
    /// Called inside the provider's call of an event or completion procedure, after the event was recorded,
    /// on the provider's thread. It may make requests, and block. The provider's event lock is held
    /// meanwhile.
    using event_hook = std::function<void(const tapi_event&)>;

    /// The module must outlive the host.
    explicit telephony_host(const provider_module& module, host_options options = {});
    /// Shutdown() if that was not done.
    ~telephony_host();
    telephony_host(const telephony_host&) = delete;
    telephony_host& operator=(const telephony_host&) = delete;

    // --- The provider's life.

    /// Negotiates, TSPI_providerEnumDevices, TSPI_providerInit, and the negotiation for each device. Returns
    /// 0, or the error of the step that failed, after which the provider has been shut down again. May be
    /// called again after Shutdown.
    LONG Start();
    /// TSPI_providerShutdown, with whatever is open left open. Returns its result. Waits for the worker that
    /// answers LINE_CREATE. Afterwards line handles are forgotten; what is known of calls stays until the
    /// next Start.
    LONG Shutdown();
    /// As a service that stops in good order: drops and closes every call, closes every line, then
    /// Shutdown().
    LONG CloseAllAndShutdown();
    [[nodiscard]] bool Running() const;
    host_options& Options() { return options_; }
    [[nodiscard]] const provider_module& Module() const { return module_; }
    [[nodiscard]] DWORD Version() const { return version_; }

    // --- Lines.

    /// Every device in the order in which it became known.
    [[nodiscard]] std::vector<line_device> Devices() const;
    /// Until that many devices are known.
    bool WaitForDevices(std::size_t count, milliseconds timeout);
    /// Until LINE_CREATE with this temporary identifier has been answered. Returns the final device
    /// identifier.
    std::optional<DWORD> WaitForCreatedDevice(DWORD temporary, milliseconds timeout);

    /// TSPI_lineOpen with a fresh handle. Returns it, or null if the provider refused (then `result`, if
    /// given, holds the error) or did not write a driver handle, as it does for an unknown device.
    HTAPILINE OpenLine(DWORD device_id, LONG* result = nullptr);
    /// TSPI_lineClose. The handle is forgotten; the line's calls stay known until they are closed.
    LONG CloseLine(HTAPILINE line);
    [[nodiscard]] std::vector<HTAPILINE> OpenLines() const;
    /// The provider's handle; 0 for an unknown one.
    [[nodiscard]] HDRVLINE Driver(HTAPILINE line) const;
    [[nodiscard]] HDRVCALL Driver(HTAPICALL call) const;
    [[nodiscard]] DWORD DeviceOf(HTAPILINE line) const;

    // --- Requests with a completion.

    /// Any asynchronous entry point: `invoke` is called with a fresh request id and returns what the provider
    /// returned. `name` (a literal) is for reports. The operations below are made of this.
    request_result Request(const char* name, const std::function<LONG(DRV_REQUESTID)>& invoke);

    request_result MakeCall(HTAPILINE line, const wchar_t* number, DWORD country_code = 0);
    request_result Dial(HTAPICALL call, const wchar_t* number, DWORD country_code = 0);
    request_result Answer(HTAPICALL call);
    request_result Hold(HTAPICALL call);
    request_result Unhold(HTAPICALL call);
    request_result SwapHold(HTAPICALL active, HTAPICALL held);
    request_result SetupTransfer(HTAPICALL call);
    request_result CompleteTransfer(HTAPICALL call, HTAPICALL consultation,
                                    DWORD mode = LINETRANSFERMODE_TRANSFER);
    request_result BlindTransfer(HTAPICALL call, const wchar_t* number, DWORD country_code = 0);
    request_result Redirect(HTAPICALL call, const wchar_t* number, DWORD country_code = 0);
    request_result Drop(HTAPICALL call);
    /// The result given to the completion procedure for a request.
    std::optional<LONG> WaitForCompletion(DRV_REQUESTID id, milliseconds timeout);

    // --- Requests without a completion. They return what the provider returned.

    /// TSPI_lineCloseCall. The handle is forgotten afterwards.
    LONG CloseCall(HTAPICALL call);
    /// The provider reads the digits only; the digit mode is DTMF, the duration 0.
    LONG GenerateDigits(HTAPICALL call, const wchar_t* digits, DWORD end_to_end_id = 0);

    // --- Information. Nothing, if the provider returned an error (then `result`, if given, holds it).
    // Buffers grow until everything fits.

    std::optional<line_caps> GetDevCaps(DWORD device_id, LONG* result = nullptr);
    std::optional<call_information> GetCallInfo(HTAPICALL call, LONG* result = nullptr);
    std::optional<call_status> GetCallStatus(HTAPICALL call, LONG* result = nullptr);
    std::optional<call_counts> GetLineDevStatus(HTAPILINE line, LONG* result = nullptr);
    std::optional<call_counts> GetAddressStatus(HTAPILINE line, LONG* result = nullptr);
    /// The LINECALLFEATURE_ bits of LINEADDRESSCAPS.
    std::optional<DWORD> GetAddressCallFeatures(DWORD device_id, LONG* result = nullptr);
    /// The device identifier that TSPI_lineGetID gives for a device class.
    std::optional<DWORD> GetId(HTAPILINE line, const wchar_t* device_class, LONG* result = nullptr);

    // --- What the provider sent.

    [[nodiscard]] event_history& History() { return history_; }
    /// The index of the next event; pass it as `since` to see only what comes later.
    [[nodiscard]] std::uint64_t Mark() const { return history_.Next(); }
    std::optional<tapi_event> WaitForEvent(const event_predicate& predicate, milliseconds timeout,
                                           std::uint64_t since = 0);
    std::optional<tapi_event> WaitForMessage(DWORD message, milliseconds timeout, std::uint64_t since = 0);
    /// The call of the first LINE_NEWCALL on the line from `since` on; null in time-out or if it was refused.
    HTAPICALL WaitForNewCall(HTAPILINE line, milliseconds timeout, std::uint64_t since = 0);
    /// Until the call has been reported in the state, counting its states from the one with index `from` on.
    /// A state that came and went counts.
    bool WaitForCallState(HTAPICALL call, DWORD state, milliseconds timeout, std::size_t from = 0);
    /// Until the state last reported for the call is this one.
    bool WaitForCurrentState(HTAPICALL call, DWORD state, milliseconds timeout);
    /// The states reported so far; pass their number as `from`.
    [[nodiscard]] std::vector<DWORD> States(HTAPICALL call) const;
    [[nodiscard]] std::optional<call_view> View(HTAPICALL call) const;
    /// The calls that are not closed by CloseCall, oldest first, of all lines or of one.
    [[nodiscard]] std::vector<call_view> Calls() const;
    [[nodiscard]] std::vector<call_view> Calls(HTAPILINE line) const;

    /// Replaces the hook; an empty one removes it. A call of the old one that is under way goes on.
    void SetEventHook(event_hook hook);
    [[nodiscard]] contract_checker& Checker() { return checker_; }
    /// Calls of the provider that reached the process while no host was there to take them.
    static std::size_t StrayCallbacks();

  private:
    struct line_entry {
        DWORD device_id = 0;
        HDRVLINE driver = nullptr;
    };

    class callback_guard;

    static void CALLBACK CompletionProcedure(DRV_REQUESTID id, LONG result);
    static void CALLBACK LineEventProcedure(HTAPILINE line, HTAPICALL call, DWORD message, DWORD_PTR param1,
                                            DWORD_PTR param2, DWORD_PTR param3);
    static void CALLBACK LineCreateProcedure(HTAPILINE line, HTAPICALL call, DWORD message, DWORD_PTR param1,
                                             DWORD_PTR param2, DWORD_PTR param3);

    bool TakeCallbacks();
    void GiveUpCallbacks();
    void TakeEvent(tapi_event event);
    void UpdateModel(tapi_event& event);
    void TakeNewCall(tapi_event& event);
    void AnswerLineCreate(DWORD temporary);
    void CreateDevice(DWORD temporary);
    void RunWorker();
    void StopWorker();
    LONG Initialise();
    LONG NegotiateDevice(DWORD device_id, DWORD* version) const;
    HTAPICALL AnnounceCall(HTAPILINE line, bool by_provider);
    void NumberCall(HTAPICALL call, HDRVCALL driver);
    request_result RequestNewCall(const char* name, HTAPILINE line,
                                  const std::function<LONG(DRV_REQUESTID, HTAPICALL, LPHDRVCALL)>& invoke);
    [[nodiscard]] HTAPILINE LineOf(HTAPICALL call) const;

    const provider_module& module_;
    host_options options_;
    std::atomic<DWORD> version_{0};  // negotiated at each start, while others may make requests
    contract_checker checker_;
    event_history history_;

    // Guards everything below; never held while the provider's code, the checker's caller or the hook runs.
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    bool running_ = false;
    std::vector<line_device> devices_;
    std::map<DWORD, DWORD> created_;  // temporary identifier to the final one
    DWORD next_created_device_ = 0;
    std::unordered_map<HTAPILINE, line_entry> lines_;
    std::map<HTAPICALL, call_view> calls_;
    std::map<DRV_REQUESTID, LONG> completions_;  // the newest, as the options say
    DRV_REQUESTID next_request_ = 1;
    std::shared_ptr<const event_hook> hook_;
    std::deque<DWORD> to_create_;
    bool worker_stopping_ = false;
    std::thread worker_;
};

}  // namespace brivelnox::host
