// What TAPI is told about one call: its parties, origin and reason, and its state with the features offered
// in it.

#include <cstring>
#include <string>

#include "calls/call_tables.h"
#include "calls/tapi_call.h"
#include "platform/low32.h"
#include "provider/driver_handles.h"
#include "provider/fixed_fields.h"
#include "provider/guarded.h"
#include "provider/tapi_layout.h"
#include "provider/telephony_manager.h"

namespace brivelnox {

namespace {

constexpr DWORD kUnknownTrunk = 0xFFFFFFFF;

constexpr fixed_field<LINECALLINFO> kCallInfo[] = {
    {&LINECALLINFO::dwAddressID, 0},
    {&LINECALLINFO::dwBearerMode, LINEBEARERMODE_SPEECH},
    {&LINECALLINFO::dwMediaMode, LINEMEDIAMODE_INTERACTIVEVOICE},
    {&LINECALLINFO::dwCompletionID, 0},
    {&LINECALLINFO::dwCountryCode, 0},
    {&LINECALLINFO::dwTrunk, kUnknownTrunk},
    {&LINECALLINFO::dwRedirectionIDFlags, LINECALLPARTYID_UNAVAIL},
};

/// A party as TAPI is told it.
struct party {
    std::wstring number;
    std::wstring name;
};

/// The parties of a call, seen from its direction.
struct call_parties {
    party caller;
    party redirecting;
    party called;
    party connected;
};

/// Where a party goes. The order of the table is the order of the strings behind the structure.
constexpr struct {
    party call_parties::*who;
    DWORD LINECALLINFO::*flags;
    DWORD LINECALLINFO::*number_size;
    DWORD LINECALLINFO::*number_offset;
    DWORD LINECALLINFO::*name_size;
    DWORD LINECALLINFO::*name_offset;
} kParties[] = {
    {&call_parties::caller, &LINECALLINFO::dwCallerIDFlags, &LINECALLINFO::dwCallerIDSize,
     &LINECALLINFO::dwCallerIDOffset, &LINECALLINFO::dwCallerIDNameSize, &LINECALLINFO::dwCallerIDNameOffset},
    {&call_parties::redirecting, &LINECALLINFO::dwRedirectingIDFlags, &LINECALLINFO::dwRedirectingIDSize,
     &LINECALLINFO::dwRedirectingIDOffset, &LINECALLINFO::dwRedirectingIDNameSize,
     &LINECALLINFO::dwRedirectingIDNameOffset},
    {&call_parties::called, &LINECALLINFO::dwCalledIDFlags, &LINECALLINFO::dwCalledIDSize,
     &LINECALLINFO::dwCalledIDOffset, &LINECALLINFO::dwCalledIDNameSize, &LINECALLINFO::dwCalledIDNameOffset},
    {&call_parties::connected, &LINECALLINFO::dwConnectedIDFlags, &LINECALLINFO::dwConnectedIDSize,
     &LINECALLINFO::dwConnectedIDOffset, &LINECALLINFO::dwConnectedIDNameSize,
     &LINECALLINFO::dwConnectedIDNameOffset},
};

constexpr DWORD kConnectedFeatures = LINECALLFEATURE_BLINDTRANSFER | LINECALLFEATURE_COMPLETETRANSF |
                                     LINECALLFEATURE_DROP | LINECALLFEATURE_GENERATEDIGITS |
                                     LINECALLFEATURE_HOLD | LINECALLFEATURE_SETUPTRANSFER |
                                     LINECALLFEATURE_SWAPHOLD;
static_assert(kConnectedFeatures == 0x06000AA8);

constexpr DWORD kOnHoldFeatures =
    LINECALLFEATURE_COMPLETETRANSF | LINECALLFEATURE_DROP | LINECALLFEATURE_SWAPHOLD | LINECALLFEATURE_UNHOLD;
static_assert(kOnHoldFeatures == 0x0C0000A0);

constexpr struct {
    std::uint32_t state;
    DWORD features;
} kCallFeatures[] = {
    {LINECALLSTATE_IDLE, 0},
    {LINECALLSTATE_ACCEPTED, LINECALLFEATURE_REDIRECT | LINECALLFEATURE_DROP},
    {LINECALLSTATE_DIALTONE, LINECALLFEATURE_DIAL | LINECALLFEATURE_DROP},
    {LINECALLSTATE_CONNECTED, kConnectedFeatures},
    {LINECALLSTATE_ONHOLD, kOnHoldFeatures},
    {LINECALLSTATE_ONHOLDPENDCONF, kOnHoldFeatures},
    {LINECALLSTATE_ONHOLDPENDTRANSFER, kOnHoldFeatures},
};

// Of every other state. An offering call is deliberately among them: answering is offered once it is
// accepted.
constexpr DWORD kOtherFeatures = LINECALLFEATURE_DROP;

DWORD CallFeaturesOf(std::uint32_t state) {
    for (const auto& row : kCallFeatures) {
        if (row.state == state) {
            return row.features;
        }
    }
    return kOtherFeatures;
}

call_parties PartiesOf(const call_details& details, bool is_outbound) {
    const party self = {details.self_number, details.self_name};
    const party peer = {details.peer_number, details.peer_name};
    call_parties parties;
    parties.caller = is_outbound ? self : peer;
    parties.called = is_outbound ? peer : self;
    parties.redirecting = {details.forwarder_number, details.forwarder_name};
    if (details.tapi_call_state != LINECALLSTATE_ONHOLD) {
        parties.connected = {details.connected_number, details.connected_name};
    }
    return parties;
}

DWORD FlagsOf(const party& who) {
    const DWORD flags =
        (who.number.empty() ? 0 : LINECALLPARTYID_ADDRESS) | (who.name.empty() ? 0 : LINECALLPARTYID_NAME);
    return flags != 0 ? flags : LINECALLPARTYID_UNKNOWN;
}

/// The bytes of a text behind the structure: none for an empty one.
DWORD OptionalTextBytes(const std::wstring& text) {
    return text.empty() ? 0 : static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
}

DWORD NeededSize(const call_parties& parties) {
    DWORD size = kCallInfoSize;
    for (const auto& row : kParties) {
        size += OptionalTextBytes((parties.*row.who).number) + OptionalTextBytes((parties.*row.who).name);
    }
    return size;
}

void AppendText(LINECALLINFO& info, DWORD& at, const std::wstring& text, DWORD LINECALLINFO::*size,
                DWORD LINECALLINFO::*offset) {
    if (text.empty()) {
        return;
    }
    info.*size = OptionalTextBytes(text);
    info.*offset = at;
    std::memcpy(reinterpret_cast<BYTE*>(&info) + at, text.c_str(), info.*size);
    at += info.*size;
}

void AppendParties(LINECALLINFO& info, const call_parties& parties) {
    info.dwUsedSize = info.dwNeededSize;
    DWORD at = kCallInfoSize;
    for (const auto& row : kParties) {
        AppendText(info, at, (parties.*row.who).number, row.number_size, row.number_offset);
        AppendText(info, at, (parties.*row.who).name, row.name_size, row.name_offset);
    }
}

void LogParties(bool is_outbound, const call_parties& parties, const call_details& details) {
    // The connected party is logged as stored, even where TAPI is not told it.
    ProviderLog(L"GetCallInfo: %s. Caller: %s / %s. Called: %s / %s. Connected: %s / %s. Forwarder: %s / %s",
                is_outbound ? L"LINECALLORIGIN_OUTBOUND" : L"LINECALLORIGIN_INBOUND",
                parties.caller.number.c_str(), parties.caller.name.c_str(), parties.called.number.c_str(),
                parties.called.name.c_str(), details.connected_number.c_str(), details.connected_name.c_str(),
                parties.redirecting.number.c_str(), parties.redirecting.name.c_str());
}

void LogTooSmall(const LINECALLINFO& info) {
    ProviderLog(
        L"GetCallInfo: Buffer provided by TAPI application is too small. Struct size %d, Available buffer size %d, Required buffer size %d",
        kCallInfoSize, info.dwTotalSize, info.dwNeededSize);
    ProviderLog(L"TAPI application must call lineGetCallInfo with a larger buffer.");
}

LONG FillCallInfo(const tapi_call& call, LINECALLINFO& info) {
    const call_details details = call.Details();
    const bool is_outbound = call.CallOrigin() == LINECALLORIGIN_OUTBOUND;
    const call_parties parties = PartiesOf(details, is_outbound);
    ProviderLog(L"GetCallInfo");
    info.dwNeededSize = NeededSize(parties);
    if (info.dwTotalSize < kCallInfoSize) {
        // TAPI always hands over the fixed part. Writing it anyway would write behind the caller's memory.
        return LINEERR_STRUCTURETOOSMALL;
    }
    for (const auto& row : kParties) {
        info.*row.flags = FlagsOf(parties.*row.who);
    }
    if (info.dwNeededSize > info.dwTotalSize) {
        info.dwUsedSize = kCallInfoSize;
        LogTooSmall(info);
    } else {
        LogParties(is_outbound, parties, details);
        AppendParties(info, parties);
    }
    info.dwLineDeviceID = call.Line().DeviceId();
    info.dwCallID = Low32(call.DriverCallHandle());
    info.dwOrigin = is_outbound ? LINECALLORIGIN_OUTBOUND : LINECALLORIGIN_INBOUND;
    info.dwReason = CallReasonOf(details.forward_type);
    WriteFixedFields(info, kCallInfo);
    return 0;
}

DWORD OfferedFeatures(const tapi_call* call, std::uint32_t state) {
    const DWORD features = CallFeaturesOf(state);
    const bool can_be_answered =
        state == LINECALLSTATE_ACCEPTED && call != nullptr && call->Line().CanAnswer();
    return can_be_answered ? features | LINECALLFEATURE_ANSWER : features;
}

}  // namespace

LONG telephony_manager::LineGetCallInfo(HDRVCALL call, LINECALLINFO* info) noexcept {
    return Guarded(L"LineGetCallInfo: Caught Exception!", [&]() -> LONG {
        const auto lines = Lines();
        const std::shared_ptr<tapi_call> found = lines->Calls().FindCall(CallKey(call));
        if (found == nullptr) {
            return LINEERR_OPERATIONFAILED;
        }
        return FillCallInfo(*found, Require(info));
    });
}

LONG telephony_manager::LineGetCallStatus(HDRVCALL call, LINECALLSTATUS* status) noexcept {
    // The result is deliberately not told.
    (void)Guarded(L"LineGetCallStatus: Caught Exception!", [&]() -> LONG {
        LINECALLSTATUS& filled = Require(status);
        // Deliberately without a comparison with the size handed over.
        filled.dwNeededSize = kCallStatusSize;
        filled.dwUsedSize = kCallStatusSize;
        const auto lines = Lines();
        const std::shared_ptr<tapi_call> found = lines->Calls().FindCall(CallKey(call));
        const call_details details = found != nullptr ? found->Details() : call_details{};
        filled.dwCallState = details.tapi_call_state;
        filled.dwCallStateMode = details.call_state_mode;
        filled.dwCallFeatures = OfferedFeatures(found.get(), details.tapi_call_state);
        filled.dwDevSpecificSize = 0;
        filled.dwDevSpecificOffset = 0;
        return 0;
    });
    return 0;
}

}  // namespace brivelnox
