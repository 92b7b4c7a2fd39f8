#pragma once

// What TAPI does above a provider, for the applications of one process: it gives out their handles, starts
// the provider for the first of them and stops it after the last, opens each line once however many have it
// open, and turns the provider's messages into those of the applications.
//
// The telephony host does all that touches the provider. It watches its contract, too: a breach is written to
// the standard error when the provider is stopped, and makes that lineShutdown fail.
//
// The order that applications rely on: LINE_REPLY after the function has returned the request's id;
// LINE_APPNEWCALL before anything else of a new call; for a call that the application asked for, the reply
// before anything else of it.
//
// One provider is started: the first of the list that can be. Operations have the names, parameters and
// results of the TAPI functions that they carry out, and may be called from any thread, also from inside a
// callback.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tests/tapi32/stand_in/handle_table.h"
#include "tests/tapi32/stand_in/message_channel.h"
#include "tools/telephony_host/provider_module.h"
#include "tools/telephony_host/telephony_host.h"

namespace brivelnox::tapi32 {

/// The highest version that applications can agree on, and the lowest.
inline constexpr DWORD kHighestVersion = 0x00020002;
inline constexpr DWORD kLowestVersion = 0x00010003;

class telephony_service {
  public:
    /// The only one. It is never destroyed: when an application ends without lineShutdown, the provider's
    /// threads are gone before anything of it could be stopped in order.
    static telephony_service& Instance();

    LONG Initialize(HLINEAPP& app, LINECALLBACK callback, DWORD& devices, DWORD& version,
                    LINEINITIALIZEEXPARAMS& parameters);
    LONG Shutdown(HLINEAPP app);
    LONG NextMessage(HLINEAPP app, LINEMESSAGE& message, DWORD milliseconds);
    LONG NegotiateVersion(HLINEAPP app, DWORD device, DWORD low, DWORD high, DWORD& version,
                          LINEEXTENSIONID& extension);

    LONG Open(HLINEAPP app, DWORD device, HLINE& line, DWORD version, DWORD_PTR instance, DWORD privileges,
              DWORD media_modes);
    LONG Close(HLINE line);
    LONG GetDevCaps(HLINEAPP app, DWORD device, DWORD version, DWORD extension_version, LINEDEVCAPS& caps);
    LONG GetAddressCaps(HLINEAPP app, DWORD device, DWORD address, DWORD version, DWORD extension_version,
                        LINEADDRESSCAPS& caps);
    LONG GetLineDevStatus(HLINE line, LINEDEVSTATUS& status);
    LONG GetAddressStatus(HLINE line, DWORD address, LINEADDRESSSTATUS& status);
    /// With LINECALLSELECT_CALL the line is that of the call.
    LONG GetId(HLINE line, DWORD address, HCALL call, DWORD select, VARSTRING& id,
               const wchar_t* device_class);
    /// 0 for a valid handle: the provider has no status messages that could be chosen.
    LONG SetStatusMessages(HLINE line);

    LONG MakeCall(HLINE line, LPHCALL call, const wchar_t* number, DWORD country_code);
    LONG SetupTransfer(HCALL call, LPHCALL consultation);
    /// The requests for a call that the host has, too: the application has to own it.
    LONG Control(HCALL call,
                 const std::function<host::request_result(host::telephony_host&, HTAPICALL)>& request);
    /// The same for two calls.
    LONG Control(
        HCALL first, HCALL second,
        const std::function<host::request_result(host::telephony_host&, HTAPICALL, HTAPICALL)>& request);
    LONG GenerateDigits(HCALL call, const wchar_t* digits);
    LONG DeallocateCall(HCALL call);
    LONG GetCallInfo(HCALL call, LINECALLINFO& information);
    LONG GetCallStatus(HCALL call, LINECALLSTATUS& status);

    /// The file of the provider that has the line; empty if there is no such line.
    [[nodiscard]] std::wstring ProviderFileOf(DWORD device) const;

