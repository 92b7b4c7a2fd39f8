#pragma once

#include "api/types.h"

// TAPI's structures in their TAPI 2.2 layout and the constants that the provider and its tests name.

using HLINE = DWORD;
using HCALL = DWORD;
using HPHONE = DWORD;

#pragma pack(push, 1)

struct LINEDIALPARAMS {
    DWORD dwDialPause, dwDialSpeed, dwDigitDuration, dwWaitForDialtone;
};

struct LINEEXTENSIONID {
    DWORD dwExtensionID0, dwExtensionID1, dwExtensionID2, dwExtensionID3;
};

struct VARSTRING {
    DWORD dwTotalSize, dwNeededSize, dwUsedSize;
    DWORD dwStringFormat, dwStringSize, dwStringOffset;
};

struct LINEDEVCAPS {
    DWORD dwTotalSize, dwNeededSize, dwUsedSize;
    DWORD dwProviderInfoSize, dwProviderInfoOffset, dwSwitchInfoSize, dwSwitchInfoOffset;
    DWORD dwPermanentLineID, dwLineNameSize, dwLineNameOffset, dwStringFormat;
    DWORD dwAddressModes, dwNumAddresses, dwBearerModes, dwMaxRate, dwMediaModes;
    DWORD dwGenerateToneModes, dwGenerateToneMaxNumFreq, dwGenerateDigitModes;
    DWORD dwMonitorToneMaxNumFreq, dwMonitorToneMaxNumEntries, dwMonitorDigitModes;
    DWORD dwGatherDigitsMinTimeout, dwGatherDigitsMaxTimeout;
    DWORD dwMedCtlDigitMaxListSize, dwMedCtlMediaMaxListSize;
    DWORD dwMedCtlToneMaxListSize, dwMedCtlCallStateMaxListSize;
    DWORD dwDevCapFlags, dwMaxNumActiveCalls, dwAnswerMode, dwRingModes, dwLineStates;
    DWORD dwUUIAcceptSize, dwUUIAnswerSize, dwUUIMakeCallSize, dwUUIDropSize;
    DWORD dwUUISendUserUserInfoSize, dwUUICallInfoSize;
    LINEDIALPARAMS MinDialParams, MaxDialParams, DefaultDialParams;
    DWORD dwNumTerminals, dwTerminalCapsSize, dwTerminalCapsOffset;
    DWORD dwTerminalTextEntrySize, dwTerminalTextSize, dwTerminalTextOffset;
    DWORD dwDevSpecificSize, dwDevSpecificOffset, dwLineFeatures;
    DWORD dwSettableDevStatus, dwDeviceClassesSize, dwDeviceClassesOffset;
    GUID PermanentLineGuid;
};

struct LINEADDRESSCAPS {
    DWORD dwTotalSize, dwNeededSize, dwUsedSize, dwLineDeviceID;
    DWORD dwAddressSize, dwAddressOffset, dwDevSpecificSize, dwDevSpecificOffset;
    DWORD dwAddressSharing, dwAddressStates, dwCallInfoStates;
    DWORD dwCallerIDFlags, dwCalledIDFlags, dwConnectedIDFlags;
    DWORD dwRedirectionIDFlags, dwRedirectingIDFlags;
    DWORD dwCallStates, dwDialToneModes, dwBusyModes, dwSpecialInfo, dwDisconnectModes;
    DWORD dwMaxNumActiveCalls, dwMaxNumOnHoldCalls, dwMaxNumOnHoldPendingCalls;
    DWORD dwMaxNumConference, dwMaxNumTransConf;
    DWORD dwAddrCapFlags, dwCallFeatures, dwRemoveFromConfCaps, dwRemoveFromConfState;
    DWORD dwTransferModes, dwParkModes, dwForwardModes;
    DWORD dwMaxForwardEntries, dwMaxSpecificEntries, dwMinFwdNumRings, dwMaxFwdNumRings;
    DWORD dwMaxCallCompletions, dwCallCompletionConds, dwCallCompletionModes;
    DWORD dwNumCompletionMessages, dwCompletionMsgTextEntrySize;
    DWORD dwCompletionMsgTextSize, dwCompletionMsgTextOffset;
    DWORD dwAddressFeatures, dwPredictiveAutoTransferStates;
    DWORD dwNumCallTreatments, dwCallTreatmentListSize, dwCallTreatmentListOffset;
    DWORD dwDeviceClassesSize, dwDeviceClassesOffset;
    DWORD dwMaxCallDataSize, dwCallFeatures2, dwMaxNoAnswerTimeout;
    DWORD dwConnectedModes, dwOfferingModes, dwAvailableMediaModes;
};

