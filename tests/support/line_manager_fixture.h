#pragma once

// A line manager between a recorded TAPI and a service on the loopback address.

#include <windows.h>
#include <tspi.h>

#include <cstdint>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "calls/call_manager.h"
#include "lines/line.h"
#include "lines/line_manager.h"
#include "tests/support/as_handle.h"
#include "tests/support/log_reader.h"
#include "tests/support/looked_up.h"
#include "tests/support/loopback_service.h"
#include "tests/support/manual_clock.h"
#include "tests/support/process_log.h"
#include "tests/support/tapi_recorder.h"
#include "tests/support/worker.h"

namespace brivelnox::test {

inline constexpr std::uintptr_t kProvider = 0xAB;

/// Fixture: a service that is up, and the means to start a manager on it.
class line_manager_fixture : public testing::Test {
  protected:
    line_manager_fixture() { log_.Skip(); }
    ~line_manager_fixture() override {
        // Before the reaction's own variables go: a message may be on its way.
        tapi_.SetReaction({});
        // The reader holds the manager while it handles a message; stopping waits for it.
        if (manager_ != nullptr) {
            manager_->Stop();
        }
    }

    /// The lines "Desk 1" to "Desk 3" with the permanent ids 101 to 103.
    static std::string ThreeRegistrations() {
        return RegistrationElement(101, "Desk 1") + RegistrationElement(102, "Desk 2") +
               RegistrationElement(103, "Desk 3");
    }

    /// Starts the manager, with TAPI's base or without, and with a recorded procedure for new lines.
    void Start(std::uint32_t device_id_base = kUnknownDeviceId, const rs_tsp_client_timing& timing = {}) {
        Start(tapi_.Procedure(), device_id_base, timing);
    }
    void Start(LINEEVENT line_create_procedure, std::uint32_t device_id_base,
               const rs_tsp_client_timing& timing = {}) {
        manager_ = line_manager::Create(calls_, line_create_procedure, AsHandle<HPROVIDER>(kProvider),
                                        device_id_base, timing);
    }
    /// Starts it with the three lines under the device identifiers 5 to 7, and forgets what that has logged.
    void StartWithThreeLines() {
        service_.SetLists({ThreeRegistrations()});
        Start(5);
        ASSERT_EQ(manager_->GetLineCount(), 3U);
        log_.Skip();
    }
    /// Opens a line by its device identifier. Returns its driver line handle.
    std::uintptr_t OpenLine(std::uint32_t device_id, std::uintptr_t tapi_line) {
        HDRVLINE driver_line_handle = nullptr;
        manager_->OpenLine(device_id, AsHandle<HTAPILINE>(tapi_line), driver_line_handle, tapi_.Procedure());
        return reinterpret_cast<std::uintptr_t>(driver_line_handle);
    }
    /// Sends messages and waits until they, and all before them, have been handled.
    void SendAndWait(const std::string& messages) {
        // What the reader says about a registration that is none of any line's business comes last.
        const std::string mark = "mark " + std::to_string(++marks_);
        service_.Send(messages + RegistrationChanged("none of the three", RegistrationElement(0, mark, 1)));
        ASSERT_TRUE(log_.WaitFor("RsTspClient",
                                 "Parsed client registration. TAPI line name: " + mark +
                                     ", permanentLineId: 0x00000000, tcpPort: 1, client connected: 1, sip "
                                     "connected: 1",
                                 kSoon));
    }
    /// The line of the softphone with this id, which has one.
    line* LineOf(std::int32_t permanent_line_id, int asked_at = __builtin_LINE()) const {
        return Found(manager_->FindLineByPermanentLineId(permanent_line_id), asked_at);
    }

    log_reader log_ = StartProcessLog();
    tapi_recorder tapi_;
    loopback_service service_;
    std::shared_ptr<call_manager> calls_ = std::make_shared<call_manager>();
    std::shared_ptr<line_manager> manager_;
    int marks_ = 0;
};

}  // namespace brivelnox::test
