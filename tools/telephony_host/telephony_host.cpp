#include "tools/telephony_host/telephony_host.h"

#include <atomic>
#include <stdexcept>
#include <utility>

namespace brivelnox::host {

namespace {

// Handles are numbers below 2^32, so that they can be told apart in the provider's log, which prints 32 bits.
// Lines and calls have their own ranges, so that one taken for the other is noticed.
std::atomic<std::uintptr_t> next_line_handle{0x00010001};
std::atomic<std::uintptr_t> next_call_handle{0x01000001};

void CALLBACK PhoneEventProcedure(HTAPIPHONE, DWORD, DWORD_PTR, DWORD_PTR, DWORD_PTR) {}

}  // namespace

telephony_host::telephony_host(const provider_module& module, host_options options)
    : module_(module), options_(std::move(options)) {}

telephony_host::~telephony_host() {
    if (Running()) {
        (void)Shutdown();
    }
    GiveUpCallbacks();
}

LONG telephony_host::Start() {
    if (Running() || !TakeCallbacks()) {
        throw std::logic_error("a telephony host is running already");
    }
    {
        const std::lock_guard lock(mutex_);
        devices_.clear();
        created_.clear();
        lines_.clear();
        calls_.clear();
        to_create_.clear();
        next_created_device_ = options_.device_id_base + options_.created_device_offset;
        worker_stopping_ = false;
        running_ = true;
    }
    checker_.Starting(options_.provider_handle);
    worker_ = std::thread([this] { RunWorker(); });
    const LONG result = Initialise();
    if (result != 0) {
        (void)Shutdown();
    }
    return result;
}

LONG telephony_host::Initialise() {
    DWORD version = 0;
    LONG result = NegotiateDevice(static_cast<DWORD>(INITIALIZE_NEGOTIATION), &version);
    version_ = version;
    DWORD lines = 0;
    DWORD phones = 0;
    if (result == 0) {
        result = module_.TSPI_providerEnumDevices(options_.permanent_provider_id, &lines, &phones,
                                                  options_.provider_handle, &LineCreateProcedure,
                                                  &PhoneEventProcedure);
    }
    if (options_.created_device_offset == 0) {
        const std::lock_guard lock(mutex_);
        next_created_device_ = options_.device_id_base + lines;
    }
    DWORD tspi_options = 0;
    if (result == 0) {
        result = module_.TSPI_providerInit(version, options_.permanent_provider_id, options_.device_id_base,
                                           0, lines, phones, &CompletionProcedure, &tspi_options);
    }
    for (DWORD i = 0; result == 0 && i < lines; ++i) {
        line_device device;
        device.device_id = options_.device_id_base + i;
        result = options_.negotiate_every_device ? NegotiateDevice(device.device_id, &device.version) : 0;
        const std::lock_guard lock(mutex_);
        devices_.push_back(device);
        changed_.notify_all();
    }
    return result;
}

LONG telephony_host::NegotiateDevice(DWORD device_id, DWORD* version) const {
    return module_.TSPI_lineNegotiateTSPIVersion(device_id, options_.low_version, options_.high_version,
                                                 version);
}

LONG telephony_host::Shutdown() {
    checker_.ShuttingDown();
    const LONG result = module_.TSPI_providerShutdown(version_, options_.permanent_provider_id);
    checker_.ShutDown();
    StopWorker();
    const std::lock_guard lock(mutex_);
    running_ = false;
    lines_.clear();
    return result;
}

LONG telephony_host::CloseAllAndShutdown() {
    for (const call_view& each : Calls()) {
        // What is still up is hung up first, as applications do when they are told to go.
        if (each.State() != LINECALLSTATE_IDLE && each.driver != nullptr) {
            (void)Drop(each.call);
        }
        (void)CloseCall(each.call);
    }
    for (const HTAPILINE each : OpenLines()) {
        (void)CloseLine(each);
    }
    return Shutdown();
}

bool telephony_host::Running() const {
    const std::lock_guard lock(mutex_);
    return running_;
}

std::vector<line_device> telephony_host::Devices() const {
    const std::lock_guard lock(mutex_);
    return devices_;
}

bool telephony_host::WaitForDevices(std::size_t count, milliseconds timeout) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return devices_.size() >= count; });
}

std::optional<DWORD> telephony_host::WaitForCreatedDevice(DWORD temporary, milliseconds timeout) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, timeout, [&] { return created_.contains(temporary); })) {
        return std::nullopt;
    }
    return created_[temporary];
}

HTAPILINE telephony_host::OpenLine(DWORD device_id, LONG* result) {
    const auto line = reinterpret_cast<HTAPILINE>(next_line_handle++);
    checker_.LineOpening(line, device_id);
    {
        // Known before it is open: calls may be announced on it at once.
        const std::lock_guard lock(mutex_);
        lines_[line] = {device_id, nullptr};
    }
    HDRVLINE driver = nullptr;
    const LONG returned = module_.TSPI_lineOpen(device_id, line, &driver, version_, &LineEventProcedure);
    const bool success = returned == 0 && driver != nullptr;
    checker_.LineOpened(line, success);
    if (result != nullptr) {
        *result = returned;
    }
    const std::lock_guard lock(mutex_);
    if (!success) {
        lines_.erase(line);
        return nullptr;
    }
    lines_[line].driver = driver;
    return line;
}