  private:
    /// The provider while there are applications.
    struct running_provider {
        running_provider(const std::wstring& path, const host::host_options& options)
            : file(path), module(path), host(module, options) {}
        std::wstring file;
        host::provider_module module;
        host::telephony_host host;
    };
    struct application {
        std::shared_ptr<message_channel> channel;
    };
    struct open_line {
        HLINE handle = 0;
        HLINEAPP app = 0;
        std::shared_ptr<message_channel> channel;
        DWORD device = 0;
        DWORD_PTR instance = 0;
        DWORD privileges = 0;
        DWORD media_modes = 0;
    };
    /// A call as one application has it.
    struct held_call {
        HCALL handle = 0;
        std::shared_ptr<open_line> line;
        HTAPICALL call = nullptr;
        DWORD privilege = 0;
        bool told = false;  // a state of it
    };
    /// A call as the provider has it.
    struct provider_call {
        DWORD device = 0;
        DWORD state = LINECALLSTATE_UNKNOWN;
        bool announced = false;                // the applications have handles for it
        std::vector<host::tapi_event> before;  // what came before that
        std::vector<std::shared_ptr<held_call>> holders;
        [[nodiscard]] DWORD Count(DWORD privilege) const;
    };
    /// A request that has returned or been completed, but not both: whom to tell, and the result.
    struct pending_request {
        std::shared_ptr<open_line> line;
        LPHCALL place = nullptr;
        HTAPICALL call = nullptr;
        std::optional<LONG> result;
    };
    struct found_call {
        std::shared_ptr<held_call> held;
        std::shared_ptr<running_provider> provider;
    };

    telephony_service() = default;

    // Starting and stopping; with the lifecycle lock held.
    void StartProvider();
    LONG StopProvider();
    LONG OpenDevice(DWORD device);
    void CloseLine(const std::shared_ptr<open_line>& line);
    void ChooseMediaModes(DWORD device);

    // What the provider says, on its threads.
    void OnEvent(const host::tapi_event& event);
    void OnNewDevice(DWORD device);
    void TakeNewCall(const host::tapi_event& event);

    // With the lock held.
    void Finish(DRV_REQUESTID id);
    void TakeCallMessage(const host::tapi_event& event);
    void Tell(provider_call& call, const host::tapi_event& event);
    void Announce(HTAPICALL handle, provider_call& call, const open_line* maker);
    std::shared_ptr<held_call> GiveHandle(HTAPICALL handle, provider_call& call,
                                          const std::shared_ptr<open_line>& line, DWORD privilege);

    LONG Ask(const std::shared_ptr<open_line>& line, LPHCALL place,
             const std::function<host::request_result()>& request);
    void Release(const found_call& call);
    [[nodiscard]] std::shared_ptr<running_provider> Provider() const;
    [[nodiscard]] std::shared_ptr<open_line> FindLine(HLINE line) const;
    [[nodiscard]] HDRVLINE DriverOf(const open_line& line) const;
    [[nodiscard]] found_call FindCall(HCALL call) const;
    /// 0 if the application may control the call.
    [[nodiscard]] static LONG MayControl(const found_call& call);
    /// 0 if the application and the device exist and the version is one that can be agreed on.
    [[nodiscard]] LONG CheckDevice(HLINEAPP app, DWORD device, DWORD version) const;

    // Held while the provider is started or stopped, and while lines are opened or closed. Comes before the
    // other one.
    std::mutex lifecycle_mutex_;

    // Guards everything below; never held while the provider is called.
    mutable std::mutex mutex_;
    std::shared_ptr<running_provider> provider_;
    handle_table<application> applications_{0x01000001};
    handle_table<open_line> lines_{0x02000001};
    handle_table<held_call> held_calls_{0x03000001};
    std::map<DWORD, HTAPILINE> open_devices_;
    std::map<HTAPICALL, provider_call> calls_;
    std::map<DRV_REQUESTID, pending_request> requests_;
};

}  // namespace brivelnox::tapi32
