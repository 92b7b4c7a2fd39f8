// What TAPI is told about a line device and its one address. Most of it is constant: voice calls on one
// address, DTMF, hold and transfer, no conference.

#include <cstring>
#include <cwchar>
#include <string>

#include "provider/driver_handles.h"
#include "provider/fixed_fields.h"
#include "provider/guarded.h"
#include "provider/tapi_layout.h"
#include "provider/telephony_manager.h"

namespace brivelnox {

namespace {

constexpr wchar_t kProviderInfo[] = L"VELORIAN Telephony Service Provider";
constexpr wchar_t kLineDeviceClass[] = L"tapi/line";
constexpr size_t kDeviceClassCharacters = 42;
constexpr DWORD kMaxActiveCalls = 10;
constexpr DWORD kRingModes = 1;
constexpr LINEDIALPARAMS kDialParams = {
    .dwDialPause = 100, .dwDialSpeed = 50, .dwDigitDuration = 100, .dwWaitForDialtone = 100};

constexpr fixed_field<LINEDEVCAPS> kDevCaps[] = {
    {&LINEDEVCAPS::dwSwitchInfoSize, 0},
    {&LINEDEVCAPS::dwSwitchInfoOffset, 0},
    {&LINEDEVCAPS::dwStringFormat, STRINGFORMAT_UNICODE},
    {&LINEDEVCAPS::dwAddressModes, LINEADDRESSMODE_ADDRESSID},
    {&LINEDEVCAPS::dwNumAddresses, 1},
    {&LINEDEVCAPS::dwBearerModes, LINEBEARERMODE_VOICE | LINEBEARERMODE_SPEECH},
    {&LINEDEVCAPS::dwMediaModes, LINEMEDIAMODE_INTERACTIVEVOICE},
    {&LINEDEVCAPS::dwGenerateDigitModes, LINEDIGITMODE_DTMF},
    {&LINEDEVCAPS::dwMonitorToneMaxNumEntries, 0},
    {&LINEDEVCAPS::dwMedCtlDigitMaxListSize, 0},
    {&LINEDEVCAPS::dwMedCtlMediaMaxListSize, 0},
    {&LINEDEVCAPS::dwMedCtlToneMaxListSize, 0},
    {&LINEDEVCAPS::dwMedCtlCallStateMaxListSize, 0},
    {&LINEDEVCAPS::dwDevCapFlags, 0},
    {&LINEDEVCAPS::dwMaxNumActiveCalls, kMaxActiveCalls},
    {&LINEDEVCAPS::dwAnswerMode, LINEANSWERMODE_HOLD},
    {&LINEDEVCAPS::dwRingModes, kRingModes},
    {&LINEDEVCAPS::dwUUIAcceptSize, 0},
    {&LINEDEVCAPS::dwUUIAnswerSize, 0},
    {&LINEDEVCAPS::dwUUIMakeCallSize, 0},
    {&LINEDEVCAPS::dwUUIDropSize, 0},
    {&LINEDEVCAPS::dwUUISendUserUserInfoSize, 0},
    {&LINEDEVCAPS::dwUUICallInfoSize, 0},
    {&LINEDEVCAPS::dwNumTerminals, 0},
    {&LINEDEVCAPS::dwTerminalCapsSize, 0},
    {&LINEDEVCAPS::dwTerminalCapsOffset, 0},
    {&LINEDEVCAPS::dwTerminalTextEntrySize, 0},
    {&LINEDEVCAPS::dwTerminalTextSize, 0},
    {&LINEDEVCAPS::dwTerminalTextOffset, 0},
    {&LINEDEVCAPS::dwDevSpecificSize, 0},
    {&LINEDEVCAPS::dwDevSpecificOffset, 0},
    {&LINEDEVCAPS::dwLineFeatures, LINEFEATURE_MAKECALL},
    {&LINEDEVCAPS::dwSettableDevStatus, 0},
    {&LINEDEVCAPS::dwDeviceClassesSize, 0},
    {&LINEDEVCAPS::dwDeviceClassesOffset, 0},
};

// LINECALLPARTYID_NAME is absent although call information reports names. That is kept as it is.
constexpr DWORD kPartyIdFlags = LINECALLPARTYID_ADDRESS | LINECALLPARTYID_UNKNOWN | LINECALLPARTYID_UNAVAIL;
static_assert(kPartyIdFlags == 0x68);

// Dial tone and dialing are deliberately absent.
constexpr DWORD kCallStates = LINECALLSTATE_IDLE | LINECALLSTATE_OFFERING | LINECALLSTATE_ACCEPTED |
                              LINECALLSTATE_RINGBACK | LINECALLSTATE_BUSY | LINECALLSTATE_CONNECTED |
                              LINECALLSTATE_PROCEEDING | LINECALLSTATE_ONHOLD | LINECALLSTATE_CONFERENCED |
                              LINECALLSTATE_ONHOLDPENDCONF | LINECALLSTATE_ONHOLDPENDTRANSFER |
                              LINECALLSTATE_DISCONNECTED;
static_assert(kCallStates == 0x7F67);

constexpr DWORD kDisconnectModes =
    LINEDISCONNECTMODE_NORMAL | LINEDISCONNECTMODE_REJECT | LINEDISCONNECTMODE_PICKUP |
    LINEDISCONNECTMODE_BUSY | LINEDISCONNECTMODE_NOANSWER | LINEDISCONNECTMODE_BADADDRESS |
    LINEDISCONNECTMODE_UNREACHABLE | LINEDISCONNECTMODE_INCOMPATIBLE | LINEDISCONNECTMODE_UNAVAIL |
    LINEDISCONNECTMODE_TEMPFAILURE | LINEDISCONNECTMODE_BLOCKED | LINEDISCONNECTMODE_DONOTDISTURB;
static_assert(kDisconnectModes == 0x68DED);

constexpr DWORD kAddressCallFeatures =
    LINECALLFEATURE_ANSWER | LINECALLFEATURE_DIAL | LINECALLFEATURE_DROP | LINECALLFEATURE_GENERATEDIGITS |
    LINECALLFEATURE_HOLD | LINECALLFEATURE_SETUPTRANSFER | LINECALLFEATURE_SWAPHOLD | LINECALLFEATURE_UNHOLD;
static_assert(kAddressCallFeatures == 0x0E000AC4);

constexpr fixed_field<LINEADDRESSCAPS> kAddressCaps[] = {
    {&LINEADDRESSCAPS::dwUsedSize, kAddressCapsSize},
    {&LINEADDRESSCAPS::dwAddressSharing, LINEADDRESSSHARING_PRIVATE},
    {&LINEADDRESSCAPS::dwCallInfoStates, LINECALLINFOSTATE_MEDIAMODE},
    {&LINEADDRESSCAPS::dwCallerIDFlags, kPartyIdFlags},
    {&LINEADDRESSCAPS::dwCalledIDFlags, kPartyIdFlags},
    {&LINEADDRESSCAPS::dwRedirectionIDFlags, kPartyIdFlags},
    {&LINEADDRESSCAPS::dwRedirectingIDFlags, kPartyIdFlags},
    {&LINEADDRESSCAPS::dwCallStates, kCallStates},
    {&LINEADDRESSCAPS::dwDialToneModes, LINEDIALTONEMODE_UNAVAIL},
    {&LINEADDRESSCAPS::dwBusyModes, LINEBUSYMODE_UNAVAIL},
    {&LINEADDRESSCAPS::dwSpecialInfo, LINESPECIALINFO_UNAVAIL},
    {&LINEADDRESSCAPS::dwDisconnectModes, kDisconnectModes},
    {&LINEADDRESSCAPS::dwMaxNumActiveCalls, kMaxActiveCalls},
    {&LINEADDRESSCAPS::dwAddrCapFlags, LINEADDRCAPFLAGS_DIALED},
    {&LINEADDRESSCAPS::dwCallFeatures, kAddressCallFeatures},
    {&LINEADDRESSCAPS::dwTransferModes, LINETRANSFERMODE_TRANSFER},
    {&LINEADDRESSCAPS::dwAddressFeatures, LINEADDRFEATURE_MAKECALL},
};

constexpr fixed_field<LINEDEVSTATUS> kLineDevStatus[] = {
    {&LINEDEVSTATUS::dwUsedSize, kLineDevStatusSize},
    {&LINEDEVSTATUS::dwNumOnHoldPendCalls, 0},
    {&LINEDEVSTATUS::dwNumCallCompletions, 0},
    {&LINEDEVSTATUS::dwRingMode, 0},
    // Whatever the state of the line's service.
    {&LINEDEVSTATUS::dwDevStatusFlags, LINEDEVSTATUSFLAGS_CONNECTED | LINEDEVSTATUSFLAGS_INSERVICE},
    {&LINEDEVSTATUS::dwDevSpecificSize, 0},
    {&LINEDEVSTATUS::dwDevSpecificOffset, 0},
    {&LINEDEVSTATUS::dwLineFeatures, LINEFEATURE_MAKECALL},
};

/// The bytes of a text with its terminating null.
DWORD TextBytes(size_t characters) {
    return static_cast<DWORD>((characters + 1) * sizeof(wchar_t));
}

/// Tells the size that is needed and whether the caller's structure has it.
template <class Structure>
bool HasRoom(Structure& structure, DWORD needed) {
    structure.dwNeededSize = needed;
    return structure.dwTotalSize >= needed;
}

/// The numbers of calls at one moment; zeros where there is no line.
template <class Status>
void WriteCallCounts(Status& status, line* of_line) {
    const call_counts counts = of_line != nullptr ? of_line->Calls().CountCalls() : call_counts{};
    status.dwNumActiveCalls = counts.active;
    status.dwNumOnHoldCalls = counts.on_hold;
}

void AppendStrings(LINEDEVCAPS& caps, const std::wstring& line_name) {
    auto* const bytes = reinterpret_cast<BYTE*>(&caps);
    caps.dwUsedSize = caps.dwNeededSize;
    caps.dwProviderInfoSize = sizeof(kProviderInfo);
    caps.dwProviderInfoOffset = kDevCapsSize;
    std::memcpy(bytes + caps.dwProviderInfoOffset, kProviderInfo, sizeof(kProviderInfo));
    caps.dwLineNameSize = TextBytes(line_name.size());
    caps.dwLineNameOffset = caps.dwProviderInfoOffset + caps.dwProviderInfoSize;
    std::memcpy(bytes + caps.dwLineNameOffset, line_name.c_str(), caps.dwLineNameSize);
    ProviderLog(L"Returned line and provider name: %s, %s", line_name.c_str(), &kProviderInfo[0]);
}

bool IsLineDeviceClass(const wchar_t* device_class) {
    return wcsnlen(device_class, kDeviceClassCharacters) < kDeviceClassCharacters &&
           _wcsicmp(device_class, kLineDeviceClass) == 0;
}

}  // namespace

LONG telephony_manager::LineGetDevCaps(DWORD device_id, DWORD version, LINEDEVCAPS* caps) noexcept {
    return Guarded(L"LineGetDevCaps: Caught Exception!", [&]() -> LONG {
        ProviderLog(L"dwDeviceID: 0x%08X", device_id);
        if (!IsSupportedVersion(version)) {
            ProviderLog(L"Incompatible TAPI version: 0x%08X", version);
            return LINEERR_INCOMPATIBLEAPIVERSION;
        }
        const auto lines = Lines();
        const line* const found = lines->FindLineByDeviceId(device_id);
        if (found == nullptr) {
            return LINEERR_OPERATIONFAILED;
        }
        LINEDEVCAPS& filled = Require(caps);
        const DWORD needed = kDevCapsSize + DWORD{sizeof(kProviderInfo)} + TextBytes(found->Name().size());
        const bool has_room = HasRoom(filled, needed);
        if (filled.dwTotalSize < kDevCapsSize) {
            // TAPI always hands over the fixed part. Writing it anyway would write behind the caller's
            // memory.
            return LINEERR_STRUCTURETOOSMALL;
        }
        if (has_room) {
            AppendStrings(filled, found->Name());
        } else {
            filled.dwUsedSize = kDevCapsSize;
            ProviderLog(L"Buffer too small. Used size: 0x%08X, required size: 0x%08X, total size: 0x%08X",
                        filled.dwUsedSize, filled.dwNeededSize, filled.dwTotalSize);
        }
        filled.dwPermanentLineID = static_cast<DWORD>(found->PermanentLineId());
        filled.MinDialParams = kDialParams;
        filled.MaxDialParams = kDialParams;
        filled.DefaultDialParams = kDialParams;
        WriteFixedFields(filled, kDevCaps);
        return 0;
    });
}

LONG telephony_manager::LineGetAddressCaps(DWORD device_id, DWORD address_id, DWORD version,
                                           LINEADDRESSCAPS* caps) noexcept {
    return Guarded(nullptr, [&]() -> LONG {
        if (!IsSupportedVersion(version)) {
            return LINEERR_INCOMPATIBLEAPIVERSION;
        }
        if (address_id != 0) {
            return LINEERR_INVALADDRESSID;
        }
        LINEADDRESSCAPS& filled = Require(caps);
        // Unlike for the device capabilities, too little room is deliberately an error.
        if (!HasRoom(filled, kAddressCapsSize)) {
            return LINEERR_STRUCTURETOOSMALL;
        }
        filled.dwLineDeviceID = device_id;
        WriteFixedFields(filled, kAddressCaps);
        return 0;
    });
}

LONG telephony_manager::LineGetLineDevStatus(HDRVLINE line_handle, LINEDEVSTATUS* status) noexcept {
    return Guarded(L"LineGetLineDevStatus: Caught Exception!", [&]() -> LONG {
        LINEDEVSTATUS& filled = Require(status);
        if (!HasRoom(filled, kLineDevStatusSize)) {
            return LINEERR_STRUCTURETOOSMALL;
        }
        const auto lines = Lines();
        WriteCallCounts(filled, lines->FindLineByDriverLineHandle(LineKey(line_handle)));
        WriteFixedFields(filled, kLineDevStatus);
        return 0;
    });
}

LONG telephony_manager::LineGetAddressStatus(HDRVLINE line_handle, LINEADDRESSSTATUS* status) noexcept {
    return Guarded(L"LineGetAddressStatus: Caught Exception!", [&]() -> LONG {
        LINEADDRESSSTATUS& filled = Require(status);
        if (!HasRoom(filled, kAddressStatusSize)) {
            return LINEERR_STRUCTURETOOSMALL;
        }
        filled.dwUsedSize = kAddressStatusSize;
        const auto lines = Lines();
        WriteCallCounts(filled, lines->FindLineByDriverLineHandle(LineKey(line_handle)));
        // Deliberately the same count again.
        filled.dwNumOnHoldPendCalls = filled.dwNumOnHoldCalls;
        filled.dwAddressFeatures = LINEADDRFEATURE_MAKECALL;
        return 0;
    });
}

LONG telephony_manager::LineGetId(HDRVLINE line_handle, VARSTRING* device_id,
                                  const wchar_t* device_class) noexcept {
    return Guarded(L"LineGetID: Caught Exception!", [&]() -> LONG {
        if (!IsLineDeviceClass(&Require(device_class))) {
            return LINEERR_NODEVICE;
        }
        VARSTRING& filled = Require(device_id);
        if (!HasRoom(filled, kVarStringSize + DWORD{sizeof(DWORD)})) {
            return LINEERR_STRUCTURETOOSMALL;
        }
        const auto lines = Lines();
        const line* const found = lines->FindLineByDriverLineHandle(LineKey(line_handle));
        if (found == nullptr) {
            return LINEERR_OPERATIONFAILED;
        }
        // The string format is deliberately left as handed over.
        const DWORD id = found->DeviceId();
        filled.dwUsedSize = filled.dwNeededSize;
        filled.dwStringSize = sizeof(id);
        filled.dwStringOffset = kVarStringSize;
        std::memcpy(reinterpret_cast<BYTE*>(&filled) + filled.dwStringOffset, &id, sizeof(id));
        return 0;
    });
}

}  // namespace brivelnox
