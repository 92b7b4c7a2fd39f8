#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

#include "tests/stress/handle_board.h"
#include "tests/stress/phase_gate.h"
#include "tests/stress/stress_options.h"
#include "tests/stress/stress_report.h"
#include "tests/stress/watchdog.h"
#include "tools/service_simulator/service_simulator.h"
#include "tools/telephony_host/telephony_host.h"

namespace brivelnox::stress {

// The provider promises these bounds; the watchdog gives the margin on top of them, for a busy machine.

/// Closing the lines waits 5 s for a callback that keeps a lock and 1 s for a message on its way, the timer
/// 10 s for its tick and 10 s for its queue, the link 5 s for its reader.
inline constexpr std::chrono::milliseconds kShutdownBound{31000};
/// The first list is waited for 20 s.
inline constexpr std::chrono::milliseconds kStartBound{20000};
/// No request waits by itself. It may have to wait for a lock while a request that was made inside a callback
/// waits 5 s for its own thread, because its send has failed, and so may the next one that has the lock.
inline constexpr std::chrono::milliseconds kRequestBound{10000};
inline constexpr std::chrono::milliseconds kMargin{10000};
/// Orders to the simulator wait for its threads only.
inline constexpr std::chrono::milliseconds kSimulatorBound{20000};
/// Until a connection that was lost is there again: the timer's period.
inline constexpr std::chrono::milliseconds kReconnectBound{30000};

/// What all the parts of a run share. Each is thread-safe.
struct stress_context {
    const stress_options& options;
    host::telephony_host& host;
    simulator::service_simulator& service;
    handle_board& board;
    phase_gate& gate;
    stress_report& report;
    /// Set while a life waits for the provider's own timer: connections and listening are left alone then.
    std::atomic<bool>& steady;

    [[nodiscard]] std::chrono::milliseconds Patiently(std::chrono::milliseconds bound) const {
        return bound * options.patience;
    }
};

/// The permanent ids of the softphones: those that are there most of the time, and others that come and go.
inline constexpr std::int32_t kFirstPhone = 1001;
inline constexpr std::int32_t kFirstGuest = 2001;
inline constexpr std::int32_t kGuests = 4;

/// A registration of a softphone as it is when all is well.
inline simulator::registration RegistrationOf(std::int32_t permanent_line_id) {
    simulator::registration subject;
    subject.permanent_line_id = permanent_line_id;
    subject.tapi_line_name = "Desk " + std::to_string(permanent_line_id);
    return subject;
}

}  // namespace brivelnox::stress
