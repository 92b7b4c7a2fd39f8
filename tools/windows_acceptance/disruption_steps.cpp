#include "tools/windows_acceptance/disruption_steps.h"

#include <winsock2.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <future>
#include <iterator>
#include <sstream>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/unique_handle.h"
#include "tools/service_simulator/registry_publication.h"
#include "tools/setup/elevation.h"
#include "tools/windows_acceptance/simulated_service.h"
#include "tools/windows_acceptance/step.h"
#include "tools/windows_acceptance/system_name.h"
#include "tools/windows_acceptance/tapi_session.h"

namespace brivelnox::acceptance {

namespace {

namespace fs = std::filesystem;
using steady = std::chrono::steady_clock;

constexpr DWORD kLookAgain = 100;  // milliseconds

/// A port of this process that refuses every connection, because nobody listens on it.
class refusing_port {
  public:
    refusing_port() {
        WSADATA data = {};
        Require(WSAStartup(MAKEWORD(2, 2), &data) == 0, "Winsock does not start");
        socket_.reset(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
        sockaddr_in address = {};
        int size = sizeof address;
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        Require(bind(socket_.get(), generic, size) == 0 && getsockname(socket_.get(), generic, &size) == 0,
                "no port can be had");
        port_ = ntohs(address.sin_port);
    }
    ~refusing_port() {
        socket_.reset();
        (void)WSACleanup();
    }
    refusing_port(const refusing_port&) = delete;
    refusing_port& operator=(const refusing_port&) = delete;

    [[nodiscard]] std::uint16_t Port() const { return port_; }

  private:
    unique_socket socket_;
    std::uint16_t port_ = 0;
};

/// How many sockets the process has that are bound, and neither listen nor are connected.
std::size_t BoundSockets(DWORD process) {
    const std::string owner = std::to_string(process);
    std::istringstream table(console::RunProgram(L"netstat -qno", {}, std::chrono::minutes(1)).output);
    std::size_t count = 0;
    for (std::string line; std::getline(table, line);) {
        std::istringstream words(line);
        // Protocol, both addresses, state, process.
        const std::vector<std::string> columns(std::istream_iterator<std::string>(words), {});
        count += columns.size() == 5 && columns[3] == "BOUND" && columns[4] == owner ? 1U : 0U;
    }
    return count;
}

DWORD TelephonyServiceProcess() {
    using unique_service = unique_handle<handle_traits<SC_HANDLE, &CloseServiceHandle>>;
    const unique_service manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const unique_service service(OpenServiceW(manager.get(), setup::kTelephonyService, SERVICE_QUERY_STATUS));
    SERVICE_STATUS_PROCESS status = {};
    DWORD size = 0;
    Require(QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                                 sizeof status, &size) != FALSE,
            "the telephony service does not tell its process");
    return status.dwProcessId;
}

/// Calls that come and go until it ends.
class traffic {
  public:
    explicit traffic(simulated_service& service)
        : thread_([this, &service] {
              try {
                  while (!is_over_) {
                      const std::string call = service.Command("ring 1001 4711");
                      service.Command("remove 1001 " + call);
                  }
              } catch (const std::exception&) {
                  // No simulator, no calls; the step finds that nothing is told.
              }
          }) {}
    ~traffic() {
        is_over_ = true;
        thread_.join();
    }
    traffic(const traffic&) = delete;
    traffic& operator=(const traffic&) = delete;

  private:
    std::atomic<bool> is_over_ = false;
    std::thread thread_;
};

/// The machine's clock a few seconds before midnight, and right again at the end.
class clock_before_midnight {
  public:
    clock_before_midnight() {
        SYSTEMTIME late = {};
        GetLocalTime(&late);
        was_ = late;
        late.wHour = 23;
        late.wMinute = 59;
        late.wSecond = 55;
        AllowToSetTheClock();
        if (!SetLocalTime(&late)) {
            throw left_out("the clock cannot be set, error " + std::to_string(GetLastError()));
        }
    }
    ~clock_before_midnight() {
        FILETIME time = {};
        (void)SystemTimeToFileTime(&was_, &time);
        ULARGE_INTEGER ticks = {{time.dwLowDateTime, time.dwHighDateTime}};
        constexpr auto kTicksInAMillisecond = 10000;
        const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(steady::now() - begun_);
        ticks.QuadPart += static_cast<ULONGLONG>(passed.count()) * kTicksInAMillisecond;
        time = {ticks.LowPart, ticks.HighPart};
        SYSTEMTIME now = {};
        (void)FileTimeToSystemTime(&time, &now);
        (void)SetLocalTime(&now);
    }
    clock_before_midnight(const clock_before_midnight&) = delete;
    clock_before_midnight& operator=(const clock_before_midnight&) = delete;

