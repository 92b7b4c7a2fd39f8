// What the provider tells about lines and calls.

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "tools/telephony_host/telephony_host.h"

namespace brivelnox::host {

namespace {

constexpr DWORD kFirstSize = 1024;
constexpr DWORD kLargestSize = 1U << 24U;

/// A structure of TAPI's with its variable part. All of them begin with the total, the needed and the used
/// size.
class growing_buffer {
  public:
    /// Calls `fill` with a zeroed buffer whose total size is set; once more with a larger one if that was too
    /// small.
    template <class Structure, class Fill>
    LONG Take(Fill fill) {
        LONG result = 0;
        for (DWORD size = kFirstSize;;) {
            bytes_.assign(size, std::byte{0});
            auto* const structure = reinterpret_cast<Structure*>(bytes_.data());
            structure->dwTotalSize = size;
            result = fill(structure);
            const DWORD needed = structure->dwNeededSize;
            if (needed <= size || needed > kLargestSize) {
                return result;
            }
            size = needed;
        }
    }
    template <class Structure>
    [[nodiscard]] const Structure& As() const {
        return *reinterpret_cast<const Structure*>(bytes_.data());
    }
    [[nodiscard]] std::wstring Text(DWORD size, DWORD offset) const {
        return VariableText(bytes_.data(), static_cast<DWORD>(bytes_.size()), size, offset);
    }

  private:
    std::vector<std::byte> bytes_;
};

bool Succeeded(LONG returned, LONG* result) {
    if (result != nullptr) {
        *result = returned;
    }
    return returned == 0;
}

template <class Structure>
call_counts Counts(const Structure& status) {
    return {status.dwNumActiveCalls, status.dwNumOnHoldCalls, status.dwNumOnHoldPendCalls};
}

}  // namespace

std::wstring VariableText(const void* structure, DWORD total, DWORD size, DWORD offset) {
    if (size < sizeof(wchar_t) || offset > total || size > total - offset) {
        return {};
    }
    std::wstring text(size / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), static_cast<const std::byte*>(structure) + offset,
                text.size() * sizeof(wchar_t));
    return text.substr(0, text.find(L'\0'));
}

std::optional<line_caps> telephony_host::GetDevCaps(DWORD device_id, LONG* result) {
    growing_buffer buffer;
    const LONG returned = buffer.Take<LINEDEVCAPS>(
        [&](LINEDEVCAPS* caps) { return module_.TSPI_lineGetDevCaps(device_id, version_, 0, caps); });
    if (!Succeeded(returned, result)) {
        return std::nullopt;
    }
    const auto& caps = buffer.As<LINEDEVCAPS>();
    return line_caps{caps.dwPermanentLineID,
                     buffer.Text(caps.dwLineNameSize, caps.dwLineNameOffset),
                     buffer.Text(caps.dwProviderInfoSize, caps.dwProviderInfoOffset),
                     caps.dwNumAddresses,
                     caps.dwMediaModes,
                     caps.dwMaxNumActiveCalls,
                     caps.dwLineFeatures};
}

