#include "tests/support/tapi_recorder.h"

#include <algorithm>
#include <ostream>
#include <utility>

#include "tests/support/as_handle.h"

namespace brivelnox::test {

namespace {

std::atomic<tapi_recorder*> current{nullptr};

constexpr struct {
    DWORD message;
    const char* name;
} kMessageNames[] = {
    {LINE_CALLINFO, "LINE_CALLINFO"}, {LINE_CALLSTATE, "LINE_CALLSTATE"},
    {LINE_CREATE, "LINE_CREATE"},     {LINE_LINEDEVSTATE, "LINE_LINEDEVSTATE"},
    {LINE_NEWCALL, "LINE_NEWCALL"},
};

const char* MessageName(DWORD message) {
    for (const auto& row : kMessageNames) {
        if (row.message == message) {
            return row.name;
        }
    }
    return "message";
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const tapi_event& event) {
    const auto flags = out.flags();
    out << MessageName(event.message) << '(' << std::dec << event.message << ')' << std::hex << " line 0x"
        << event.line << " call 0x" << event.call << " params 0x" << event.param1 << " 0x" << event.param2
        << " 0x" << event.param3;
    out.flags(flags);
    return out;
}

tapi_event NewCall(std::uintptr_t line, std::uint64_t driver_call_handle, std::uintptr_t call) {
    return {line, 0, LINE_NEWCALL, static_cast<DWORD_PTR>(driver_call_handle), call, 0};
}

tapi_event CallState(std::uintptr_t line, std::uintptr_t call, DWORD state, DWORD mode) {
    return {line, call, LINE_CALLSTATE, state, mode, LINEMEDIAMODE_INTERACTIVEVOICE};
}

tapi_event CallInfo(std::uintptr_t line, std::uintptr_t call, DWORD changed_bits) {
    return {line, call, LINE_CALLINFO, changed_bits, 0, 0};
}

tapi_event LineCreate(std::uintptr_t provider, DWORD device_id) {
    return {0, 0, LINE_CREATE, provider, device_id, 0};
}

tapi_recorder::tapi_recorder() {
    current = this;
}

tapi_recorder::~tapi_recorder() {
    current = nullptr;
}

LINEEVENT tapi_recorder::Procedure() const {
    return &tapi_recorder::OnEvent;
}

LINEEVENT tapi_recorder::OtherProcedure() const {
    return &tapi_recorder::OnOtherEvent;
}

void CALLBACK tapi_recorder::OnEvent(HTAPILINE line, HTAPICALL call, DWORD message, DWORD_PTR param1,
                                     DWORD_PTR param2, DWORD_PTR param3) {
    Receive({reinterpret_cast<std::uintptr_t>(line), reinterpret_cast<std::uintptr_t>(call), message, param1,
             param2, param3},
            false);
}

void CALLBACK tapi_recorder::OnOtherEvent(HTAPILINE line, HTAPICALL call, DWORD message, DWORD_PTR param1,
                                          DWORD_PTR param2, DWORD_PTR param3) {
    Receive({reinterpret_cast<std::uintptr_t>(line), reinterpret_cast<std::uintptr_t>(call), message, param1,
             param2, param3},
            true);
}

void tapi_recorder::Receive(tapi_event event, bool other) {
    if (tapi_recorder* const recorder = current; recorder != nullptr) {
        recorder->Record(event, other);
    }
}

/// Notes which thread is inside, also where a reaction throws.
class tapi_recorder::presence {
  public:
    explicit presence(tapi_recorder& recorder)
        : recorder_(recorder), before_(recorder.inside_.exchange(GetCurrentThreadId())) {
        // The same thread may be inside twice: it was called back, and called again.
        if (before_ != 0 && before_ != GetCurrentThreadId()) {
            recorder_.overlapped_ = true;
        }
    }
    ~presence() { recorder_.inside_ = before_; }
    presence(const presence&) = delete;
    presence& operator=(const presence&) = delete;

  private:
    tapi_recorder& recorder_;
    const DWORD before_;
};

void tapi_recorder::Record(tapi_event event, bool other) {
    const presence inside(*this);
    reaction react;
    {
        const std::lock_guard guard(mutex_);
        if (event.message == LINE_NEWCALL) {
            event.param2 = AnswerNewCall(event.param2);
        }
        events_.push_back({event, other});
        react = reaction_;
    }
    recorded_.notify_all();
    if (react) {
        react(event);
    }
}

DWORD_PTR tapi_recorder::AnswerNewCall(DWORD_PTR address) {
    if (!answers_new_calls_) {
        return 0;
    }
    const std::uintptr_t handle = next_call_handle_++;
    *reinterpret_cast<HTAPICALL*>(address) = AsHandle<HTAPICALL>(handle);
    return handle;
}

void tapi_recorder::SetReaction(reaction react) {
    const std::lock_guard guard(mutex_);
    reaction_ = std::move(react);
}

std::vector<tapi_event> tapi_recorder::Events() const {
    const std::lock_guard guard(mutex_);
    std::vector<tapi_event> events;
    for (const recorded_event& recorded : events_) {
        events.push_back(recorded.event);
    }
    return events;
}

std::vector<tapi_event> tapi_recorder::OtherEvents() const {
    const std::lock_guard guard(mutex_);
    std::vector<tapi_event> events;
    for (const recorded_event& recorded : events_) {
        if (recorded.other) {
            events.push_back(recorded.event);
        }
    }
    return events;
}

std::vector<tapi_event> tapi_recorder::EventsOf(std::uintptr_t call) const {
    std::vector<tapi_event> events = Events();
    std::erase_if(events, [&](const tapi_event& event) { return event.call != call; });
    return events;
}

std::size_t tapi_recorder::Count() const {
    const std::lock_guard guard(mutex_);
    return events_.size();
}

void tapi_recorder::Clear() {
    const std::lock_guard guard(mutex_);
    events_.clear();
}

bool tapi_recorder::WaitForCount(std::size_t count, milliseconds timeout) const {
    std::unique_lock guard(mutex_);
    return recorded_.wait_for(guard, timeout, [&] { return events_.size() >= count; });
}

}  // namespace brivelnox::test
