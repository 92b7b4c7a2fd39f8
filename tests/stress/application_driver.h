#pragma once

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstdint>
#include <optional>
#include <span>

#include "tests/stress/random_source.h"
#include "tests/stress/stress_context.h"

namespace brivelnox::stress {

/// One application thread: makes requests, sensible ones, ones that the state of the call forbids and ones
/// that are wrong in themselves, in bursts.
class application_driver {
  public:
    /// The watched thread is this driver's alone.
    application_driver(stress_context& context, watched_thread& watched, std::uint64_t stream);

    /// Until the run is done.
    void Run();

  private:
    using operation = void (application_driver::*)(random_source&);
    /// One kind of request and how often it is made.
    struct action {
        const char* name;
        std::uint32_t weight;
        operation make;
    };
    /// What an application does with a call in this state.
    struct sensible_row {
        DWORD state;
        operation make;
    };

    void Burst(random_source& random);
    void Make(std::span<const action> actions, random_source& random);
    void Count(const host::request_result& result);
    void Count(LONG returned);
    template <class Information>
    void Count(const std::optional<Information>& information) {
        context_.report.results.Add(information ? "answered" : "refused");
    }

    static std::span<const action> Anything();
    static std::span<const action> Harmless();

    // Lines.
    void OpenLine(random_source& random);
    void CloseLine(random_source& random);
    // Calls.
    void Sensible(random_source& random);
    void MakeCall(random_source& random);
    void Dial(random_source& random);
    void Answer(random_source& random);
    void Hold(random_source& random);
    void Unhold(random_source& random);
    void SwapHold(random_source& random);
    void SetupTransfer(random_source& random);
    void CompleteTransfer(random_source& random);
    void BlindTransfer(random_source& random);
    void Redirect(random_source& random);
    void Drop(random_source& random);
    void CloseCall(random_source& random);
    void GenerateDigits(random_source& random);
    // Information.
    void DeviceInformation(random_source& random);
    void LineInformation(random_source& random);
    void CallInformation(random_source& random);
    void InformationInARow(random_source& random);
    // Wrong in themselves; application_mistakes.cpp.
    void WildDevice(random_source& random);
    void WildLine(random_source& random);
    void WildCall(random_source& random);
    void WildRequest(random_source& random);
    void StaleRequest(random_source& random);
    void NullPointer(random_source& random);
    void SmallStructure(random_source& random);
    void Unsupported(random_source& random);

    host::request_result RawRequest(random_source& random, HDRVCALL call);
    void ForgetCall(HTAPICALL call);

    stress_context& context_;
    host::telephony_host& host_;
    watched_thread& watched_;
    random_source random_;
};

/// A destination as a user might give it, and as he should not.
const wchar_t* AnyNumber(random_source& random);

}  // namespace brivelnox::stress
