// stress: random legal and illegal requests of several applications on several lines, while softphones live
// their calls and everything that can go wrong with the service does, and the provider is shut down and
// started again and again. Ends with 0 when nothing failed; see the table that it prints.

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "tests/dll/pe_image_helper.h"
#include "tests/stress/application_driver.h"
#include "tests/stress/call_life_player.h"
#include "tests/stress/callback_reactions.h"
#include "tests/stress/fault_injector.h"
#include "tests/stress/provider_restarter.h"
#include "tests/stress/thread_stacks.h"

namespace {

using namespace brivelnox;
using namespace brivelnox::stress;

// The streams of the generators; the applications' are 1, 2, 3, ...
constexpr std::uint64_t kPlayerStream = 100;
constexpr std::uint64_t kInjectorStream = 101;
constexpr std::uint64_t kRestarterStream = 102;

constexpr std::size_t kKeptRecords = 500;

[[noreturn]] void OnHang(stress_context& context, const std::string& what) {
    context.report.Fail("hang: " + what);
    PrintThreadStacks();
    EndProcess(kHangExitCode);
}

/// The threads of a run and their objects.
class crew {
  public:
    explicit crew(stress_context& context)
        : context_(context), watchdog_([&context](const std::string& what) { OnHang(context, what); }) {
        for (std::size_t i = 1; i <= context.options.threads; ++i) {
            applications_.emplace_back(context, watchdog_.Watch("application " + std::to_string(i)), i);
        }
    }

    void Run() {
        call_life_player player(context_, watchdog_.Watch("softphones"), kPlayerStream);
        fault_injector injector(context_, watchdog_.Watch("fault injector"), kInjectorStream);
        provider_restarter restarter(context_, watchdog_.Watch("telephony service"), kRestarterStream);
        std::vector<std::thread> threads;
        for (application_driver& each : applications_) {
            threads.emplace_back([&each] { each.Run(); });
        }
        threads.emplace_back([&] { player.Run(); });
        threads.emplace_back([&] { injector.Run(); });
        watchdog_.Start();
        restarter.Run();
        for (std::thread& each : threads) {
            each.join();
        }
    }

  private:
    stress_context& context_;
    watchdog watchdog_;
    std::deque<application_driver> applications_;
};

int Run(const stress_options& options) {
    const host::provider_module module(test::BuiltProviderPath().wstring());
    host::host_options host_settings;
    host_settings.kept_completions = kKeptRecords;
    host::telephony_host host(module, host_settings);
    // A call that began while its line was closed has no handle; see null_call_rule.
    host.Checker().SetNullCallRule(host::null_call_rule::kTolerate);
    host.History().Limit(kKeptRecords);
    simulator::service_simulator service;
    service.LimitReceived(kKeptRecords);

    handle_board board;
    phase_gate gate(options.threads + 2);
    stress_report report(options);
    std::atomic<bool> steady{false};
    stress_context context{options, host, service, board, gate, report, steady};
    const callback_reactions reactions(context);
    host.SetEventHook([&reactions](const host::tapi_event& event) { reactions(event); });
    crew(context).Run();

    report.kept.Add("reader threads' handles", service.AcceptedCount());
    report.kept.Add("receive buffers", report.starts.Count());
    report.events.Add("(for calls without a handle)", host.Checker().NullCallMessages());
    report.Close(service.AcceptedCount(), host.Checker().BreachCount());
    return report.Failed() ? 1 : 0;
}

}  // namespace

int main(int argument_count, char** arguments) {
    std::string error;
    const auto options = ParseOptions({arguments + 1, arguments + argument_count}, error);
    if (!options) {
        std::printf("%s\n%s", error.c_str(), Usage().c_str());
        return 2;
    }
    const std::string line = "seed " + std::to_string(options->seed);
    std::printf("stress: %s, %lld s, %zu threads, %d lines\n", line.c_str(),
                static_cast<long long>(options->duration.count()), options->threads,
                static_cast<int>(options->lines));
    (void)std::fflush(stdout);
    ReportCrashes(line.c_str());
    try {
        return Run(*options);
    } catch (const std::exception& failure) {
        std::printf("FAILED (%s): %s\n", line.c_str(), failure.what());
        return 1;
    }
}
