#include "provider/telephony_manager.h"

#include <stdexcept>
#include <utility>

#include "platform/version.h"
#include "provider/provider_log.h"

namespace brivelnox {

std::shared_ptr<telephony_manager> telephony_manager::Create(std::uint32_t device_id_base,
                                                             const line_manager_factory& factory) {
    std::shared_ptr<telephony_manager> manager(new telephony_manager(device_id_base));
    try {
        manager->Initialize(factory);
    } catch (...) {
        ProviderLog(L"Brivelnox TSP: FATAL ERROR during initialization");
        manager->CleanUp();
    }
    return manager;
}

void telephony_manager::Initialize(const line_manager_factory& factory) {
    ProviderLog(L"--------------------------------");
    ProviderLog(L"Brivelnox TSP: Initialize v%s", kProviderVersion);
    ProviderLog(L"--------------------------------");
    auto calls = std::make_shared<call_manager>();
    {
        const lock_guard guard(owners_lock_);
        call_manager_ = calls;
    }
    // Without the lock: this connects and waits for the registration list.
    auto lines = factory(std::move(calls), device_id_base_.load());
    const lock_guard guard(owners_lock_);
    line_manager_ = std::move(lines);
}

void telephony_manager::CleanUp() {
    ProviderLog(L"Brivelnox TSP: CleanUp");
    try {
        if (const std::shared_ptr<line_manager> lines = CurrentLines()) {
            lines->Stop();
        }
    } catch (...) {
        return;
    }
    // Released outside the lock: the last reference may free the whole tree. The lines go before the calls.
    std::shared_ptr<call_manager> calls;
    std::shared_ptr<line_manager> lines;
    const lock_guard guard(owners_lock_);
    lines = std::move(line_manager_);
    calls = std::move(call_manager_);
}

std::shared_ptr<line_manager> telephony_manager::CurrentLines() const {
    const lock_guard guard(owners_lock_);
    return line_manager_;
}

std::shared_ptr<line_manager> telephony_manager::Lines() const {
    std::shared_ptr<line_manager> lines = CurrentLines();
    if (lines == nullptr) {
        throw std::runtime_error("no line manager");
    }
    return lines;
}

void telephony_manager::SetDeviceIdBase(std::uint32_t device_id_base) {
    if (device_id_base_.exchange(device_id_base) == device_id_base) {
        return;
    }
    if (const std::shared_ptr<line_manager> lines = CurrentLines()) {
        lines->SetDeviceIdBase(device_id_base);
    }
}

std::uint32_t telephony_manager::LineCount() const {
    const std::shared_ptr<line_manager> lines = CurrentLines();
    return lines != nullptr ? lines->GetLineCount() : 0;
}

std::uint32_t telephony_manager::InitialLineCount() const {
    const std::shared_ptr<line_manager> lines = CurrentLines();
    return lines != nullptr ? lines->InitialLineCount() : 0;
}

/// Tells TAPI the result of an asynchronous request. Does nothing while TAPI has not told its completion
/// procedure.
void telephony_manager::ReportCompletion(const event_lock&, DRV_REQUESTID request_id, LONG result) const {
    const ASYNC_COMPLETION completion_procedure = completion_procedure_.load();
    if (completion_procedure == nullptr) {
        return;
    }
    ProviderLog(L"AsyncCompletionProc: (dwRequestID: 0x%08X, lResult: 0x%08X)", request_id, result);
    lock_order::BeforeCallback();
    try {
        completion_procedure(request_id, result);
    } catch (...) {
        // TAPI has been told, whatever became of it there.
    }
}

}  // namespace brivelnox
