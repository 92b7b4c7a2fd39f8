#pragma once

// Feeding the contract checker: one open line, and short words for what a provider sends.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/as_handle.h"
#include "tools/telephony_host/contract_checker.h"

namespace brivelnox::test {

inline constexpr DWORD kDevice = 5;
inline constexpr DWORD kThread = 100;

class contract_check : public testing::Test {
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

    static host::tapi_event Message(DWORD message, HTAPILINE line, HTAPICALL call, DWORD_PTR param1,
                                    DWORD_PTR param2, DWORD_PTR param3) {
        host::tapi_event event;
        event.message = message;
        event.thread_id = kThread;
        event.line = line;
        event.call = call;
        event.param1 = param1;
        event.param2 = param2;
        event.param3 = param3;
        return event;
    }
    static host::tapi_event StateEvent(HTAPICALL call, DWORD state, DWORD mode = 0) {
        return Message(static_cast<DWORD>(LINE_CALLSTATE), kLine, call, state, mode,
                       LINEMEDIAMODE_INTERACTIVEVOICE);
    }
    static host::tapi_event CompletionEvent(DRV_REQUESTID id) {
        host::tapi_event event;
        event.kind = host::event_kind::kCompletion;
        event.thread_id = kThread;
        event.request_id = id;
        return event;
    }
    void Take(const host::tapi_event& event) {
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

    static inline const HPROVIDER kProvider = AsHandle<HPROVIDER>(0xA0);
    static inline const HTAPILINE kLine = AsHandle<HTAPILINE>(0x11);
    static inline const HTAPILINE kOtherLine = AsHandle<HTAPILINE>(0x12);
    static inline const HTAPICALL kCall = AsHandle<HTAPICALL>(0x21);
    static inline const HTAPICALL kOtherCall = AsHandle<HTAPICALL>(0x22);
    host::contract_checker checker_;
};

#define EXPECT_KEPT() EXPECT_THAT(checker_.Breaches(), testing::IsEmpty())
#define EXPECT_BREACH(text) EXPECT_THAT(checker_.Breaches(), testing::ElementsAre(testing::HasSubstr(text)))

}  // namespace brivelnox::test
