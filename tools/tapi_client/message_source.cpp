#include "tools/tapi_client/message_source.h"

#include <deque>

#include "platform/unique_handle.h"

namespace brivelnox::tapi_client {

namespace {

LINEINITIALIZEEXPARAMS With(DWORD option) {
    LINEINITIALIZEEXPARAMS parameters{};
    parameters.dwTotalSize = sizeof parameters;
    parameters.dwOptions = option;
    return parameters;
}

/// TAPI calls back while the thread dispatches its window messages.
class window_source : public message_source {
  public:
    [[nodiscard]] LINEINITIALIZEEXPARAMS Parameters() const override {
        return With(LINEINITIALIZEEXOPTION_USEHIDDENWINDOW);
    }
    [[nodiscard]] LINECALLBACK Callback() const override { return &Take; }
    std::optional<LINEMESSAGE> Next(milliseconds timeout) override;

  private:
    static void CALLBACK Take(DWORD device, DWORD message, DWORD_PTR instance, DWORD_PTR param1,
                              DWORD_PTR param2, DWORD_PTR param3) {
        taken_.push_back({device, message, instance, param1, param2, param3});
    }
    static void Dispatch();

    static inline std::deque<LINEMESSAGE> taken_;  // the callback has no context of its own
};

void window_source::Dispatch() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
        (void)TranslateMessage(&message);
        (void)DispatchMessageW(&message);
    }
}

std::optional<LINEMESSAGE> window_source::Next(milliseconds timeout) {
    const auto end = std::chrono::steady_clock::now() + timeout;
    Dispatch();
    while (taken_.empty()) {
        const auto left =
            std::chrono::duration_cast<milliseconds>(end - std::chrono::steady_clock::now()).count();
        if (left <= 0) {
            return std::nullopt;
        }
        (void)MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(left), QS_ALLINPUT);
        Dispatch();
    }
    const LINEMESSAGE message = taken_.front();
    taken_.pop_front();
    return message;
}

/// TAPI sets an event while messages wait to be fetched.
class event_source : public message_source {
  public:
    [[nodiscard]] LINEINITIALIZEEXPARAMS Parameters() const override {
        return With(LINEINITIALIZEEXOPTION_USEEVENT);
    }
    void Begin(HLINEAPP app, const LINEINITIALIZEEXPARAMS& parameters) override {
        app_ = app;
        event_ = parameters.Handles.hEvent;
    }
    std::optional<LINEMESSAGE> Next(milliseconds timeout) override {
        LINEMESSAGE message{};
        const bool waits =
            WaitForSingleObject(event_, static_cast<DWORD>(timeout.count())) == WAIT_OBJECT_0 &&
            lineGetMessage(app_, &message, 0) == 0;
        return waits ? std::optional(message) : std::nullopt;
    }

  private:
    HLINEAPP app_ = 0;
    HANDLE event_ = nullptr;  // TAPI's
};

/// TAPI posts to a completion port of ours.
class port_source : public message_source {
  public:
    [[nodiscard]] LINEINITIALIZEEXPARAMS Parameters() const override {
        LINEINITIALIZEEXPARAMS parameters = With(LINEINITIALIZEEXOPTION_USECOMPLETIONPORT);
        parameters.Handles.hCompletionPort = port_.get();
        parameters.dwCompletionKey = kKey;
        return parameters;
    }
    std::optional<LINEMESSAGE> Next(milliseconds timeout) override;

  private:
    static constexpr DWORD kKey = 1;
    // Closed with this object, which outlives lineShutdown, as it has to.
    unique_event port_{CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1)};
};

std::optional<LINEMESSAGE> port_source::Next(milliseconds timeout) {
    DWORD size = 0;
    ULONG_PTR key = 0;
    OVERLAPPED* posted = nullptr;
    if (GetQueuedCompletionStatus(port_.get(), &size, &key, &posted, static_cast<DWORD>(timeout.count())) ==
            FALSE ||
        key != kKey || posted == nullptr) {
        return std::nullopt;
    }
    const LINEMESSAGE message = *reinterpret_cast<LINEMESSAGE*>(posted);
    (void)LocalFree(posted);
    return message;
}

}  // namespace

std::unique_ptr<message_source> MakeMessageSource(std::string_view name) {
    if (name == "window") {
        return std::make_unique<window_source>();
    }
    if (name == "event") {
        return std::make_unique<event_source>();
    }
    if (name == "port") {
        return std::make_unique<port_source>();
    }
    return nullptr;
}

}  // namespace brivelnox::tapi_client
