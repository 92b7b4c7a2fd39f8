#include "tests/benchmark/stage.h"

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

namespace brivelnox::benchmark {

namespace {

std::string Registrations(std::uint32_t softphones) {
    std::string elements;
    for (std::uint32_t id = 1; id <= softphones; ++id) {
        elements += test::RegistrationElement(static_cast<std::int32_t>(id),
                                              "Softphone number " + std::to_string(id));
    }
    return elements;
}

/// A file beside the provider's log, with a name as long: the system looks for both in the same way.
std::wstring FloorLogPath() {
    constexpr std::wstring_view kName = L"Brivelnox";
    constexpr std::wstring_view kFloorName = L"Benchmark";
    static_assert(kName.size() == kFloorName.size());
    std::wstring path = test::log_reader::OfProvider().Path();
    path.replace(path.rfind(kName), kName.size(), kFloorName);
    return path;
}

}  // namespace

stage::stage(const host::provider_module& provider, std::uint32_t softphones)
    : module_(provider.Module()),
      softphones_(softphones),
      floor_(FloorLogPath(), done_),
      provider_(provider, told_),
      reader_(provider.Module()) {
    const std::string registrations = Registrations(softphones);
    floor_service_.SetLists({registrations});
    provider_service_.SetLists({registrations});
}

stage::~stage() {
    floor_.Disconnect();
    provider_.Shutdown();
    (void)DeleteFileW(log_.Path().c_str());
    (void)DeleteFileW(FloorLogPath().c_str());
}

void stage::UseInstantFiles(bool instant) {
    instant_files_.reset();
    if (instant) {
        instant_files_.emplace(module_);
    }
    floor_.Use(instant ? kInstantFileCalls : kSystemFileCalls);
}

void stage::StartFloor(const log_script& script) {
    floor_.Expect(script, 1);
    floor_.Connect(floor_service_.Port());
    floor_.Send(test::ListRequest(0));
    done_.Wait();
    floor_.WaitUntilIdle();
}

log_script stage::Rehearse(arrivals& moments, const std::function<void()>& act) {
    UseInstantFiles(false);
    log_.Skip();
    std::vector<std::size_t> sizes;
    moments.SetWitness([&](std::size_t number) {
        if (number == 1 || number == moments.Expected()) {
            sizes.push_back(log_.Bytes().size());
        }
    });
    act();
    moments.SetWitness(nullptr);
    reader_.WaitUntilIdle();
    return ToScript(log_.Bytes(), sizes);
}

sample stage::Play(const event_act& act) {
    told_.Expect(act.told);
    const time_point begun = benchmark_clock::now();
    provider_service_.Send(act.messages);
    told_.Wait();
    reader_.WaitUntilIdle();
    return {Microseconds(begun, told_.First()), Microseconds(begun, told_.Last())};
}

sample stage::PlayToFloor(const event_act& act, const log_script& script) {
    floor_.Expect(script, act.count);
    const time_point begun = benchmark_clock::now();
    floor_service_.Send(act.messages);
    done_.Wait();
    floor_.WaitUntilIdle();
    return {Microseconds(begun, done_.First()), Microseconds(begun, done_.Last())};
}

}  // namespace brivelnox::benchmark