struct LINEDEVSTATUS {
    DWORD dwTotalSize, dwNeededSize, dwUsedSize, dwNumOpens, dwOpenMediaModes;
    DWORD dwNumActiveCalls, dwNumOnHoldCalls, dwNumOnHoldPendCalls;
    DWORD dwLineFeatures, dwNumCallCompletions, dwRingMode;
    DWORD dwSignalLevel, dwBatteryLevel, dwRoamMode, dwDevStatusFlags;
    DWORD dwTerminalModesSize, dwTerminalModesOffset;
    DWORD dwDevSpecificSize, dwDevSpecificOffset;
    DWORD dwAvailableMediaModes, dwAppInfoSize, dwAppInfoOffset;
};

struct LINEADDRESSSTATUS {
    DWORD dwTotalSize, dwNeededSize, dwUsedSize, dwNumInUse;
    DWORD dwNumActiveCalls, dwNumOnHoldCalls, dwNumOnHoldPendCalls;
    DWORD dwAddressFeatures, dwNumRingsNoAnswer;
    DWORD dwForwardNumEntries, dwForwardSize, dwForwardOffset;
    DWORD dwTerminalModesSize, dwTerminalModesOffset;
    DWORD dwDevSpecificSize, dwDevSpecificOffset;
};

struct LINECALLINFO {
    DWORD dwTotalSize, dwNeededSize, dwUsedSize;
    HLINE hLine;
    DWORD dwLineDeviceID, dwAddressID, dwBearerMode, dwRate, dwMediaMode;
    DWORD dwAppSpecific, dwCallID, dwRelatedCallID, dwCallParamFlags, dwCallStates;
    DWORD dwMonitorDigitModes, dwMonitorMediaModes;
    LINEDIALPARAMS DialParams;
    DWORD dwOrigin, dwReason, dwCompletionID, dwNumOwners, dwNumMonitors, dwCountryCode, dwTrunk;
    DWORD dwCallerIDFlags, dwCallerIDSize, dwCallerIDOffset;
    DWORD dwCallerIDNameSize, dwCallerIDNameOffset;
    DWORD dwCalledIDFlags, dwCalledIDSize, dwCalledIDOffset;
    DWORD dwCalledIDNameSize, dwCalledIDNameOffset;
    DWORD dwConnectedIDFlags, dwConnectedIDSize, dwConnectedIDOffset;
    DWORD dwConnectedIDNameSize, dwConnectedIDNameOffset;
    DWORD dwRedirectionIDFlags, dwRedirectionIDSize, dwRedirectionIDOffset;
    DWORD dwRedirectionIDNameSize, dwRedirectionIDNameOffset;
    DWORD dwRedirectingIDFlags, dwRedirectingIDSize, dwRedirectingIDOffset;
    DWORD dwRedirectingIDNameSize, dwRedirectingIDNameOffset;
    DWORD dwAppNameSize, dwAppNameOffset;
    DWORD dwDisplayableAddressSize, dwDisplayableAddressOffset;
    DWORD dwCalledPartySize, dwCalledPartyOffset;
    DWORD dwCommentSize, dwCommentOffset, dwDisplaySize, dwDisplayOffset;
    DWORD dwUserUserInfoSize, dwUserUserInfoOffset;
    DWORD dwHighLevelCompSize, dwHighLevelCompOffset;
    DWORD dwLowLevelCompSize, dwLowLevelCompOffset;
    DWORD dwChargingInfoSize, dwChargingInfoOffset;
    DWORD dwTerminalModesSize, dwTerminalModesOffset;
    DWORD dwDevSpecificSize, dwDevSpecificOffset;
    DWORD dwCallTreatment, dwCallDataSize, dwCallDataOffset;
    DWORD dwSendingFlowspecSize, dwSendingFlowspecOffset;
    DWORD dwReceivingFlowspecSize, dwReceivingFlowspecOffset;
};