LONG telephony_host::CloseLine(HTAPILINE line) {
    const HDRVLINE driver = Driver(line);
    if (driver == nullptr) {
        // Nothing is closed by it, least of all the same device where it is open under another handle.
        return module_.TSPI_lineClose(driver);
    }
    checker_.LineClosing(line);
    const LONG returned = module_.TSPI_lineClose(driver);
    checker_.LineClosed(line);
    const std::lock_guard lock(mutex_);
    lines_.erase(line);
    return returned;
}

std::vector<HTAPILINE> telephony_host::OpenLines() const {
    const std::lock_guard lock(mutex_);
    std::vector<HTAPILINE> open;
    for (const auto& [line, entry] : lines_) {
        if (entry.driver != nullptr) {
            open.push_back(line);
        }
    }
    return open;
}

HDRVLINE telephony_host::Driver(HTAPILINE line) const {
    const std::lock_guard lock(mutex_);
    const auto found = lines_.find(line);
    return found == lines_.end() ? nullptr : found->second.driver;
}

HDRVCALL telephony_host::Driver(HTAPICALL call) const {
    const std::lock_guard lock(mutex_);
    const auto found = calls_.find(call);
    return found == calls_.end() ? nullptr : found->second.driver;
}

DWORD telephony_host::DeviceOf(HTAPILINE line) const {
    const std::lock_guard lock(mutex_);
    const auto found = lines_.find(line);
    return found == lines_.end() ? 0xFFFFFFFF : found->second.device_id;
}

HTAPILINE telephony_host::LineOf(HTAPICALL call) const {
    const std::lock_guard lock(mutex_);
    const auto found = calls_.find(call);
    return found == calls_.end() ? nullptr : found->second.line;
}

HTAPICALL telephony_host::AnnounceCall(HTAPILINE line, bool by_provider) {
    const auto call = reinterpret_cast<HTAPICALL>(next_call_handle++);
    checker_.CallAnnounced(call, line, by_provider);
    call_view view;
    view.call = call;
    view.line = line;
    view.by_provider = by_provider;
    const std::lock_guard lock(mutex_);
    calls_[call] = std::move(view);
    return call;
}

void telephony_host::NumberCall(HTAPICALL call, HDRVCALL driver) {
    checker_.CallNumbered(call, driver);
    const std::lock_guard lock(mutex_);
    const auto found = calls_.find(call);
    if (found != calls_.end()) {
        found->second.driver = driver;
    }
}

std::optional<tapi_event> telephony_host::WaitForEvent(const event_predicate& predicate, milliseconds timeout,
                                                       std::uint64_t since) {
    return history_.WaitFor(predicate, timeout, since);
}

std::optional<tapi_event> telephony_host::WaitForMessage(DWORD message, milliseconds timeout,
                                                         std::uint64_t since) {
    return history_.WaitFor([message](const tapi_event& each) { return each.IsMessage(message); }, timeout,
                            since);
}

HTAPICALL telephony_host::WaitForNewCall(HTAPILINE line, milliseconds timeout, std::uint64_t since) {
    const auto announced = [line](const tapi_event& each) {
        return each.IsMessage(static_cast<DWORD>(LINE_NEWCALL)) && each.line == line;
    };
    const std::optional<tapi_event> event = history_.WaitFor(announced, timeout, since);
    return event ? event->new_call : nullptr;
}

bool telephony_host::WaitForCallState(HTAPICALL call, DWORD state, milliseconds timeout, std::size_t from) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] {
        const auto found = calls_.find(call);
        if (found == calls_.end()) {
            return false;
        }
        const std::vector<DWORD>& states = found->second.states;
        for (std::size_t i = from; i < states.size(); ++i) {
            if (states[i] == state) {
                return true;
            }
        }
        return false;
    });
}

bool telephony_host::WaitForCurrentState(HTAPICALL call, DWORD state, milliseconds timeout) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] {
        const auto found = calls_.find(call);
        return found != calls_.end() && found->second.State() == state;
    });
}

std::vector<DWORD> telephony_host::States(HTAPICALL call) const {
    const std::lock_guard lock(mutex_);
    const auto found = calls_.find(call);
    return found == calls_.end() ? std::vector<DWORD>() : found->second.states;
}

std::optional<call_view> telephony_host::View(HTAPICALL call) const {
    const std::lock_guard lock(mutex_);
    const auto found = calls_.find(call);
    return found == calls_.end() ? std::nullopt : std::optional(found->second);
}

std::vector<call_view> telephony_host::Calls() const {
    const std::lock_guard lock(mutex_);
    std::vector<call_view> result;
    for (const auto& [call, view] : calls_) {
        result.push_back(view);
    }
    return result;
}

std::vector<call_view> telephony_host::Calls(HTAPILINE line) const {
    std::vector<call_view> result = Calls();
    std::erase_if(result, [line](const call_view& each) { return each.line != line; });
    return result;
}

void telephony_host::SetEventHook(event_hook hook) {
    auto replacement = hook ? std::make_shared<const event_hook>(std::move(hook)) : nullptr;
    const std::lock_guard lock(mutex_);
    hook_.swap(replacement);
}

}  // namespace brivelnox::host
