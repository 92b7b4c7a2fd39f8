#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

#include "tests/stress/random_source.h"
#include "tests/stress/stress_context.h"

namespace brivelnox::stress {

/// The telephony service: starts the provider, lets it live for a while, shuts it down while everything else
/// goes on, and looks at what is left, again and again.
class provider_restarter {
  public:
    provider_restarter(stress_context& context, watched_thread& watched, std::uint64_t stream);

    /// Until the time is over or something has failed. Then the run is done. For the thread that made the
    /// objects.
    void Run();

  private:
    /// How a life meets the service. All but the first wait for the provider's own timer, which takes half a
    /// minute; they have their turns.
    enum class life {
        kUsual,
        kServiceAway,     ///< not listening when the provider starts, on another port later
        kNotPublished,    ///< no registry key when the provider starts
        kNotRunningYet,   ///< the registry says so when the provider starts
        kSilent,          ///< the first list is not answered
        kConnectionLost,  ///< connected, then lost
        kServiceMoved,    ///< connected, then restarted on another port
    };

    static constexpr std::array kTimerLives = {life::kServiceAway,    life::kNotPublished,
                                               life::kNotRunningYet,  life::kSilent,
                                               life::kConnectionLost, life::kServiceMoved};

    void Live(life kind);
    void Prepare(life kind);
    bool Start(life kind);
    void OpenLines();
    void UsualLife();
    void ChangeService(life kind);
    void WaitForTimer(life kind);
    void CloseInGoodOrder();
    void ShutDown();
    void LookAtWhatIsLeft();
    [[nodiscard]] life NextKind();
    [[nodiscard]] bool Over() const;

    stress_context& context_;
    watched_thread& watched_;
    random_source random_;
    random_source life_random_;  ///< of the present life alone, which may take any number of numbers
    std::chrono::steady_clock::time_point end_;
    std::chrono::steady_clock::time_point next_timer_life_;
    std::size_t lives_ = 0;
    std::size_t timer_lives_ = 0;
    std::size_t refused_connects_ = 0;
    std::size_t known_breaches_ = 0;
};

}  // namespace brivelnox::stress