struct LINECALLSTATUS {
    DWORD dwTotalSize, dwNeededSize, dwUsedSize;
    DWORD dwCallState, dwCallStateMode, dwCallPrivilege, dwCallFeatures;
    DWORD dwDevSpecificSize, dwDevSpecificOffset, dwCallFeatures2;
    SYSTEMTIME tStateEntryTime;
};

#pragma pack(pop)

// Only ever passed on.
struct LINECALLPARAMS;

using LPLINEEXTENSIONID = LINEEXTENSIONID*;
using LPVARSTRING = VARSTRING*;
using LPLINEDEVCAPS = LINEDEVCAPS*;
using LPLINEADDRESSCAPS = LINEADDRESSCAPS*;
using LPLINEDEVSTATUS = LINEDEVSTATUS*;
using LPLINEADDRESSSTATUS = LINEADDRESSSTATUS*;
using LPLINECALLINFO = LINECALLINFO*;
using LPLINECALLSTATUS = LINECALLSTATUS*;
using LPLINECALLPARAMS = LINECALLPARAMS*;

// For a version or an extension that is not negotiated yet.
inline constexpr DWORD INITIALIZE_NEGOTIATION = 0xFFFFFFFF;

// Messages of a line.
inline constexpr DWORD LINE_ADDRESSSTATE = 0x0;
inline constexpr DWORD LINE_CALLINFO = 0x1;
inline constexpr DWORD LINE_CALLSTATE = 0x2;
inline constexpr DWORD LINE_CLOSE = 0x3;
inline constexpr DWORD LINE_DEVSPECIFIC = 0x4;
inline constexpr DWORD LINE_DEVSPECIFICFEATURE = 0x5;
inline constexpr DWORD LINE_GATHERDIGITS = 0x6;
inline constexpr DWORD LINE_GENERATE = 0x7;
inline constexpr DWORD LINE_LINEDEVSTATE = 0x8;
inline constexpr DWORD LINE_MONITORDIGITS = 0x9;
inline constexpr DWORD LINE_MONITORMEDIA = 0xA;
inline constexpr DWORD LINE_MONITORTONE = 0xB;
inline constexpr DWORD LINE_REPLY = 0xC;
inline constexpr DWORD LINE_REQUEST = 0xD;
inline constexpr DWORD LINE_CREATE = 0x13;
inline constexpr DWORD LINE_APPNEWCALL = 0x17;
inline constexpr DWORD LINE_REMOVE = 0x19;

// Call states.
inline constexpr DWORD LINECALLSTATE_IDLE = 0x1;
inline constexpr DWORD LINECALLSTATE_OFFERING = 0x2;
inline constexpr DWORD LINECALLSTATE_ACCEPTED = 0x4;
inline constexpr DWORD LINECALLSTATE_DIALTONE = 0x8;
inline constexpr DWORD LINECALLSTATE_DIALING = 0x10;
inline constexpr DWORD LINECALLSTATE_RINGBACK = 0x20;
inline constexpr DWORD LINECALLSTATE_BUSY = 0x40;
inline constexpr DWORD LINECALLSTATE_SPECIALINFO = 0x80;
inline constexpr DWORD LINECALLSTATE_CONNECTED = 0x100;
inline constexpr DWORD LINECALLSTATE_PROCEEDING = 0x200;
inline constexpr DWORD LINECALLSTATE_ONHOLD = 0x400;
inline constexpr DWORD LINECALLSTATE_CONFERENCED = 0x800;
inline constexpr DWORD LINECALLSTATE_ONHOLDPENDCONF = 0x1000;
inline constexpr DWORD LINECALLSTATE_ONHOLDPENDTRANSFER = 0x2000;
inline constexpr DWORD LINECALLSTATE_DISCONNECTED = 0x4000;
inline constexpr DWORD LINECALLSTATE_UNKNOWN = 0x8000;

