#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

#include "tests/benchmark/arrivals.h"
#include "tests/benchmark/file_calls.h"
#include "tests/benchmark/floor_client.h"
#include "tests/benchmark/log_script.h"
#include "tests/benchmark/provider_host.h"
#include "tests/benchmark/reader_watch.h"
#include "tests/support/log_reader.h"
#include "tests/support/loopback_service.h"
#include "tools/telephony_host/provider_module.h"

namespace brivelnox::benchmark {

/// The provider and the floor side by side, each with a service and a log of its own. Nothing is started yet.
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
    /// finished. The moments are those of the first and the last of what is expected in `moments` meanwhile.
    log_script Rehearse(arrivals& moments, const std::function<void()>& act);

    /// Waits until the provider's reader has finished what it received, and expects so many messages to TAPI.
    void ExpectTold(std::size_t count);

    [[nodiscard]] provider_host& Provider() { return provider_; }
    [[nodiscard]] test::loopback_service& ProviderService() { return provider_service_; }
    /// What TAPI is told.
    [[nodiscard]] arrivals& Told() { return told_; }

    [[nodiscard]] floor_client& Floor() { return floor_; }
    [[nodiscard]] test::loopback_service& FloorService() { return floor_service_; }
    /// What the floor has done.
    [[nodiscard]] arrivals& Done() { return done_; }

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
    const reader_watch reader_;
    std::optional<instant_files> instant_files_;
};

}  // namespace brivelnox::benchmark
