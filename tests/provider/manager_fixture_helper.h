#pragma once

// A telephony manager between a recorded TAPI and a service on the loopback address, with what a test needs
// to take its line manager away.

#include <windows.h>
#include <tspi.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lines/line_manager.h"
#include "provider/telephony_manager.h"
#include "tests/support/as_handle.h"
#include "tests/support/log_reader.h"
#include "tests/support/looked_up.h"
#include "tests/support/loopback_service.h"
#include "tests/support/process_log.h"
#include "tests/support/tapi_recorder.h"

namespace brivelnox::test {

// TAPI's errors as its functions return them.
inline constexpr LONG kOperationFailed = static_cast<LONG>(0x80000048);
inline constexpr LONG kOperationUnavailable = static_cast<LONG>(0x80000049);
inline constexpr LONG kInvalidAddress = static_cast<LONG>(LINEERR_INVALADDRESS);
inline constexpr LONG kInvalidPointer = static_cast<LONG>(LINEERR_INVALPOINTER);
inline constexpr LONG kIncompatibleVersion = static_cast<LONG>(LINEERR_INCOMPATIBLEAPIVERSION);

inline constexpr DWORD kTspiVersion = 0x00020002;
inline constexpr char kManagerCategory[] = "TelephonyManager";

/// One call of the completion procedure.
using completion = std::pair<DRV_REQUESTID, LONG>;

/// Stands in for TAPI's completion procedure. Procedures are plain functions, so there is one at a time.
class completion_recorder {
  public:
    completion_recorder();
    ~completion_recorder();
    completion_recorder(const completion_recorder&) = delete;
    completion_recorder& operator=(const completion_recorder&) = delete;

    [[nodiscard]] ASYNC_COMPLETION Procedure() const;
    /// What happens inside the procedure, after the call has been recorded. It may throw.
    void SetReaction(std::function<void()> reaction);
    [[nodiscard]] std::vector<completion> Completions() const;

  private:
    static void CALLBACK OnCompletion(DRV_REQUESTID request_id, LONG result);

    mutable std::mutex mutex_;
    std::vector<completion> completions_;
    std::function<void()> reaction_;
};

/// A factory whose line manager cannot be made.
std::shared_ptr<line_manager> FailToMakeLines(std::shared_ptr<call_manager> calls,
                                              std::uint32_t device_id_base);

/// Fixture: the service has the line "Desk 7" with permanent id 7.
class manager_fixture : public testing::Test {
  protected:
    manager_fixture() {
        service_.SetLists({RegistrationElement(7, "Desk 7")});
        log_.Skip();
    }
    ~manager_fixture() override {
        // Before the reaction's own variables go: a message may be on its way.
        tapi_.SetReaction({});
        // The reader holds the lines while it handles a message; stopping waits for it.
        if (lines_ != nullptr) {
            lines_->Stop();
        }
    }

    /// Makes real lines and keeps them in lines_.
    line_manager_factory KeepLines() {
        return [this](std::shared_ptr<call_manager> calls, std::uint32_t device_id_base) {
            lines_ = line_manager::Create(std::move(calls), tapi_.Procedure(), AsHandle<HPROVIDER>(0xAB),
                                          device_id_base);
            return lines_;
        };
    }

    /// A manager with the one line under device identifier 5, and TAPI's completion procedure.
    std::shared_ptr<telephony_manager> MakeManager() {
        auto manager = telephony_manager::Create(5, KeepLines());
        (void)Found(lines_);
        manager->SetCompletionProcedure(completions_.Procedure());
        return manager;
    }

    /// A call on the one line, which need not be open. Returns its driver call handle.
    static HDRVCALL MakeCall(telephony_manager& manager) {
        HDRVCALL call = nullptr;
        EXPECT_EQ(
            manager.LineMakeCall(1, AsHandle<HDRVLINE>(1), AsHandle<HTAPICALL>(0xC1), &call, L"4711", 0), 1);
        return call;
    }

    [[nodiscard]] std::vector<std::string> ManagerLog() const { return log_.Texts(kManagerCategory); }

    log_reader log_ = StartProcessLog();
    tapi_recorder tapi_;
    completion_recorder completions_;
    loopback_service service_;
    std::shared_ptr<line_manager> lines_;
};

}  // namespace brivelnox::test
