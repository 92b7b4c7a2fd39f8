#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tests/stress/random_source.h"
#include "tests/stress/stress_context.h"

namespace brivelnox::stress {

/// Everything that goes wrong between the service and the provider, at random moments.
class fault_injector {
  public:
    fault_injector(stress_context& context, watched_thread& watched, std::uint64_t stream);

    /// Until the run is done.
    void Run();

  private:
    using operation = void (fault_injector::*)(random_source&);
    struct fault {
        const char* name;
        std::uint32_t weight;
        operation inject;
    };

    void Inject(std::span<const fault> faults, random_source& random);
    static std::span<const fault> OnMessages();
    static std::span<const fault> OnConnections();

    // What is sent.
    void Split(random_source& random);
    void Merge(random_source& random);
    void Malformed(random_source& random);
    void MalformedAmongGood(random_source& random);
    void Endless(random_source& random);
    void Garbage(random_source& random);
    void UnaskedList(random_source& random);
    void SlowAnswers(random_source& random);
    // Softphones.
    void GuestComesOrGoes(random_source& random);
    void PhoneGoesAndComes(random_source& random);
    void PhoneChanges(random_source& random);
    void UnknownChange(random_source& random);
    // Connections.
    void Drop(random_source& random);
    void DropBehindMessages(random_source& random);
    void DropInsideMessage(random_source& random);
    void StopReading(random_source& random);
    void BackOnSamePort(random_source& random);
    void BackOnOtherPort(random_source& random);
    void RegistryComesAndGoes(random_source& random);

    [[nodiscard]] std::int32_t AnyPhoneId(random_source& random) const;
    [[nodiscard]] std::string SomeMessages(random_source& random) const;

    stress_context& context_;
    watched_thread& watched_;
    random_source random_;
};

}  // namespace brivelnox::stress
