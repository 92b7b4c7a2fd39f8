#pragma once

// The application's side of the print: it makes requests of the telephony host, and shows each with its
// answer.

#include <functional>
#include <string>

#include "tools/telephony_host/merged_print.h"
#include "tools/telephony_host/telephony_host.h"

namespace brivelnox::host {

/// What the arguments of this class's operations mean, and what they return, is the telephony_host's
/// business. For any thread.
class application {
  public:
    application(telephony_host& host, merged_print& print);
    /// Ends the watching of the host.
    ~application();
    application(const application&) = delete;
    application& operator=(const application&) = delete;

    [[nodiscard]] telephony_host& Host() const { return host_; }

    LONG Start();
    LONG Shutdown();
    HTAPILINE OpenLine(DWORD device_id);
    LONG CloseLine(HTAPILINE line);
    std::optional<line_caps> GetDevCaps(DWORD device_id);
    std::optional<call_information> GetCallInfo(HTAPICALL call);
    std::optional<call_status> GetCallStatus(HTAPICALL call);
    std::optional<call_counts> GetLineDevStatus(HTAPILINE line);

    request_result MakeCall(HTAPILINE line, const std::wstring& number);
    request_result Dial(HTAPICALL call, const std::wstring& number);
    request_result Answer(HTAPICALL call);
    request_result Hold(HTAPICALL call);
    request_result Unhold(HTAPICALL call);
    request_result SwapHold(HTAPICALL active, HTAPICALL held);
    request_result SetupTransfer(HTAPICALL call);
    request_result CompleteTransfer(HTAPICALL call, HTAPICALL consultation);
    request_result BlindTransfer(HTAPICALL call, const std::wstring& number);
    request_result Redirect(HTAPICALL call, const std::wstring& number);
    request_result Drop(HTAPICALL call);
    LONG CloseCall(HTAPICALL call);
    LONG GenerateDigits(HTAPICALL call, const std::wstring& digits);

  private:
    request_result Ask(const std::string& what, const std::function<request_result()>& request);
    LONG AskNow(const std::string& what, const std::function<LONG()>& request);
    void Show(merged_print::clock::time_point time, const std::string& what, const std::string& answer);

    telephony_host& host_;
    merged_print& print_;
};

}  // namespace brivelnox::host
