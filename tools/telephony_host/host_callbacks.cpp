// The procedures that the provider calls, and the thread that answers LINE_CREATE.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <thread>

#include "tools/telephony_host/telephony_host.h"

namespace brivelnox::host {

namespace {

std::atomic<std::size_t> stray_callbacks{0};

tapi_event MessageEvent(HTAPILINE line, HTAPICALL call, DWORD message, DWORD_PTR param1, DWORD_PTR param2,
                        DWORD_PTR param3) {
    tapi_event event;
    event.time = std::chrono::steady_clock::now();
    event.thread_id = GetCurrentThreadId();
    event.line = line;
    event.call = call;
    event.message = message;
    event.param1 = param1;
    event.param2 = param2;
    event.param3 = param3;
    return event;
}

}  // namespace

/// Finds the host for a callback, and keeps it from being destroyed while the callback is inside.
class telephony_host::callback_guard {
  public:
    callback_guard() {
        ++inside_;
        host_ = current_;
        if (host_ == nullptr) {
            ++stray_callbacks;
        }
    }
    ~callback_guard() { --inside_; }
    callback_guard(const callback_guard&) = delete;
    callback_guard& operator=(const callback_guard&) = delete;

    [[nodiscard]] telephony_host* Host() const { return host_; }

    static bool Install(telephony_host* host) {
        telephony_host* expected = nullptr;
        return current_.compare_exchange_strong(expected, host) || expected == host;
    }

    /// Takes the host away and waits, within reason, until no callback is inside it.
    static void Remove(const telephony_host* host) {
        if (current_ != host) {
            return;
        }
        current_ = nullptr;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (inside_ != 0 && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
    }

  private:
    static inline std::atomic<telephony_host*> current_{nullptr};
    static inline std::atomic<std::size_t> inside_{0};
    telephony_host* host_ = nullptr;
};

bool telephony_host::TakeCallbacks() {
    return callback_guard::Install(this);
}

void telephony_host::GiveUpCallbacks() {
    callback_guard::Remove(this);
}

std::size_t telephony_host::StrayCallbacks() {
    return stray_callbacks;
}

void CALLBACK telephony_host::CompletionProcedure(DRV_REQUESTID id, LONG result) {
    const callback_guard guard;
    if (guard.Host() == nullptr) {
        return;
    }
    tapi_event event = MessageEvent(nullptr, nullptr, 0, 0, 0, 0);
    event.kind = event_kind::kCompletion;
    event.request_id = id;
    event.result = result;
    guard.Host()->TakeEvent(event);
}

void CALLBACK telephony_host::LineEventProcedure(HTAPILINE line, HTAPICALL call, DWORD message,
                                                 DWORD_PTR param1, DWORD_PTR param2, DWORD_PTR param3) {
    const callback_guard guard;
    if (guard.Host() != nullptr) {
        guard.Host()->TakeEvent(MessageEvent(line, call, message, param1, param2, param3));
    }
}

void CALLBACK telephony_host::LineCreateProcedure(HTAPILINE line, HTAPICALL call, DWORD message,
                                                  DWORD_PTR param1, DWORD_PTR param2, DWORD_PTR param3) {
    LineEventProcedure(line, call, message, param1, param2, param3);
}

void telephony_host::TakeEvent(tapi_event event) {
    checker_.Enter(event);
    UpdateModel(event);
    event.index = history_.Add(event);
    std::shared_ptr<const event_hook> hook;
    {
        const std::lock_guard lock(mutex_);
        hook = hook_;
        changed_.notify_all();
    }
    if (event.IsMessage(static_cast<DWORD>(LINE_CREATE))) {
        AnswerLineCreate(static_cast<DWORD>(event.param2));
    }
    if (hook) {
        (*hook)(event);
    }
    checker_.Leave(event.thread_id);
}

void telephony_host::UpdateModel(tapi_event& event) {
    if (event.kind == event_kind::kCompletion) {
        const std::lock_guard lock(mutex_);
        completions_[event.request_id] = event.result;
        if (completions_.size() > options_.kept_completions) {
            completions_.erase(completions_.begin());
        }
        return;
    }
    if (event.IsMessage(static_cast<DWORD>(LINE_NEWCALL))) {
        TakeNewCall(event);
        return;
    }
    const std::lock_guard lock(mutex_);
    const auto found = calls_.find(event.call);
    if (found == calls_.end()) {
        return;
    }
    if (event.IsMessage(static_cast<DWORD>(LINE_CALLSTATE))) {
        found->second.states.push_back(static_cast<DWORD>(event.param1));
        found->second.modes.push_back(static_cast<DWORD>(event.param2));
    } else if (event.IsMessage(static_cast<DWORD>(LINE_CALLINFO))) {
        ++found->second.information;
    }
}

void telephony_host::TakeNewCall(tapi_event& event) {
    auto* const handle = reinterpret_cast<HTAPICALL*>(event.param2);
    if (handle == nullptr || options_.refuse_new_calls) {
        return;
    }
    event.new_call = AnnounceCall(event.line, true);
    NumberCall(event.new_call, reinterpret_cast<HDRVCALL>(event.param1));
    *handle = event.new_call;
}

void telephony_host::AnswerLineCreate(DWORD temporary) {
    if (options_.create_answer == line_create_answer::kInsideCallback) {
        CreateDevice(temporary);
    } else if (options_.create_answer == line_create_answer::kWorkerThread) {
        const std::lock_guard lock(mutex_);
        to_create_.push_back(temporary);
        changed_.notify_all();
    }
}

void telephony_host::CreateDevice(DWORD temporary) {
    line_device device;
    device.temporary = temporary;
    {
        const std::lock_guard lock(mutex_);
        device.device_id = next_created_device_++;
    }
    if (module_.TSPI_providerCreateLineDevice(temporary, device.device_id) != 0) {
        return;
    }
    if (options_.negotiate_every_device && NegotiateDevice(device.device_id, &device.version) != 0) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        devices_.push_back(device);
        created_[temporary] = device.device_id;
        changed_.notify_all();
    }
    if (options_.device_created) {
        options_.device_created(device.device_id);
    }
}

void telephony_host::RunWorker() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return worker_stopping_ || !to_create_.empty(); });
        if (worker_stopping_) {
            return;
        }
        const DWORD temporary = to_create_.front();
        to_create_.pop_front();
        lock.unlock();
        CreateDevice(temporary);
        lock.lock();
    }
}

void telephony_host::StopWorker() {
    {
        const std::lock_guard lock(mutex_);
        worker_stopping_ = true;
        changed_.notify_all();
    }
    if (worker_.joinable()) {
        worker_.join();
    }
}

}  // namespace brivelnox::host
