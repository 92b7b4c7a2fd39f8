#include "tests/tapi32/stand_in/message_channel.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>

#include "platform/unique_handle.h"

namespace brivelnox::tapi32 {

namespace {

constexpr UINT kMessageWaits = WM_APP;
constexpr wchar_t kWindowClass[] = L"brivelnox_tapi32";

void WriteCall(const application_message& message) {
    if (message.place != nullptr) {
        *message.place = message.call;
    }
}

/// Calls the application's callback from the window procedure of a window that nobody sees.
class window_channel : public message_channel, public std::enable_shared_from_this<window_channel> {
  public:
    explicit window_channel(LINECALLBACK callback) : callback_(callback) {}

    bool MakeWindow();
    void Put(const application_message& message) override;
    void Close() override;

  private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wide, LPARAM lengthy);
    void DeliverOne();

    const LINECALLBACK callback_;
    const DWORD thread_id_ = GetCurrentThreadId();
    HWND window_ = nullptr;
    std::mutex mutex_;
    bool closed_ = false;
    std::deque<application_message> messages_;
};

bool window_channel::MakeWindow() {
    WNDCLASSW window_class{};
    window_class.lpfnWndProc = &Procedure;
    window_class.hInstance = GetModuleHandleW(nullptr);
    window_class.lpszClassName = kWindowClass;
    (void)RegisterClassW(&window_class);  // fails when another application of the process has done it
    window_ = CreateWindowExW(0, kWindowClass, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                              window_class.hInstance, nullptr);
    if (window_ == nullptr) {
        return false;
    }
    // The window keeps the channel: it may have messages waiting when the application has let go of it.
    (void)SetWindowLongPtrW(
        window_, GWLP_USERDATA,
        reinterpret_cast<LONG_PTR>(new std::shared_ptr<window_channel>(shared_from_this())));
    return true;
}

LRESULT CALLBACK window_channel::Procedure(HWND window, UINT message, WPARAM wide, LPARAM lengthy) {
    auto* const kept =
        reinterpret_cast<std::shared_ptr<window_channel>*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message == kMessageWaits && kept != nullptr) {
        const std::shared_ptr<window_channel> self = *kept;  // the callback may close the window
        self->DeliverOne();
        return 0;
    }
    if (message == WM_NCDESTROY) {
        (void)SetWindowLongPtrW(window, GWLP_USERDATA, 0);
        delete kept;
    }
    return DefWindowProcW(window, message, wide, lengthy);
}

void window_channel::DeliverOne() {
    application_message message;
    {
        const std::lock_guard lock(mutex_);
        if (messages_.empty()) {
            return;
        }
        message = messages_.front();
        messages_.pop_front();
    }
    WriteCall(message);
    const LINEMESSAGE& content = message.content;
    callback_(content.hDevice, content.dwMessageID, content.dwCallbackInstance, content.dwParam1,
              content.dwParam2, content.dwParam3);
}

void window_channel::Put(const application_message& message) {
    const std::lock_guard lock(mutex_);
    if (!closed_) {
        messages_.push_back(message);
        (void)PostMessageW(window_, kMessageWaits, 0, 0);
    }
}

void window_channel::Close() {
    {
        const std::lock_guard lock(mutex_);
        closed_ = true;
        messages_.clear();
    }
    // Only its own thread can destroy a window.
    if (thread_id_ == GetCurrentThreadId()) {
        (void)DestroyWindow(window_);
    } else {
        (void)PostMessageW(window_, WM_CLOSE, 0, 0);
    }
}

/// Keeps the messages until they are fetched; the event is set while there are any.
class event_channel : public message_channel {
  public:
    event_channel() : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

    [[nodiscard]] HANDLE Event() const { return event_.get(); }

    void Put(const application_message& message) override {
        const std::lock_guard lock(mutex_);
        if (!closed_) {
            messages_.push_back(message);
            (void)SetEvent(event_.get());
            changed_.notify_one();
        }
    }

    LONG Get(LINEMESSAGE& message, DWORD milliseconds) override;

    void Close() override {
        const std::lock_guard lock(mutex_);
        closed_ = true;
        messages_.clear();
        event_.reset();
        changed_.notify_all();
    }

  private:
    unique_event event_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool closed_ = false;
    std::deque<application_message> messages_;
};

LONG event_channel::Get(LINEMESSAGE& message, DWORD milliseconds) {
    std::unique_lock lock(mutex_);
    const auto is_over = [this] { return closed_ || !messages_.empty(); };
    if (milliseconds == INFINITE) {
        changed_.wait(lock, is_over);
    } else {
        (void)changed_.wait_for(lock, std::chrono::milliseconds(milliseconds), is_over);
    }
    if (closed_) {
        return static_cast<LONG>(LINEERR_INVALAPPHANDLE);
    }
    if (messages_.empty()) {
        return static_cast<LONG>(LINEERR_OPERATIONFAILED);
    }
    WriteCall(messages_.front());
    message = messages_.front().content;
    messages_.pop_front();
    if (messages_.empty()) {
        (void)ResetEvent(event_.get());
    }
    return 0;
}

/// Posts to the application's completion port, which nobody can watch being read: a call's handle is written
/// before.
class port_channel : public message_channel {
  public:
    port_channel(HANDLE port, DWORD key) : port_(port), key_(key) {}

    void Put(const application_message& message) override {
        const std::lock_guard lock(mutex_);
        auto* const content = static_cast<LINEMESSAGE*>(LocalAlloc(LMEM_FIXED, sizeof(LINEMESSAGE)));
        if (closed_ || content == nullptr) {
            (void)LocalFree(content);
            return;
        }
        WriteCall(message);
        *content = message.content;
        // The application frees the message.
        if (PostQueuedCompletionStatus(port_, sizeof(LINEMESSAGE), key_,
                                       reinterpret_cast<OVERLAPPED*>(content)) == FALSE) {
            (void)LocalFree(content);
        }
    }

    void Close() override {
        const std::lock_guard lock(mutex_);
        closed_ = true;
    }

  private:
    const HANDLE port_;
    const DWORD key_;
    std::mutex mutex_;
    bool closed_ = false;
};

}  // namespace

LONG message_channel::Get(LINEMESSAGE&, DWORD) {
    return static_cast<LONG>(LINEERR_OPERATIONFAILED);
}

std::shared_ptr<message_channel> MakeChannel(LINECALLBACK callback, LINEINITIALIZEEXPARAMS& parameters) {
    switch (parameters.dwOptions) {
        case LINEINITIALIZEEXOPTION_USEHIDDENWINDOW: {
            const auto channel = std::make_shared<window_channel>(callback);
            return callback != nullptr && channel->MakeWindow() ? channel : nullptr;
        }
        case LINEINITIALIZEEXOPTION_USEEVENT: {
            const auto channel = std::make_shared<event_channel>();
            parameters.Handles.hEvent = channel->Event();
            return channel->Event() != nullptr ? channel : nullptr;
        }
        case LINEINITIALIZEEXOPTION_USECOMPLETIONPORT:
            return std::make_shared<port_channel>(parameters.Handles.hCompletionPort,
                                                  parameters.dwCompletionKey);
        default:
            return nullptr;
    }
}

}  // namespace brivelnox::tapi32
