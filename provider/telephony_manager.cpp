#include "provider/telephony_manager.h"

#include <stdexcept>
#include <utility>

#include "platform/version.h"
#include "provider/provider_log.h"

namespace brivelnox {

std::shared_ptr<telephony_manager> telephony_manager::Create(std::uint32_t device_id_base,
                                                             const line_manager_factory& factory) {
    ProviderLog(L"--------------------------------");
    ProviderLog(L"Brivelnox TSP: Initialize v%s", kProviderVersion);
    ProviderLog(L"--------------------------------");
    const auto make = [&](std::shared_ptr<line_manager> lines) {
        return std::shared_ptr<telephony_manager>(new telephony_manager(device_id_base, std::move(lines)));
    };
    try {
        return make(factory(std::make_shared<call_manager>(), device_id_base));
    } catch (...) {
        ProviderLog(L"Brivelnox TSP: FATAL ERROR during initialization");
        const auto without_lines = make(nullptr);
        without_lines->CleanUp();
        return without_lines;
    }
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
    // Released outside the lock: the last reference may free the whole tree.
    std::shared_ptr<line_manager> lines;
    const lock_guard guard(line_manager_lock_);
    lines = std::move(line_manager_);
}

std::shared_ptr<line_manager> telephony_manager::CurrentLines() const {
    const lock_guard guard(line_manager_lock_);
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