// Disconnect modes.
inline constexpr DWORD LINEDISCONNECTMODE_NORMAL = 0x1;
inline constexpr DWORD LINEDISCONNECTMODE_UNKNOWN = 0x2;
inline constexpr DWORD LINEDISCONNECTMODE_REJECT = 0x4;
inline constexpr DWORD LINEDISCONNECTMODE_PICKUP = 0x8;
inline constexpr DWORD LINEDISCONNECTMODE_FORWARDED = 0x10;
inline constexpr DWORD LINEDISCONNECTMODE_BUSY = 0x20;
inline constexpr DWORD LINEDISCONNECTMODE_NOANSWER = 0x40;
inline constexpr DWORD LINEDISCONNECTMODE_BADADDRESS = 0x80;
inline constexpr DWORD LINEDISCONNECTMODE_UNREACHABLE = 0x100;
inline constexpr DWORD LINEDISCONNECTMODE_CONGESTION = 0x200;
inline constexpr DWORD LINEDISCONNECTMODE_INCOMPATIBLE = 0x400;
inline constexpr DWORD LINEDISCONNECTMODE_UNAVAIL = 0x800;
inline constexpr DWORD LINEDISCONNECTMODE_NODIALTONE = 0x1000;
inline constexpr DWORD LINEDISCONNECTMODE_NUMBERCHANGED = 0x2000;
inline constexpr DWORD LINEDISCONNECTMODE_OUTOFORDER = 0x4000;
inline constexpr DWORD LINEDISCONNECTMODE_TEMPFAILURE = 0x8000;
inline constexpr DWORD LINEDISCONNECTMODE_QOSUNAVAIL = 0x10000;
inline constexpr DWORD LINEDISCONNECTMODE_BLOCKED = 0x20000;
inline constexpr DWORD LINEDISCONNECTMODE_DONOTDISTURB = 0x40000;
inline constexpr DWORD LINEDISCONNECTMODE_CANCELLED = 0x80000;

// Call information that has changed.
inline constexpr DWORD LINECALLINFOSTATE_OTHER = 0x1;
inline constexpr DWORD LINECALLINFOSTATE_DEVSPECIFIC = 0x2;
inline constexpr DWORD LINECALLINFOSTATE_BEARERMODE = 0x4;
inline constexpr DWORD LINECALLINFOSTATE_RATE = 0x8;
inline constexpr DWORD LINECALLINFOSTATE_MEDIAMODE = 0x10;
inline constexpr DWORD LINECALLINFOSTATE_APPSPECIFIC = 0x20;
inline constexpr DWORD LINECALLINFOSTATE_CALLID = 0x40;
inline constexpr DWORD LINECALLINFOSTATE_RELATEDCALLID = 0x80;
inline constexpr DWORD LINECALLINFOSTATE_ORIGIN = 0x100;
inline constexpr DWORD LINECALLINFOSTATE_REASON = 0x200;
inline constexpr DWORD LINECALLINFOSTATE_COMPLETIONID = 0x400;
inline constexpr DWORD LINECALLINFOSTATE_TRUNK = 0x4000;
inline constexpr DWORD LINECALLINFOSTATE_CALLERID = 0x8000;
inline constexpr DWORD LINECALLINFOSTATE_CALLEDID = 0x10000;
inline constexpr DWORD LINECALLINFOSTATE_CONNECTEDID = 0x20000;
inline constexpr DWORD LINECALLINFOSTATE_REDIRECTIONID = 0x40000;
inline constexpr DWORD LINECALLINFOSTATE_REDIRECTINGID = 0x80000;

