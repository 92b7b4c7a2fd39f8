#pragma once

// A working day with the provider, played from the first line to the shutdown, every step checked.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/demonstration/application.h"
#include "tools/demonstration/merged_print.h"
#include "tools/service_simulator/simulator_process.h"
#include "tools/telephony_host/telephony_host.h"

namespace brivelnox::demonstration {

/// Plays the day with a provider that has not been started. For one thread.
class working_day {
  public:
    /// `patience` bounds each wait; the default is far more than anything takes on a busy machine.
    working_day(application& dialler, simulator::simulator_process& service, merged_print& print,
                std::chrono::milliseconds patience = std::chrono::seconds(10));

    /// Plays every step; a step that fails doesn't keep the later ones from being tried, unless they need it.
    /// Ends with a list of the steps. Returns true if each of them happened and the provider kept its
    /// contract.
    bool Play();

  private:
    struct step {
        std::string title;
        void (working_day::*play)();
    };
    struct outcome {
        std::string title;
        std::string failure;  // empty: it happened
    };

    void StartAndList();
    void IncomingCall();
    void OutgoingCall();
    void ConsultAndTransfer();
    void BusyNumber();
    void BlindTransfer();
    void NewSoftphone();
    void SoftphoneGoesAway();
    void Shutdown();
    void Contract();

    // What they are made of. Each throws std::runtime_error when what it waits for does not happen.
    void Expect(bool condition, const std::string& what) const;
    std::string Service(const std::string& command);
    void CheckDevice(DWORD device_id, std::int32_t permanent_id, const std::wstring& name);
    HTAPICALL RingingCall(HTAPILINE line, const std::string& ring);
    void AnswerCall(HTAPICALL call);
    void ExpectAccepted(const host::request_result& result, const std::string& what);
    void ExpectState(HTAPICALL call, DWORD state, std::size_t from = 0);
    void ExpectEnd(HTAPICALL call, DWORD mode);
    void PrintOutcomes();

    application& dialler_;
    host::telephony_host& host_;
    simulator::simulator_process& service_;
    merged_print& print_;
    const std::chrono::milliseconds patience_;
    std::vector<outcome> outcomes_;
    HTAPILINE reception_ = nullptr;
    HTAPILINE sales_ = nullptr;
    HTAPILINE workshop_ = nullptr;
    HTAPICALL workshop_call_ = nullptr;
};

}  // namespace brivelnox::demonstration