    void WaitForTheNextDay() const {
        SYSTEMTIME now = {};
        do {
            Sleep(kLookAgain);
            GetLocalTime(&now);
        } while (now.wHour == 23);
    }

  private:
    static void AllowToSetTheClock() {
        TOKEN_PRIVILEGES wanted = {};
        wanted.PrivilegeCount = 1;
        wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
        if (LookupPrivilegeValueW(nullptr, SE_SYSTEMTIME_NAME, &wanted.Privileges[0].Luid)) {
            (void)AdjustTokenPrivileges(setup::OwnToken().get(), FALSE, &wanted, 0, nullptr, nullptr);
        }
    }

    SYSTEMTIME was_ = {};
    const steady::time_point begun_ = steady::now();
};

std::size_t BackupCount(const bench& machine) {
    const fs::path folder = machine.Where().LogFolder() / L"bak";
    std::error_code none;
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder, none), fs::directory_iterator()));
}

}  // namespace

std::string CountRefusedSockets(bench& machine) {
    machine.EnsureInstalled();
    const refusing_port nobody;
    if (BoundSockets(GetCurrentProcessId()) == 0) {
        throw left_out("netstat does not tell of bound sockets here");
    }
    simulator::registry_publication published;
    published.Publish(nobody.Port());
    const tapi_session session;
    tapi_session::RequireProviderInService();
    const DWORD service = TelephonyServiceProcess();
    const std::size_t before = BoundSockets(service);
    std::this_thread::sleep_for(machine.With().refused);
    const std::size_t after = BoundSockets(service);
    const std::size_t kept = after - std::min(before, after);
    const auto minutes = static_cast<std::size_t>(machine.With().refused.count());
    const std::string seen =
        std::to_string(kept) + " sockets more after " + std::to_string(minutes) + " minutes";
    Require(kept <= 2 * minutes + 1, seen);
    return seen;
}

std::string StopDuringCallback(bench& machine) {
    machine.EnsureInstalled();
    simulated_service service;
    service.RegisterDesk();
    {
        const tapi_session session;
        tapi_session::RequireProviderInService();
    }
    const std::size_t since = ReadFile(machine.LogFile()).size();
    // The line stays open while the client waits for a state that never comes.
    const auto application = std::async(std::launch::async, [] {
        return bench::RunClient(L"event --patience 40", "open \"Desk 1001\"\nwait busy\n");
    });
    const traffic calls(service);
    const auto begun = steady::now();
    while (ReadFile(machine.LogFile(), since).find("Send event to TAPI") == std::string::npos) {
        Require(steady::now() - begun < std::chrono::seconds(60), "nothing is told to TAPI");
        Sleep(kLookAgain);
    }
    const auto stopping = steady::now();
    const stopped_services stopped;
    const std::chrono::duration<double> took = steady::now() - stopping;
    return "the telephony service stopped in " + std::to_string(took.count()) + " s";
}

std::string RollLogAtMidnight(bench& machine) {
    if (RunsUnderWine()) {
        throw left_out("Wine does not set the clock");
    }
    machine.EnsureInstalled();
    const std::size_t before = BackupCount(machine);
    simulated_service service;
    service.RegisterDesk();
    std::string call;
    {
        const clock_before_midnight clock;
        const tapi_session session;
        service.Command("ring 1001 4711");
        clock.WaitForTheNextDay();
        call = service.Command("ring 1001 4712");
        const auto begun = steady::now();
        while (ReadFile(machine.LogFile()).find(call) == std::string::npos) {
            Require(steady::now() - begun < std::chrono::seconds(60),
                    "the new day's log does not tell of " + call);
            Sleep(kLookAgain);
        }
    }
    Require(BackupCount(machine) == before + 1, "the old day's log was not put away");
    return "the old day's log was put away, and the new one begun";
}

}  // namespace brivelnox::acceptance