// Parties.
inline constexpr DWORD LINECALLPARTYID_NAME = 0x4;
inline constexpr DWORD LINECALLPARTYID_ADDRESS = 0x8;
inline constexpr DWORD LINECALLPARTYID_UNKNOWN = 0x20;
inline constexpr DWORD LINECALLPARTYID_UNAVAIL = 0x40;

// Origins and reasons of calls.
inline constexpr DWORD LINECALLORIGIN_OUTBOUND = 0x1;
inline constexpr DWORD LINECALLORIGIN_INTERNAL = 0x2;
inline constexpr DWORD LINECALLORIGIN_EXTERNAL = 0x4;
inline constexpr DWORD LINECALLORIGIN_UNKNOWN = 0x10;
inline constexpr DWORD LINECALLORIGIN_UNAVAIL = 0x20;
inline constexpr DWORD LINECALLORIGIN_CONFERENCE = 0x40;
inline constexpr DWORD LINECALLORIGIN_INBOUND = 0x80;
inline constexpr DWORD LINECALLREASON_DIRECT = 0x1;
inline constexpr DWORD LINECALLREASON_FWDBUSY = 0x2;
inline constexpr DWORD LINECALLREASON_FWDNOANSWER = 0x4;
inline constexpr DWORD LINECALLREASON_FWDUNCOND = 0x8;
inline constexpr DWORD LINECALLREASON_PICKUP = 0x10;
inline constexpr DWORD LINECALLREASON_UNPARK = 0x20;
inline constexpr DWORD LINECALLREASON_REDIRECT = 0x40;
inline constexpr DWORD LINECALLREASON_CALLCOMPLETION = 0x80;
inline constexpr DWORD LINECALLREASON_TRANSFER = 0x100;
inline constexpr DWORD LINECALLREASON_REMINDER = 0x200;
inline constexpr DWORD LINECALLREASON_UNKNOWN = 0x400;
inline constexpr DWORD LINECALLREASON_UNAVAIL = 0x800;

// What can be done with a call.
inline constexpr DWORD LINECALLFEATURE_ANSWER = 0x4;
inline constexpr DWORD LINECALLFEATURE_BLINDTRANSFER = 0x8;
inline constexpr DWORD LINECALLFEATURE_COMPLETETRANSF = 0x20;
inline constexpr DWORD LINECALLFEATURE_DIAL = 0x40;
inline constexpr DWORD LINECALLFEATURE_DROP = 0x80;
inline constexpr DWORD LINECALLFEATURE_GENERATEDIGITS = 0x200;
inline constexpr DWORD LINECALLFEATURE_HOLD = 0x800;
inline constexpr DWORD LINECALLFEATURE_REDIRECT = 0x20000;
inline constexpr DWORD LINECALLFEATURE_SETUPTRANSFER = 0x2000000;
inline constexpr DWORD LINECALLFEATURE_SWAPHOLD = 0x4000000;
inline constexpr DWORD LINECALLFEATURE_UNHOLD = 0x8000000;