std::optional<call_information> telephony_host::GetCallInfo(HTAPICALL call, LONG* result) {
    growing_buffer buffer;
    const HDRVCALL driver = Driver(call);
    const LONG returned = buffer.Take<LINECALLINFO>(
        [&](LINECALLINFO* info) { return module_.TSPI_lineGetCallInfo(driver, info); });
    if (!Succeeded(returned, result)) {
        return std::nullopt;
    }
    const auto& info = buffer.As<LINECALLINFO>();
    const auto party = [&buffer](DWORD flags, DWORD size, DWORD offset, DWORD name_size, DWORD name_offset) {
        return call_party{flags, buffer.Text(size, offset), buffer.Text(name_size, name_offset)};
    };
    call_information told;
    told.line_device_id = info.dwLineDeviceID;
    told.address_id = info.dwAddressID;
    told.bearer_mode = info.dwBearerMode;
    told.media_mode = info.dwMediaMode;
    told.call_id = info.dwCallID;
    told.origin = info.dwOrigin;
    told.reason = info.dwReason;
    told.trunk = info.dwTrunk;
    told.caller = party(info.dwCallerIDFlags, info.dwCallerIDSize, info.dwCallerIDOffset,
                        info.dwCallerIDNameSize, info.dwCallerIDNameOffset);
    told.called = party(info.dwCalledIDFlags, info.dwCalledIDSize, info.dwCalledIDOffset,
                        info.dwCalledIDNameSize, info.dwCalledIDNameOffset);
    told.connected = party(info.dwConnectedIDFlags, info.dwConnectedIDSize, info.dwConnectedIDOffset,
                           info.dwConnectedIDNameSize, info.dwConnectedIDNameOffset);
    told.redirection = party(info.dwRedirectionIDFlags, info.dwRedirectionIDSize, info.dwRedirectionIDOffset,
                             info.dwRedirectionIDNameSize, info.dwRedirectionIDNameOffset);
    told.redirecting = party(info.dwRedirectingIDFlags, info.dwRedirectingIDSize, info.dwRedirectingIDOffset,
                             info.dwRedirectingIDNameSize, info.dwRedirectingIDNameOffset);
    return told;
}

std::optional<call_status> telephony_host::GetCallStatus(HTAPICALL call, LONG* result) {
    growing_buffer buffer;
    const HDRVCALL driver = Driver(call);
    const LONG returned = buffer.Take<LINECALLSTATUS>(
        [&](LINECALLSTATUS* status) { return module_.TSPI_lineGetCallStatus(driver, status); });
    if (!Succeeded(returned, result)) {
        return std::nullopt;
    }
    const auto& status = buffer.As<LINECALLSTATUS>();
    return call_status{status.dwCallState, status.dwCallStateMode, status.dwCallFeatures};
}

std::optional<call_counts> telephony_host::GetLineDevStatus(HTAPILINE line, LONG* result) {
    growing_buffer buffer;
    const HDRVLINE driver = Driver(line);
    const LONG returned = buffer.Take<LINEDEVSTATUS>(
        [&](LINEDEVSTATUS* status) { return module_.TSPI_lineGetLineDevStatus(driver, status); });
    return Succeeded(returned, result) ? std::optional(Counts(buffer.As<LINEDEVSTATUS>())) : std::nullopt;
}

std::optional<call_counts> telephony_host::GetAddressStatus(HTAPILINE line, LONG* result) {
    growing_buffer buffer;
    const HDRVLINE driver = Driver(line);
    const LONG returned = buffer.Take<LINEADDRESSSTATUS>(
        [&](LINEADDRESSSTATUS* status) { return module_.TSPI_lineGetAddressStatus(driver, 0, status); });
    return Succeeded(returned, result) ? std::optional(Counts(buffer.As<LINEADDRESSSTATUS>())) : std::nullopt;
}

std::optional<DWORD> telephony_host::GetAddressCallFeatures(DWORD device_id, LONG* result) {
    growing_buffer buffer;
    const LONG returned = buffer.Take<LINEADDRESSCAPS>([&](LINEADDRESSCAPS* caps) {
        return module_.TSPI_lineGetAddressCaps(device_id, 0, version_, 0, caps);
    });
    return Succeeded(returned, result) ? std::optional<DWORD>(buffer.As<LINEADDRESSCAPS>().dwCallFeatures)
                                       : std::nullopt;
}

std::optional<DWORD> telephony_host::GetId(HTAPILINE line, const wchar_t* device_class, LONG* result) {
    growing_buffer buffer;
    const HDRVLINE driver = Driver(line);
    const LONG returned = buffer.Take<VARSTRING>([&](VARSTRING* id) {
        return module_.TSPI_lineGetID(driver, 0, nullptr, LINECALLSELECT_LINE, id, device_class, nullptr);
    });
    const auto& id = buffer.As<VARSTRING>();
    if (!Succeeded(returned, result) || id.dwStringSize < sizeof(DWORD)) {
        return std::nullopt;
    }
    DWORD device = 0;
    std::memcpy(&device, reinterpret_cast<const std::byte*>(&id) + id.dwStringOffset, sizeof(device));
    return device;
}

}  // namespace brivelnox::host
