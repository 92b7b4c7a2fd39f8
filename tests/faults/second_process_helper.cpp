#include "tests/faults/second_process_helper.h"

#include <windows.h>
#include <shellapi.h>
#include <tapi.h>
#include <tspi.h>

#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>

#include "tests/dll/pe_image_helper.h"
#include "tests/dll/provider_fixture_helper.h"
#include "tools/telephony_host/telephony_host.h"

namespace brivelnox::test {

namespace {

constexpr wchar_t kTask[] = L"--second-process";

std::wstring OwnPath() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

std::vector<std::wstring> CommandLineWords() {
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::wstring> result(words, words + count);
    (void)LocalFree(words);
    return result;
}

/// What can go wrong in the second process, as its exit code.
enum failure : int { kNone, kStart, kLine, kEvent, kCall, kState, kRequest, kEnd, kShutdown, kBreach };

failure SeeCalls(host::telephony_host& service_host, const std::wstring& ready_name) {
    if (service_host.Start() != 0 || service_host.Devices().empty()) {
        return kStart;
    }
    HTAPILINE const line = service_host.OpenLine(service_host.Devices().at(0).device_id);
    if (line == nullptr) {
        return kLine;
    }
    const unique_event ready(OpenEventW(EVENT_MODIFY_STATE, FALSE, ready_name.c_str()));
    if (!ready || !SetEvent(ready.get())) {
        return kEvent;
    }
    HTAPICALL const call = service_host.WaitForNewCall(line, kSoon);
    if (call == nullptr) {
        return kCall;
    }
    if (!service_host.WaitForCallState(call, LINECALLSTATE_CONNECTED, kSoon)) {
        return kState;
    }
    if (!service_host.MakeCall(line, kSecondNumber).Accepted()) {
        return kRequest;
    }
    return service_host.WaitForCurrentState(call, LINECALLSTATE_IDLE, kSoon) ? kNone : kEnd;
}

}  // namespace

int RunSecondProcess(const std::wstring& ready_name) {
    const host::provider_module module(BuiltProviderPath().wstring());
    host::host_options options;
    options.device_id_base = kSecondDeviceIdBase;
    host::telephony_host service_host(module, options);
    if (const failure failed = SeeCalls(service_host, ready_name); failed != kNone) {
        return failed;
    }
    if (service_host.Shutdown() != 0) {
        return kShutdown;
    }
    return service_host.Checker().BreachCount() == 0 ? kNone : kBreach;
}

second_process::second_process() {
    const std::wstring name = L"brivelnox-second-process-" + std::to_wstring(GetCurrentProcessId());
    ready_.reset(CreateEventW(nullptr, TRUE, FALSE, name.c_str()));
    std::wstring command_line = L"\"" + OwnPath() + L"\" " + kTask + L" " + name;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION created = {};
    if (!CreateProcessW(nullptr, command_line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                        &created)) {
        throw std::runtime_error("the second process does not start");
    }
    process_.reset(created.hProcess);
    const unique_thread thread(created.hThread);
}

second_process::~second_process() {
    if (WaitForSingleObject(process_.get(), 0) != WAIT_OBJECT_0) {
        (void)TerminateProcess(process_.get(), 99);
    }
}

bool second_process::WaitUntilReady(std::chrono::milliseconds timeout) const {
    return WaitForSingleObject(ready_.get(), static_cast<DWORD>(timeout.count())) == WAIT_OBJECT_0;
}

int second_process::WaitForEnd(std::chrono::milliseconds timeout) const {
    DWORD code = 0;
    if (WaitForSingleObject(process_.get(), static_cast<DWORD>(timeout.count())) != WAIT_OBJECT_0 ||
        !GetExitCodeProcess(process_.get(), &code)) {
        return -1;
    }
    return static_cast<int>(code);
}

}  // namespace brivelnox::test

int main(int argc, char** argv) {
    const std::vector<std::wstring> words = brivelnox::test::CommandLineWords();
    if (words.size() == 3 && words[1] == brivelnox::test::kTask) {
        return brivelnox::test::RunSecondProcess(words[2]);
    }
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