// Lines and addresses.
inline constexpr DWORD LINEADDRCAPFLAGS_DIALED = 0x20;
inline constexpr DWORD LINEADDRESSMODE_ADDRESSID = 0x1;
inline constexpr DWORD LINEADDRESSSHARING_PRIVATE = 0x1;
inline constexpr DWORD LINEADDRFEATURE_MAKECALL = 0x2;
inline constexpr DWORD LINEANSWERMODE_HOLD = 0x4;
inline constexpr DWORD LINEBEARERMODE_VOICE = 0x1;
inline constexpr DWORD LINEBEARERMODE_SPEECH = 0x2;
inline constexpr DWORD LINEBUSYMODE_UNAVAIL = 0x8;
inline constexpr DWORD LINECALLSELECT_LINE = 0x1;
inline constexpr DWORD LINECALLSELECT_ADDRESS = 0x2;
inline constexpr DWORD LINECALLSELECT_CALL = 0x4;
inline constexpr DWORD LINEDEVSTATE_CAPSCHANGE = 0x100000;
inline constexpr DWORD LINEDEVSTATUSFLAGS_CONNECTED = 0x1;
inline constexpr DWORD LINEDEVSTATUSFLAGS_INSERVICE = 0x4;
inline constexpr DWORD LINEDIALTONEMODE_UNAVAIL = 0x20;
inline constexpr DWORD LINEDIGITMODE_PULSE = 0x1;
inline constexpr DWORD LINEDIGITMODE_DTMF = 0x2;
inline constexpr DWORD LINEFEATURE_MAKECALL = 0x8;
inline constexpr DWORD LINEMEDIAMODE_INTERACTIVEVOICE = 0x4;
inline constexpr DWORD LINESPECIALINFO_UNAVAIL = 0x10;
inline constexpr DWORD LINETRANSFERMODE_TRANSFER = 0x1;
inline constexpr DWORD LINETRANSFERMODE_CONFERENCE = 0x2;
inline constexpr DWORD STRINGFORMAT_UNICODE = 0x3;

// Errors.
inline constexpr DWORD LINEERR_ALLOCATED = 0x80000001;
inline constexpr DWORD LINEERR_BADDEVICEID = 0x80000002;
inline constexpr DWORD LINEERR_BEARERMODEUNAVAIL = 0x80000003;
inline constexpr DWORD LINEERR_CALLUNAVAIL = 0x80000005;
inline constexpr DWORD LINEERR_DIALBILLING = 0x80000008;
inline constexpr DWORD LINEERR_DIALDIALTONE = 0x80000009;
inline constexpr DWORD LINEERR_DIALPROMPT = 0x8000000A;
inline constexpr DWORD LINEERR_DIALQUIET = 0x8000000B;
inline constexpr DWORD LINEERR_INCOMPATIBLEAPIVERSION = 0x8000000C;
inline constexpr DWORD LINEERR_INCOMPATIBLEEXTVERSION = 0x8000000D;
inline constexpr DWORD LINEERR_INUSE = 0x8000000F;
inline constexpr DWORD LINEERR_INVALADDRESS = 0x80000010;
inline constexpr DWORD LINEERR_INVALADDRESSID = 0x80000011;
inline constexpr DWORD LINEERR_INVALCALLHANDLE = 0x80000018;
inline constexpr DWORD LINEERR_INVALCALLSTATE = 0x8000001C;
inline constexpr DWORD LINEERR_INVALDIGITS = 0x80000028;
inline constexpr DWORD LINEERR_INVALLINEHANDLE = 0x8000002B;
inline constexpr DWORD LINEERR_INVALPARAM = 0x80000032;
inline constexpr DWORD LINEERR_INVALPOINTER = 0x80000035;
inline constexpr DWORD LINEERR_NODEVICE = 0x80000042;
inline constexpr DWORD LINEERR_NODRIVER = 0x80000043;
inline constexpr DWORD LINEERR_NOMEM = 0x80000044;
inline constexpr DWORD LINEERR_OPERATIONFAILED = 0x80000048;
inline constexpr DWORD LINEERR_OPERATIONUNAVAIL = 0x80000049;
inline constexpr DWORD LINEERR_RATEUNAVAIL = 0x8000004A;
inline constexpr DWORD LINEERR_RESOURCEUNAVAIL = 0x8000004B;
inline constexpr DWORD LINEERR_STRUCTURETOOSMALL = 0x8000004D;
inline constexpr DWORD LINEERR_UNINITIALIZED = 0x80000050;
inline constexpr DWORD PHONEERR_INCOMPATIBLEAPIVERSION = 0x90000003;
