#pragma once

// A line between a recorded TAPI and a recorded service.

#include <windows.h>
#include <tspi.h>

#include <cstdint>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "calls/call_manager.h"
#include "calls/tapi_call.h"
#include "lines/line.h"
#include "platform/ansi_text.h"
#include "platform/event_lock.h"
#include "tests/support/as_handle.h"
#include "tests/support/log_reader.h"
#include "tests/support/looked_up.h"
#include "tests/support/manual_clock.h"
#include "tests/support/process_log.h"
#include "tests/support/recording_call_requests.h"
#include "tests/support/tapi_recorder.h"

namespace brivelnox::test {

inline constexpr std::int32_t kPermanentLineId = 7;
inline constexpr std::uintptr_t kTapiLine = 0xA1;

/// A registered client whose two connections are up.
inline client_registration Registration(std::int32_t permanent_line_id, const std::wstring& name,
                                        std::uint32_t port = 5060) {
    return {permanent_line_id, port, true, true, name};
}

/// A call event without parties.
inline client_call_state StateOf(const std::wstring& id, const std::wstring& state, bool is_caller = false,
                                 std::int32_t reason = 0) {
    client_call_state event;
    event.clientCallId = id;
    event.callState = state;
    event.isCaller = is_caller;
    event.callReason = reason;
    return event;
}

/// Fixture: the line "Desk 7" with permanent line id 7, driver line handle 3 and device identifier 5. It is
/// closed to begin with; Open gives it TAPI's line handle 0xA1. The log is read from the start of each test.
class line_fixture : public testing::Test {
  protected:
    line_fixture() {
        manual_clock::Set(0);
        log_.Skip();
    }

    void Open() { line_.Open(AsHandle<HTAPILINE>(kTapiLine), tapi_.Procedure()); }

    /// Another line beside the first.
    std::unique_ptr<line> MakeLine(std::uint32_t driver_line_handle, const client_registration& registration,
                                   std::uint32_t device_id) {
        return std::make_unique<line>(driver_line_handle, registration, events_, calls_, requests_,
                                      device_id);
    }

    /// A call on the line in the given TAPI state, with TAPI's handle `handle`. What that tells and logs is
    /// forgotten.
    std::shared_ptr<tapi_call> CallInState(std::uint32_t state, const std::wstring& id = L"call-1",
                                           std::uintptr_t handle = 0xC1) {
        auto call = Found(calls_.CreateOutboundCall(line_, id, AsHandle<HTAPICALL>(handle)));
        if (state != LINECALLSTATE_UNKNOWN) {
            call->SetState(state, 0, false);
        }
        Forget();
        return call;
    }

    /// A call that TAPI has placed by the line's MakeCall, in PROCEEDING. Likewise.
    std::shared_ptr<tapi_call> PlacedCall(std::uintptr_t handle = 0xC1) {
        std::uint64_t driver_call_handle = 0;
        line_.Calls().MakeCall(AsHandle<HTAPICALL>(handle), 0, L"4711", driver_call_handle);
        Forget();
        return Found(calls_.FindCall(driver_call_handle));
    }

    /// Forgets everything that has been told, sent and logged so far.
    void Forget() {
        tapi_.Clear();
        requests_.Clear();
        log_.Skip();
    }

    log_reader log_ = StartProcessLog();
    tapi_recorder tapi_;
    recording_call_requests requests_;
    event_lock events_;
    call_manager calls_{&manual_clock::Now};
    line line_{3, Registration(kPermanentLineId, L"Desk 7"), events_, calls_, requests_, 5};
};

}  // namespace brivelnox::test
