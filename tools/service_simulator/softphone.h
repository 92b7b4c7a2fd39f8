#pragma once

// One softphone client of the service and its calls, in the protocol's own states.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/service_simulator/request_parser.h"
#include "tools/service_simulator/service_messages.h"

namespace brivelnox::simulator {

/// One call at a softphone.
struct softphone_call {
    std::string client_call_id;
    std::string call_state;  ///< the state last sent
    bool is_caller = false;
    std::int32_t call_reason = 0;
    party self;
    party peer;
    std::optional<forwarder> forwarded_by;
    std::string digits;  ///< all digits played so far
};

/// What becomes of a call that the provider places to a number.
enum class dial_outcome {
    kRingback,  ///< Outgoing, Ringback; the rest is up to the test
    kAnswered,  ///< Outgoing, Ringback, Connected
    kBusy,      ///< Outgoing, Hangup 486, CallRemoved
    kUnknown,   ///< Outgoing, Hangup 404, CallRemoved
    kSilent,    ///< nothing at all
};

/// A number that the softphone knows: who is there and what happens when it is dialled.
struct dial_entry {
    std::string number;
    std::string name;
    dial_outcome outcome = dial_outcome::kRingback;
};

/// The numbers that every softphone knows to begin with: "486" and "600" are busy, "404" is unknown. Any
/// other number rings (kRingback).
std::vector<dial_entry> DefaultDialPlan();

/// The call reasons that the softphone uses by itself.
inline constexpr std::int32_t kReasonNormal = 200;
inline constexpr std::int32_t kReasonUnknownNumber = 404;
inline constexpr std::int32_t kReasonBusy = 486;

/// One softphone. Made by service_simulator::AddSoftphone, lives as long as anybody holds it; after the
/// simulator is gone it sends nothing. Every operation is thread-safe, sends its events in the order in which
/// its calls changed, never blocks on the network, and returns once the events are queued for sending. The
/// operations that name a call return false, and send nothing, when the softphone has no such call.
class softphone {
  public:
    using sender = std::function<void(const std::string& message)>;

    /// `send` takes one complete message for the provider; it is called with the softphone's lock held.
    softphone(registration subject, sender send);
    softphone(const softphone&) = delete;
    softphone& operator=(const softphone&) = delete;

    /// The registration as it was last announced.
    [[nodiscard]] registration Registration() const;
    void SetRegistration(const registration& subject);

    // --- Calls, played by hand.

    /// An incoming call: Incoming, then Ringing. Returns its client call id, `id` if that is not empty, else
    /// a fresh one ("1001-1", "1001-2", ...).
    std::string Ring(const party& caller, const std::optional<forwarder>& forwarded_by = std::nullopt,
                     const std::string& id = {});
    /// A call that the user of the softphone dials: Outgoing. Returns its client call id as Ring does.
    std::string Dial(const party& callee, const std::string& id = {});
    bool Ringback(const std::string& id);  ///< Ringback
    bool Connect(const std::string& id);   ///< Connected
    bool Park(const std::string& id);      ///< Parked
    bool Hangup(const std::string& id,
                std::int32_t reason);    ///< Hangup with the reason; the call is still there
    bool Remove(const std::string& id);  ///< CallRemoved; the call is gone
    bool End(const std::string& id, std::int32_t reason);            ///< Hangup, then Remove
    bool SetState(const std::string& id, const std::string& state);  ///< any text as the call's state
    /// Changes the parties of a call and sends its state once more. A party that is not given stays as it is.
    bool SetParties(const std::string& id, const std::optional<party>& self, const std::optional<party>& peer,
                    const std::optional<forwarder>& forwarded_by = std::nullopt);
    /// Removes every call without sending anything, as if the softphone had been killed.
    void ForgetCalls();

    [[nodiscard]] std::optional<softphone_call> FindCall(const std::string& id) const;
    /// All calls, oldest first.
    [[nodiscard]] std::vector<softphone_call> Calls() const;

    // --- Automatic mode: the softphone reacts to the provider's requests by itself.

    /// On by default. Off: requests are only recorded by the simulator and the test plays the calls.
    void SetAutomatic(bool automatic);
    /// Adds a number to the dial plan, or replaces it.
    void AddDialEntry(const dial_entry& entry);
    /// What happens for a number that the dial plan does not hold; kRingback to begin with.
    void SetDefaultOutcome(dial_outcome outcome);

    /// Reacts to a request for this softphone as its user's client would: placeCall makes a call and plays
    /// the dial plan's outcome, acceptCall and resumeCall connect, holdCall parks, transferCall ends both
    /// calls, forwardCall and hangupCall end the call, playDtmf adds the digits to it. A request for an
    /// unknown call does nothing. Does nothing at all while the automatic mode is off. Called by the
    /// simulator.
    void Handle(const request& received);

  private:
    struct call_entry {
        softphone_call call;
        std::size_t order = 0;
    };

    // All of these are called with the lock held.
    std::string Create(const std::string& id, bool is_caller, const party& peer,
                       const std::optional<forwarder>& forwarded_by);
    void SendState(const softphone_call& call);
    bool Change(const std::string& id, const std::string& state, std::int32_t reason);
    bool Drop(const std::string& id);
    void Finish(const std::string& id, std::int32_t reason);
    void PlayPlacedCall(const request& received);
    [[nodiscard]] dial_entry Lookup(const std::string& number) const;

    mutable std::mutex mutex_;
    registration registration_;
    sender send_;
    bool automatic_ = true;
    std::vector<dial_entry> dial_plan_ = DefaultDialPlan();
    dial_outcome default_outcome_ = dial_outcome::kRingback;
    std::map<std::string, call_entry> calls_;
    std::size_t created_ = 0;
};

}  // namespace brivelnox::simulator
