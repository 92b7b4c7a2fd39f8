#include "tests/dll/raw_provider_helper.h"

#include <atomic>
#include <cstddef>

#include "tests/support/as_handle.h"

namespace brivelnox::test {

namespace {

std::atomic<completion_recorder*> current{nullptr};

}  // namespace

completion_recorder::completion_recorder() {
    current = this;
}

completion_recorder::~completion_recorder() {
    current = nullptr;
}

ASYNC_COMPLETION completion_recorder::Procedure() const {
    return &completion_recorder::OnCompletion;
}

std::vector<completion> completion_recorder::Completions() const {
    const std::lock_guard guard(mutex_);
    return completions_;
}

void CALLBACK completion_recorder::OnCompletion(DRV_REQUESTID request_id, LONG result) {
    if (completion_recorder* const recorder = current; recorder != nullptr) {
        const std::lock_guard guard(recorder->mutex_);
        recorder->completions_.push_back({request_id, result});
    }
}

void raw_provider::SetUp() {
    for (const std::int32_t id : {1001, 1002, 1003}) {
        simulator::registration subject;
        subject.permanent_line_id = id;
        subject.tapi_line_name = Text("Desk %d", static_cast<int>(id));
        service_.AddSoftphone(subject, simulator::announcement::kSilent)->SetAutomatic(false);
    }
    service_.Start();
    service_.Publish();
}

void raw_provider::Play(std::int32_t permanent_line_id, const std::string& id, const std::string& state) {
    simulator::call_state_event event;
    event.permanent_line_id = permanent_line_id;
    event.client_call_id = id;
    event.call_state = state;
    service_.Send(simulator::CallStateEvent(event));
}

DWORD raw_provider::DeviceIdOf(std::uintptr_t driver_line_handle) {
    struct {
        VARSTRING header;
        DWORD device_id;
    } answer = {};
    answer.header.dwTotalSize = sizeof answer;
    const LONG result = module_.TSPI_lineGetID(AsHandle<HDRVLINE>(driver_line_handle), 0, nullptr,
                                               LINECALLSELECT_LINE, &answer.header, L"tapi/line", nullptr);
    return result == 0 ? answer.device_id : 0;
}

DWORD raw_provider::PermanentIdOf(DWORD device_id) {
    union {
        LINEDEVCAPS caps;
        std::byte bytes[1024];
    } answer = {};
    answer.caps.dwTotalSize = sizeof answer;
    return module_.TSPI_lineGetDevCaps(device_id, kVersion, 0, &answer.caps) == 0
               ? answer.caps.dwPermanentLineID
               : 0;
}

}  // namespace brivelnox::test
