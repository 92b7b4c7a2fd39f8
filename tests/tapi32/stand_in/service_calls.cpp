// The applications' requests for calls, and what they ask about calls and lines.

#include <cstddef>
#include <cstring>

#include "tests/tapi32/stand_in/telephony_service.h"

namespace brivelnox::tapi32 {

namespace {

constexpr auto kInvalidLine = static_cast<LONG>(LINEERR_INVALLINEHANDLE);
constexpr auto kInvalidCall = static_cast<LONG>(LINEERR_INVALCALLHANDLE);

// The fixed parts that an application of version 2.x has; the headers may declare longer ones.
constexpr DWORD kDevCapsSize = offsetof(LINEDEVCAPS, PermanentLineGuid) + sizeof(GUID);
constexpr DWORD kCallInfoSize = offsetof(LINECALLINFO, dwReceivingFlowspecOffset) + sizeof(DWORD);

/// Has the provider fill a structure of which nothing but the total size is set; its own is refused when it
/// cannot even hold the fixed part.
template <class Structure, class Function>
LONG Fill(Structure& structure, DWORD fixed_size, Function fill) {
    const DWORD total = structure.dwTotalSize;
    if (total < fixed_size) {
        return static_cast<LONG>(LINEERR_STRUCTURETOOSMALL);
    }
    std::memset(static_cast<void*>(&structure), 0, total);
    structure.dwTotalSize = total;
    return fill(&structure);
}

}  // namespace

/// Makes a request for the line, whose application gets the reply; for none, nobody is told.
LONG telephony_service::Ask(const std::shared_ptr<open_line>& line, LPHCALL place,
                            const std::function<host::request_result()>& request) {
    const host::request_result result = request();
    const std::lock_guard lock(mutex_);
    if (!result.Accepted() || line == nullptr) {
        requests_.erase(result.request_id);
        return result.Accepted() || result.returned < 0 ? result.returned
                                                        : static_cast<LONG>(LINEERR_OPERATIONFAILED);
    }
    pending_request& pending = requests_[result.request_id];
    pending.line = line;
    pending.place = place;
    pending.call = result.call;
    Finish(result.request_id);
    return result.returned;
}

LONG telephony_service::MakeCall(HLINE line, LPHCALL call, const wchar_t* number, DWORD country_code) {
    const std::shared_ptr<open_line> found = FindLine(line);
    if (found == nullptr) {
        return kInvalidLine;
    }
    const std::shared_ptr<running_provider> provider = Provider();
    HTAPILINE opened = nullptr;
    {
        const std::lock_guard lock(mutex_);
        opened = open_devices_[found->device];
    }
    return Ask(found, call, [&] { return provider->host.MakeCall(opened, number, country_code); });
}

LONG telephony_service::SetupTransfer(HCALL call, LPHCALL consultation) {
    const found_call found = FindCall(call);
    const LONG refused = MayControl(found);
    return refused != 0 ? refused : Ask(found.held->line, consultation, [&] {
        return found.provider->host.SetupTransfer(found.held->call);
    });
}

LONG telephony_service::Control(
    HCALL call, const std::function<host::request_result(host::telephony_host&, HTAPICALL)>& request) {
    const found_call found = FindCall(call);
    const LONG refused = MayControl(found);
    return refused != 0 ? refused : Ask(found.held->line, nullptr, [&] {
        return request(found.provider->host, found.held->call);
    });
}

LONG telephony_service::Control(
    HCALL first, HCALL second,
    const std::function<host::request_result(host::telephony_host&, HTAPICALL, HTAPICALL)>& request) {
    const found_call other = FindCall(second);
    const LONG refused = MayControl(other);
    return refused != 0 ? refused : Control(first, [&](host::telephony_host& host, HTAPICALL call) {
        return request(host, call, other.held->call);
    });
}

LONG telephony_service::GenerateDigits(HCALL call, const wchar_t* digits) {
    const found_call found = FindCall(call);
    const LONG refused = MayControl(found);
    return refused != 0 ? refused : found.provider->host.GenerateDigits(found.held->call, digits);
}

LONG telephony_service::DeallocateCall(HCALL call) {
    const found_call found = FindCall(call);
    if (found.held == nullptr) {
        return kInvalidCall;
    }
    Release(found);
    return 0;
}

/// Ends the handle; when nobody has another one for the call, the provider is told that nobody wants it any
/// more.
void telephony_service::Release(const found_call& call) {
    {
        const std::lock_guard lock(mutex_);
        held_calls_.Remove(call.held->handle);
        provider_call& known = calls_[call.held->call];
        std::erase(known.holders, call.held);
        if (!known.holders.empty()) {
            return;
        }
    }
    (void)call.provider->host.CloseCall(call.held->call);
    const std::lock_guard lock(mutex_);
    calls_.erase(call.held->call);
}

telephony_service::found_call telephony_service::FindCall(HCALL call) const {
    const std::lock_guard lock(mutex_);
    return {held_calls_.Find(call), provider_};
}

LONG telephony_service::MayControl(const found_call& call) {
    if (call.held == nullptr) {
        return kInvalidCall;
    }
    return call.held->privilege == LINECALLPRIVILEGE_OWNER ? 0 : static_cast<LONG>(LINEERR_NOTOWNER);
}

LONG telephony_service::GetCallInfo(HCALL call, LINECALLINFO& information) {
    const found_call found = FindCall(call);
    if (found.held == nullptr) {
        return kInvalidCall;
    }
    const auto& provider = found.provider;
    const LONG result = Fill(information, kCallInfoSize, [&](LINECALLINFO* filled) {
        return provider->module.TSPI_lineGetCallInfo(provider->host.Driver(found.held->call), filled);
    });
    if (result == 0) {
        const std::lock_guard lock(mutex_);
        const provider_call& known = calls_[found.held->call];
        information.hLine = found.held->line->handle;
        information.dwNumOwners = known.Count(LINECALLPRIVILEGE_OWNER);
        information.dwNumMonitors = known.Count(LINECALLPRIVILEGE_MONITOR);
    }
    return result;
}

LONG telephony_service::GetCallStatus(HCALL call, LINECALLSTATUS& status) {
    const found_call found = FindCall(call);
    if (found.held == nullptr) {
        return kInvalidCall;
    }
    const auto& provider = found.provider;
    const LONG result = Fill(status, sizeof(LINECALLSTATUS), [&](LINECALLSTATUS* filled) {
        return provider->module.TSPI_lineGetCallStatus(provider->host.Driver(found.held->call), filled);
    });
    status.dwCallPrivilege = result == 0 ? found.held->privilege : 0;
    return result;
}

LONG telephony_service::GetDevCaps(HLINEAPP app, DWORD device, DWORD version, DWORD extension_version,
                                   LINEDEVCAPS& caps) {
    const LONG refused = CheckDevice(app, device, version);
    const std::shared_ptr<running_provider> provider = Provider();
    return refused != 0 ? refused : Fill(caps, kDevCapsSize, [&](LINEDEVCAPS* filled) {
        return provider->module.TSPI_lineGetDevCaps(device, provider->host.Version(), extension_version,
                                                    filled);
    });
}

LONG telephony_service::GetAddressCaps(HLINEAPP app, DWORD device, DWORD address, DWORD version,
                                       DWORD extension_version, LINEADDRESSCAPS& caps) {
    const LONG refused = CheckDevice(app, device, version);
    const std::shared_ptr<running_provider> provider = Provider();
    return refused != 0 ? refused : Fill(caps, sizeof(LINEADDRESSCAPS), [&](LINEADDRESSCAPS* filled) {
        return provider->module.TSPI_lineGetAddressCaps(device, address, provider->host.Version(),
                                                        extension_version, filled);
    });
}

LONG telephony_service::GetLineDevStatus(HLINE line, LINEDEVSTATUS& status) {
    const std::shared_ptr<open_line> found = FindLine(line);
    if (found == nullptr) {
        return kInvalidLine;
    }
    const std::shared_ptr<running_provider> provider = Provider();
    const LONG result = Fill(status, sizeof(LINEDEVSTATUS), [&](LINEDEVSTATUS* filled) {
        return provider->module.TSPI_lineGetLineDevStatus(DriverOf(*found), filled);
    });
    if (result == 0) {
        const std::lock_guard lock(mutex_);
        for (const std::shared_ptr<open_line>& each : lines_.All()) {
            status.dwNumOpens += each->device == found->device ? 1 : 0;
            status.dwOpenMediaModes |= each->device == found->device ? each->media_modes : 0;
        }
    }
    return result;
}

LONG telephony_service::GetAddressStatus(HLINE line, DWORD address, LINEADDRESSSTATUS& status) {
    const std::shared_ptr<open_line> found = FindLine(line);
    const std::shared_ptr<running_provider> provider = Provider();
    return found == nullptr
               ? kInvalidLine
               : Fill(status, sizeof(LINEADDRESSSTATUS), [&](LINEADDRESSSTATUS* filled) {
                     return provider->module.TSPI_lineGetAddressStatus(DriverOf(*found), address, filled);
                 });
}

LONG telephony_service::GetId(HLINE line, DWORD address, HCALL call, DWORD select, VARSTRING& id,
                              const wchar_t* device_class) {
    const found_call of_call = FindCall(call);
    const bool by_call = select == LINECALLSELECT_CALL;
    if (by_call && of_call.held == nullptr) {
        return kInvalidCall;
    }
    const std::shared_ptr<open_line> found = by_call ? of_call.held->line : FindLine(line);
    const std::shared_ptr<running_provider> provider = Provider();
    return found == nullptr ? kInvalidLine : Fill(id, sizeof(VARSTRING), [&](VARSTRING* filled) {
        const HDRVCALL driver = by_call ? provider->host.Driver(of_call.held->call) : nullptr;
        return provider->module.TSPI_lineGetID(DriverOf(*found), address, driver, select, filled,
                                               device_class, nullptr);
    });
}

LONG telephony_service::SetStatusMessages(HLINE line) {
    return FindLine(line) == nullptr ? kInvalidLine : 0;
}

HDRVLINE telephony_service::DriverOf(const open_line& line) const {
    const std::lock_guard lock(mutex_);
    const auto opened = open_devices_.find(line.device);
    return opened == open_devices_.end() ? nullptr : provider_->host.Driver(opened->second);
}

}  // namespace brivelnox::tapi32
