#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

#include "tests/benchmark/arrivals.h"
#include "tests/benchmark/event_acts.h"
#include "tests/benchmark/file_calls.h"
#include "tests/benchmark/floor_client.h"
#include "tests/benchmark/log_script.h"
#include "tests/benchmark/provider_host.h"
#include "tests/benchmark/reader_watch.h"
#include "tests/benchmark/scenario.h"
#include "tests/support/log_reader.h"
#include "tests/support/loopback_service.h"
#include "tools/telephony_host/provider_module.h"

namespace brivelnox::benchmark {

/// The provider and the floor side by side, each with a service and a log of its own. Neither is started yet.
/// One thread uses it.
class stage {
  public:
    /// Both services list so many softphones, with the permanent line ids from 1 on.
    stage(const host::provider_module& provider, std::uint32_t softphones);
    /// What the logs hold is not kept.
    ~stage();
    stage(const stage&) = delete;
    stage& operator=(const stage&) = delete;

    /// Whether both write their logs with file calls that answer at once; they do not to begin with.
    void UseInstantFiles(bool instant);

    void StartProvider() { provider_.Start(softphones_); }
    /// Connects the floor, asks for the list and waits until it is there and the script's lines are written.
    void StartFloor(const log_script& script);

    /// Has the provider do something with its log on the disk, and returns what it wrote until it had
    /// finished. The moments that count are the first and the last of what is expected in `moments`
    /// meanwhile; without any, the end.
    log_script Rehearse(arrivals& moments, const std::function<void()>& act);

    /// Has the provider's service send, and waits until TAPI has been told what comes of it and the provider
    /// has nothing left to do. Returns the times to the first and to the last message to TAPI.
    sample Play(const event_act& act);
    /// The same for the floor, with what the provider has written. Returns the times to the script's first
    /// and last moment.
    sample PlayToFloor(const event_act& act, const log_script& script);

    [[nodiscard]] provider_host& Provider() { return provider_; }
    [[nodiscard]] floor_client& Floor() { return floor_; }
    [[nodiscard]] const test::loopback_service& ProviderService() const { return provider_service_; }
    [[nodiscard]] const test::loopback_service& FloorService() const { return floor_service_; }
    /// What TAPI is told.
    [[nodiscard]] arrivals& Told() { return told_; }

  private:
    const HMODULE module_;
    const std::uint32_t softphones_;
    test::log_reader log_ = test::log_reader::OfProvider();
    arrivals told_;
    arrivals done_;
    // The provider looks for the one that was made last.
    test::loopback_service floor_service_;
    test::loopback_service provider_service_;
    floor_client floor_;
    provider_host provider_;
    reader_watch reader_;
    std::optional<instant_files> instant_files_;
};

}  // namespace brivelnox::benchmark
