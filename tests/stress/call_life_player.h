#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tests/stress/random_source.h"
#include "tests/stress/stress_context.h"

namespace brivelnox::stress {

/// The softphones' users: plays calls on all of them, most of them plausible, some not (states out of order,
/// calls that nobody knows, ids that name no softphone).
class call_life_player {
  public:
    call_life_player(stress_context& context, watched_thread& watched, std::uint64_t stream);

    /// Until the run is done.
    void Run();

  private:
    using operation = void (call_life_player::*)(simulator::softphone&, random_source&);
    struct action {
        std::uint32_t weight;
        operation play;
    };

    void Play(random_source& random);
    [[nodiscard]] std::shared_ptr<simulator::softphone> AnyPhone(random_source& random) const;
    static std::string AnyCall(const simulator::softphone& phone, random_source& random);
    static simulator::party AnyParty(random_source& random);

    void Ring(simulator::softphone& phone, random_source& random);
    void Dial(simulator::softphone& phone, random_source& random);
    void Advance(simulator::softphone& phone, random_source& random);
    void AnyState(simulator::softphone& phone, random_source& random);
    void ChangeParties(simulator::softphone& phone, random_source& random);
    void Hangup(simulator::softphone& phone, random_source& random);
    void End(simulator::softphone& phone, random_source& random);
    void Remove(simulator::softphone& phone, random_source& random);
    void Forget(simulator::softphone& phone, random_source& random);
    void SayNonsense(simulator::softphone& phone, random_source& random);
    void ChangeHabits(simulator::softphone& phone, random_source& random);

    stress_context& context_;
    watched_thread& watched_;
    random_source random_;
};

/// A CallState event with everything in it at random, for any softphone or none.
std::string AnyCallStateEvent(random_source& random, std::int32_t lines);

}  // namespace brivelnox::stress
