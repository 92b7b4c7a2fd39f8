#pragma once

// Feeding the contract checker: one open line, and short words for what a provider sends.

#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/telephony_host/contract_checker.h"

namespace brivelnox::host {

template <class Handle>
Handle HandleOf(std::uintptr_t number) {
    return reinterpret_cast<Handle>(number);
}

inline constexpr DWORD kDevice = 5;
inline constexpr DWORD kThread = 100;

class ContractChecker : public testing::Test {
  protected:
    void SetUp() override {
        checker_.Starting(kProvider);
        Open(kLine, kDevice);
    }
    void Open(HTAPILINE line, DWORD device) {
        checker_.LineOpening(line, device);
        checker_.LineOpened(line, true);
    }
    void Close(HTAPILINE line) {
        checker_.LineClosing(line);
        checker_.LineClosed(line);
    }
    void Announce(HTAPICALL call) { checker_.CallAnnounced(call, kLine, true); }

    static tapi_event Message(DWORD message, HTAPILINE line, HTAPICALL call, DWORD_PTR param1,
                              DWORD_PTR param2, DWORD_PTR param3) {
        tapi_event event;
        event.message = message;
        event.thread_id = kThread;
        event.line = line;
        event.call = call;
        event.param1 = param1;
        event.param2 = param2;
        event.param3 = param3;
        return event;
    }
    static tapi_event StateEvent(HTAPICALL call, DWORD state, DWORD mode = 0) {
        return Message(static_cast<DWORD>(LINE_CALLSTATE), kLine, call, state, mode,
                       LINEMEDIAMODE_INTERACTIVEVOICE);
    }
    static tapi_event CompletionEvent(DRV_REQUESTID id) {
        tapi_event event;
        event.kind = event_kind::kCompletion;
        event.thread_id = kThread;
        event.request_id = id;
        return event;
    }
    void Take(const tapi_event& event) {
        checker_.Enter(event);
        checker_.Leave(event.thread_id);
    }
    void State(HTAPICALL call, DWORD state, DWORD mode = 0) { Take(StateEvent(call, state, mode)); }
    void Information(HTAPICALL call, DWORD bits = LINECALLINFOSTATE_CALLERID) {
        Take(Message(static_cast<DWORD>(LINE_CALLINFO), kLine, call, bits, 0, 0));
    }
    void EndCall(HTAPICALL call) {
        State(call, LINECALLSTATE_DISCONNECTED, LINEDISCONNECTMODE_NORMAL);
        State(call, LINECALLSTATE_IDLE);
    }

    static inline const HPROVIDER kProvider = HandleOf<HPROVIDER>(0xA0);
    static inline const HTAPILINE kLine = HandleOf<HTAPILINE>(0x11);
    static inline const HTAPILINE kOtherLine = HandleOf<HTAPILINE>(0x12);
    static inline const HTAPICALL kCall = HandleOf<HTAPICALL>(0x21);
    static inline const HTAPICALL kOtherCall = HandleOf<HTAPICALL>(0x22);
    contract_checker checker_;
};

#define EXPECT_KEPT() EXPECT_THAT(checker_.Breaches(), testing::IsEmpty())
#define EXPECT_BREACH(text) EXPECT_THAT(checker_.Breaches(), testing::ElementsAre(testing::HasSubstr(text)))

}  // namespace brivelnox::host
