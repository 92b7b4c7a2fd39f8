#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace brivelnox::benchmark {

/// Messages of the service, and what becomes of them.
struct event_act {
    std::string messages;
    std::size_t count = 0;  ///< how many messages
    std::size_t told = 0;   ///< how many messages TAPI is told, at least one

    /// Puts another act behind this one.
    event_act& operator+=(const event_act& next);
};

/// A softphone registers that was not there before.
event_act Registered(std::uint32_t line);

/// The identifier of a softphone's call, as long as those of a real one; further calls have numbers behind
/// it.
inline const std::string kCall = "6f9d1b2a-4c1e-4f0b-9d52-2f6f3f0e7a11";

// The life of a softphone's call with this identifier, on an open line. The parties stay the same.

event_act Ringing(std::uint32_t line, const std::string& call);
/// From ringing.
event_act Answered(std::uint32_t line, const std::string& call);
/// From connected.
event_act Parked(std::uint32_t line, const std::string& call);
/// From parked. TAPI is told the state, and then that the parties have changed, which had left with the
/// parking.
event_act Resumed(std::uint32_t line, const std::string& call);
/// From any state. The call is closed when TAPI is told that it is idle.
event_act Removed(std::uint32_t line, const std::string& call);

}  // namespace brivelnox::benchmark
