#pragma once

// The built provider among neighbours that fail: what the tests of one fault each share. Every test prints
// what it has measured, one figure a line.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/signal.h"

namespace brivelnox::test {

using std::chrono::milliseconds;

/// How long the provider's start waits for a list that does not come, and the bounds of it as they are
/// measured: the clocks of timer and test differ a little, and the machine may be busy with other things.
inline constexpr milliseconds kListWaitAtLeast{19900};
inline constexpr milliseconds kListWaitAtMost{27000};
/// When the provider's timer ticks first after the start.
inline constexpr milliseconds kTickAtLeast{29900};
inline constexpr milliseconds kTickAtMost{42000};
/// What takes no noticeable time, on a busy machine.
inline constexpr milliseconds kAtOnce{3000};

/// Prints one figure of a fault: "fault: <row>: <what> N ms".
void PrintFigure(const std::string& row, const std::string& what, milliseconds figure);
/// Prints how long a start without lines took, and when after it the line was there.
void PrintStart(const std::string& row, milliseconds started, milliseconds came);
/// Prints one number of something.
void PrintCount(const std::string& row, const std::string& what, std::size_t count);

/// Fixture: a service and the telephony host. Nothing runs yet, and the registry knows no service.
class missing_service : public hosted_provider {
  protected:
    void SetUp() override;

    /// Starts the provider and expects that it waits for a list in vain. Returns how long it took. The time
    /// of SinceStart counts from here.
    milliseconds StartWithoutList();

    [[nodiscard]] milliseconds SinceStart() const { return since_start_.Elapsed(); }

    /// Expects that the only softphone becomes a line with the first tick of the timer, and that a call
    /// arrives on it. Returns how long after the start the line was there.
    milliseconds LineComesWithTheTick(std::int32_t permanent_line_id);

    /// Opens the device's line and plays an incoming call of the softphone on it to its end.
    void ExpectWorkingLine(DWORD device_id, std::int32_t permanent_line_id);

  private:
    stopwatch since_start_;
};

/// Fixture: a connection that works, with the softphone's line open on it, and is about to be lost.
class lost_connection : public open_line {
  protected:
    [[nodiscard]] milliseconds SinceStart() const { return since_start_.Elapsed(); }

    /// Expects that the next connection comes with the first tick of the timer and that the list is asked for
    /// on it. Returns how long after the start.
    milliseconds ConnectsWithTheTick();

    /// Makes a call and drops it again, without a connection. Returns how long that took the application.
    milliseconds CallAndDrop();

  private:
    // From before the start, so the tick comes no earlier than its period.
    stopwatch since_start_;
};

}  // namespace brivelnox::test
