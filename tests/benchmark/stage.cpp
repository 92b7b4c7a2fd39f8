#include "tests/benchmark/stage.h"

#include <windows.h>

#include <string>

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
    std::wstring path = test::log_reader::OfProvider().Path();
    path.replace(path.rfind(L'\\') + 1, 9, L"Benchmark");
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
}

void stage::ExpectTold(std::size_t count) {
    reader_.WaitUntilIdle();
    told_.Expect(count);
}

log_script stage::Rehearse(arrivals& moments, const std::function<void()>& act) {
    UseInstantFiles(false);
    log_.Skip();
    std::size_t size_at_first = 0;
    std::size_t size_at_last = 0;
    moments.SetWitness([&](std::size_t number) {
        if (number == 1) {
            size_at_first = log_.Bytes().size();
        }
        if (number == moments.Expected()) {
            size_at_last = log_.Bytes().size();
        }
    });
    act();
    moments.SetWitness(nullptr);
    reader_.WaitUntilIdle();
    return ToScript(log_.Bytes(), size_at_first, size_at_last);
}

}  // namespace brivelnox::benchmark
