// Which parties of a call TAPI is told, by the state and the origin of the call.

#include <memory>

#include "calls/call_manager.h"
#include "calls/tapi_call.h"
#include "tests/provider/manager_fixture_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

constexpr DWORD kAddressAndName = LINECALLPARTYID_ADDRESS | LINECALLPARTYID_NAME;
constexpr DWORD kFixedSize = 324;

constexpr DWORD kOnHold = 0x400;
constexpr DWORD kStates[] = {0x1,   0x2,   0x4,   0x8,   0x10,   0x20,   0x40,   0x80,
                             0x100, 0x200, 0x400, 0x800, 0x1000, 0x2000, 0x4000, 0x8000};

class call_parties : public manager_fixture {
  protected:
    void SetUp() override { manager_ = MakeManager(); }

    /// What the softphone says of the parties.
    static client_call_state Parties() {
        client_call_state state;
        state.clientCallId = L"id-1";
        state.selfPhoneNumber = L"1001";
        state.selfName = L"Desk 7";
        state.peerPhoneNumber = L"4711";
        state.peerName = L"Anna";
        return state;
    }

    /// A new call with these parties, created by the softphone.
    std::shared_ptr<tapi_call> CallOfOrigin(DWORD origin) {
        line* const owning_line = Found(lines_->FindLineByDriverLineHandle(1));
        const lock_guard events(lines_->EventLock());
        auto call = Found(lines_->Calls().GetNewTapiCallHandle(*owning_line, Parties(), origin));
        call->Update(Parties());
        return call;
    }

    /// LINECALLINFO without its strings.
    LINECALLINFO InfoOf(const tapi_call& call) {
        LINECALLINFO info = {};
        info.dwTotalSize = kFixedSize;
        EXPECT_EQ(manager_->LineGetCallInfo(AsHandle<HDRVCALL>(call.DriverCallHandle()), &info), 0);
        return info;
    }

    std::shared_ptr<telephony_manager> manager_;
};

TEST_F(call_parties, hide_the_connected_one_on_hold_and_in_no_other_state) {
    for (const DWORD state : kStates) {
        const auto call = CallOfOrigin(LINECALLORIGIN_INBOUND);
        call->SetState(state, 0, false);
        // The next event stores the connected party again, whatever the state.
        call->Update(Parties());
        ASSERT_EQ(call->Details().connected_number, L"4711");
        const LINECALLINFO info = InfoOf(*call);
        EXPECT_EQ(info.dwConnectedIDFlags,
                  state == kOnHold ? DWORD{LINECALLPARTYID_UNKNOWN} : kAddressAndName)
            << std::hex << state;
        const DWORD four_texts = (10 + 10) + (10 + 14);
        EXPECT_EQ(info.dwNeededSize, kFixedSize + four_texts + (state == kOnHold ? 0 : 20))
            << std::hex << state;
    }
}

TEST_F(call_parties, of_any_origin_but_outbound_are_those_of_an_inbound_call) {
    for (const DWORD origin : {DWORD{0}, DWORD{LINECALLORIGIN_INTERNAL}, DWORD{LINECALLORIGIN_EXTERNAL},
                               DWORD{LINECALLORIGIN_UNKNOWN}, DWORD{LINECALLORIGIN_UNAVAIL},
                               DWORD{LINECALLORIGIN_CONFERENCE}, DWORD{LINECALLORIGIN_INBOUND}}) {
        const auto call = CallOfOrigin(origin);
        log_.Skip();
        EXPECT_EQ(InfoOf(*call).dwOrigin, DWORD{LINECALLORIGIN_INBOUND}) << std::hex << origin;
        union {
            LINECALLINFO header;
            BYTE bytes[1024];
        } room = {};
        room.header.dwTotalSize = sizeof room;
        EXPECT_EQ(manager_->LineGetCallInfo(AsHandle<HDRVCALL>(call->DriverCallHandle()), &room.header), 0);
        EXPECT_EQ(
            Last(ManagerLog()),
            "GetCallInfo: LINECALLORIGIN_INBOUND. Caller: 4711 / Anna. Called: 1001 / Desk 7. Connected: "
            "4711 / Anna. Forwarder:  / ")
            << std::hex << origin;
    }
    EXPECT_EQ(InfoOf(*CallOfOrigin(LINECALLORIGIN_OUTBOUND)).dwOrigin, DWORD{LINECALLORIGIN_OUTBOUND});
}

}  // namespace
}  // namespace brivelnox::test
