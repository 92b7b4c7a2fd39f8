#pragma once

// A working day of a dialler over TAPI: calls come and go at three softphones of the simulated service.

#include <windows.h>
#include <tapi.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/service_simulator/simulator_process.h"
#include "tools/tapi_client/dialler.h"

namespace brivelnox::tapi_client {

/// Plays the day with an application that has not started. For one thread.
class working_day {
  public:
    working_day(dialler& application, simulator::simulator_process& service, dialler::print out);

    /// Plays every step; one that fails does not keep the later ones from being tried, unless they need it.
    /// Ends with a list of the steps. Returns true if each of them happened and nothing was a surprise.
    bool Play();

  private:
    struct step {
        std::string title;
        void (working_day::*play)();
    };

    void StartAndOpen();
    void IncomingCall();
    void OutgoingCall();
    void ConsultAndTransfer();
    void BusyNumber();
    void BlindTransfer();
    void NewSoftphone();
    void SoftphoneGoesAway();
    void Leave();
    void NoSurprise();

    // What they are made of. Each throws std::runtime_error when what it waits for does not happen.
    void Expect(bool condition, const std::string& what) const;
    std::string Service(const std::string& command);
    static known_line& Opened(known_line* line);
    known_line& OpenLine(const std::wstring& name, std::int32_t permanent_id);
    HCALL RingingCall(const known_line& line, const std::string& ring);
    void AnswerCall(HCALL call);
    void ExpectEnd(HCALL call, DWORD mode);
    [[nodiscard]] std::size_t StatesOf(HCALL call) const;

    dialler& application_;
    simulator::simulator_process& service_;
    const dialler::print out_;
    known_line* reception_ = nullptr;
    known_line* sales_ = nullptr;
    known_line* workshop_ = nullptr;
    HCALL workshop_call_ = 0;
};

}  // namespace brivelnox::tapi_client
