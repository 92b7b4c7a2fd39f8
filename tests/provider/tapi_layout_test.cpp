// Where LINEDEVCAPS and LINECALLINFO have the fields that the provider fills, and where their fixed parts
// end. Checked when this is compiled, for Windows and natively alike: the provider writes by the names of the
// fields, TAPI reads by their places.

#include "provider/tapi_layout.h"

#include <cstddef>

namespace brivelnox::test {
namespace {

static_assert(offsetof(LINEDEVCAPS, dwTotalSize) == 0);
static_assert(offsetof(LINEDEVCAPS, dwNeededSize) == 4);
static_assert(offsetof(LINEDEVCAPS, dwUsedSize) == 8);
static_assert(offsetof(LINEDEVCAPS, dwProviderInfoSize) == 12);
static_assert(offsetof(LINEDEVCAPS, dwProviderInfoOffset) == 16);
static_assert(offsetof(LINEDEVCAPS, dwSwitchInfoSize) == 20);
static_assert(offsetof(LINEDEVCAPS, dwSwitchInfoOffset) == 24);
static_assert(offsetof(LINEDEVCAPS, dwPermanentLineID) == 28);
static_assert(offsetof(LINEDEVCAPS, dwLineNameSize) == 32);
static_assert(offsetof(LINEDEVCAPS, dwLineNameOffset) == 36);
static_assert(offsetof(LINEDEVCAPS, dwStringFormat) == 40);
static_assert(offsetof(LINEDEVCAPS, dwAddressModes) == 44);
static_assert(offsetof(LINEDEVCAPS, dwNumAddresses) == 48);
static_assert(offsetof(LINEDEVCAPS, dwBearerModes) == 52);
static_assert(offsetof(LINEDEVCAPS, dwMediaModes) == 60);
static_assert(offsetof(LINEDEVCAPS, dwGenerateDigitModes) == 72);
static_assert(offsetof(LINEDEVCAPS, dwMonitorToneMaxNumEntries) == 80);
static_assert(offsetof(LINEDEVCAPS, dwMedCtlDigitMaxListSize) == 96);
static_assert(offsetof(LINEDEVCAPS, dwMedCtlMediaMaxListSize) == 100);
static_assert(offsetof(LINEDEVCAPS, dwMedCtlToneMaxListSize) == 104);
static_assert(offsetof(LINEDEVCAPS, dwMedCtlCallStateMaxListSize) == 108);
static_assert(offsetof(LINEDEVCAPS, dwDevCapFlags) == 112);
static_assert(offsetof(LINEDEVCAPS, dwMaxNumActiveCalls) == 116);
static_assert(offsetof(LINEDEVCAPS, dwAnswerMode) == 120);
static_assert(offsetof(LINEDEVCAPS, dwRingModes) == 124);
static_assert(offsetof(LINEDEVCAPS, dwUUIAcceptSize) == 132);
static_assert(offsetof(LINEDEVCAPS, dwUUIAnswerSize) == 136);
static_assert(offsetof(LINEDEVCAPS, dwUUIMakeCallSize) == 140);
static_assert(offsetof(LINEDEVCAPS, dwUUIDropSize) == 144);
static_assert(offsetof(LINEDEVCAPS, dwUUISendUserUserInfoSize) == 148);
static_assert(offsetof(LINEDEVCAPS, dwUUICallInfoSize) == 152);
static_assert(offsetof(LINEDEVCAPS, MinDialParams) == 156);
static_assert(offsetof(LINEDEVCAPS, MaxDialParams) == 172);
static_assert(offsetof(LINEDEVCAPS, DefaultDialParams) == 188);
static_assert(offsetof(LINEDEVCAPS, dwNumTerminals) == 204);
static_assert(offsetof(LINEDEVCAPS, dwTerminalCapsSize) == 208);
static_assert(offsetof(LINEDEVCAPS, dwTerminalCapsOffset) == 212);
static_assert(offsetof(LINEDEVCAPS, dwTerminalTextEntrySize) == 216);
static_assert(offsetof(LINEDEVCAPS, dwTerminalTextSize) == 220);
static_assert(offsetof(LINEDEVCAPS, dwTerminalTextOffset) == 224);
static_assert(offsetof(LINEDEVCAPS, dwDevSpecificSize) == 228);
static_assert(offsetof(LINEDEVCAPS, dwDevSpecificOffset) == 232);
static_assert(offsetof(LINEDEVCAPS, dwLineFeatures) == 236);
static_assert(offsetof(LINEDEVCAPS, dwSettableDevStatus) == 240);
static_assert(offsetof(LINEDEVCAPS, dwDeviceClassesSize) == 244);
static_assert(offsetof(LINEDEVCAPS, dwDeviceClassesOffset) == 248);
static_assert(offsetof(LINEDEVCAPS, PermanentLineGuid) == 252);
static_assert(sizeof(LINEDIALPARAMS) == 16);
static_assert(kDevCapsSize == 268);

static_assert(offsetof(LINECALLINFO, dwTotalSize) == 0);
static_assert(offsetof(LINECALLINFO, dwNeededSize) == 4);
static_assert(offsetof(LINECALLINFO, dwUsedSize) == 8);
static_assert(offsetof(LINECALLINFO, dwLineDeviceID) == 16);
static_assert(offsetof(LINECALLINFO, dwAddressID) == 20);
static_assert(offsetof(LINECALLINFO, dwBearerMode) == 24);
static_assert(offsetof(LINECALLINFO, dwMediaMode) == 32);
static_assert(offsetof(LINECALLINFO, dwCallID) == 40);
static_assert(offsetof(LINECALLINFO, dwOrigin) == 80);
static_assert(offsetof(LINECALLINFO, dwReason) == 84);
static_assert(offsetof(LINECALLINFO, dwCompletionID) == 88);
static_assert(offsetof(LINECALLINFO, dwCountryCode) == 100);
static_assert(offsetof(LINECALLINFO, dwTrunk) == 104);
static_assert(kCallInfoSize == 324);

// The five fields of each party.
static_assert(offsetof(LINECALLINFO, dwCallerIDFlags) == 108);
static_assert(offsetof(LINECALLINFO, dwCallerIDSize) == 112);
static_assert(offsetof(LINECALLINFO, dwCallerIDOffset) == 116);
static_assert(offsetof(LINECALLINFO, dwCallerIDNameSize) == 120);
static_assert(offsetof(LINECALLINFO, dwCallerIDNameOffset) == 124);
static_assert(offsetof(LINECALLINFO, dwCalledIDFlags) == 128);
static_assert(offsetof(LINECALLINFO, dwCalledIDSize) == 132);
static_assert(offsetof(LINECALLINFO, dwCalledIDOffset) == 136);
static_assert(offsetof(LINECALLINFO, dwCalledIDNameSize) == 140);
static_assert(offsetof(LINECALLINFO, dwCalledIDNameOffset) == 144);
static_assert(offsetof(LINECALLINFO, dwConnectedIDFlags) == 148);
static_assert(offsetof(LINECALLINFO, dwConnectedIDSize) == 152);
static_assert(offsetof(LINECALLINFO, dwConnectedIDOffset) == 156);
static_assert(offsetof(LINECALLINFO, dwConnectedIDNameSize) == 160);
static_assert(offsetof(LINECALLINFO, dwConnectedIDNameOffset) == 164);
static_assert(offsetof(LINECALLINFO, dwRedirectionIDFlags) == 168);
static_assert(offsetof(LINECALLINFO, dwRedirectionIDSize) == 172);
static_assert(offsetof(LINECALLINFO, dwRedirectionIDOffset) == 176);
static_assert(offsetof(LINECALLINFO, dwRedirectionIDNameSize) == 180);
static_assert(offsetof(LINECALLINFO, dwRedirectionIDNameOffset) == 184);
static_assert(offsetof(LINECALLINFO, dwRedirectingIDFlags) == 188);
static_assert(offsetof(LINECALLINFO, dwRedirectingIDSize) == 192);
static_assert(offsetof(LINECALLINFO, dwRedirectingIDOffset) == 196);
static_assert(offsetof(LINECALLINFO, dwRedirectingIDNameSize) == 200);
static_assert(offsetof(LINECALLINFO, dwRedirectingIDNameOffset) == 204);

}  // namespace
}  // namespace brivelnox::test
