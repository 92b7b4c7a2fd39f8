#pragma once

// The application's side of the print: it makes requests of the telephony host, and shows each with its
// answer.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <functional>
#include <optional>
#include <string>

#include "tools/demonstration/merged_print.h"
#include "tools/telephony_host/information.h"
#include "tools/telephony_host/telephony_host.h"

namespace brivelnox::demonstration {

/// What the arguments of this class's operations mean, and what they return, is the telephony_host's
/// business. For any thread.
class application {
  public:
    application(host::telephony_host& host, merged_print& print);
    /// Ends the watching of the host.
    ~application();
    application(const application&) = delete;
    application& operator=(const application&) = delete;

    [[nodiscard]] host::telephony_host& Host() const { return host_; }

    LONG Start();
    LONG Shutdown();
    HTAPILINE OpenLine(DWORD device_id);
    LONG CloseLine(HTAPILINE line);
    std::optional<host::line_caps> GetDevCaps(DWORD device_id);
    std::optional<host::call_information> GetCallInfo(HTAPICALL call);
    std::optional<host::call_status> GetCallStatus(HTAPICALL call);
    std::optional<host::call_counts> GetLineDevStatus(HTAPILINE line);

    host::request_result MakeCall(HTAPILINE line, const std::wstring& number);
    host::request_result Dial(HTAPICALL call, const std::wstring& number);
    host::request_result Answer(HTAPICALL call);
    host::request_result Hold(HTAPICALL call);
    host::request_result Unhold(HTAPICALL call);
    host::request_result SwapHold(HTAPICALL active, HTAPICALL held);
    host::request_result SetupTransfer(HTAPICALL call);
    host::request_result CompleteTransfer(HTAPICALL call, HTAPICALL consultation);
    host::request_result BlindTransfer(HTAPICALL call, const std::wstring& number);
    host::request_result Redirect(HTAPICALL call, const std::wstring& number);
    host::request_result Drop(HTAPICALL call);
    LONG CloseCall(HTAPICALL call);
    /// Drops every call that has not ended and closes all of them.
    void EndCalls();
    LONG GenerateDigits(HTAPICALL call, const std::wstring& digits);

  private:
    host::request_result Ask(const std::string& what, const std::function<host::request_result()>& request);
    LONG AskNow(const std::string& what, const std::function<LONG()>& request);
    void Show(merged_print::clock::time_point time, const std::string& what, const std::string& answer);

    host::telephony_host& host_;
    merged_print& print_;
};

}  // namespace brivelnox::demonstration
