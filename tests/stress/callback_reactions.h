#pragma once

#include <cstdint>

#include "tests/stress/random_source.h"
#include "tests/stress/stress_context.h"

namespace brivelnox::stress {

/// What applications do from inside the provider's callbacks: ask for the call, close it in IDLE, drop it in
/// OFFERING, and so on. What is done for a message follows from the seed, the call's handle and the state,
/// whichever thread brings it; with which other call or line depends on which there are. Called on the
/// provider's threads, with its event lock held.
class callback_reactions {
  public:
    explicit callback_reactions(stress_context& context) : context_(context) {}

    void operator()(const host::tapi_event& event) const;

  private:
    using reaction = void (callback_reactions::*)(HTAPICALL, random_source&) const;
    /// What may be done in a state, and in how many of a hundred cases.
    struct reaction_row {
        DWORD state;  ///< 0: any
        std::uint32_t percent;
        const char* name;
        reaction react;
    };

    void OnCallState(const host::tapi_event& event) const;
    void OnCompletion(const host::tapi_event& event) const;

    void Ask(HTAPICALL call, random_source& random) const;
    void Close(HTAPICALL call, random_source& random) const;
    void Drop(HTAPICALL call, random_source& random) const;
    void Answer(HTAPICALL call, random_source& random) const;
    void Redirect(HTAPICALL call, random_source& random) const;
    void Dial(HTAPICALL call, random_source& random) const;
    void Hold(HTAPICALL call, random_source& random) const;
    void MakeCall(HTAPICALL call, random_source& random) const;
    void OpenLine(HTAPICALL call, random_source& random) const;
    void CloseLine(HTAPICALL call, random_source& random) const;
    void Linger(HTAPICALL call, random_source& random) const;

    stress_context& context_;
};

}  // namespace brivelnox::stress
