#include "shim/waitable.h"

#include <algorithm>
#include <cstddef>
#include <optional>

namespace brivelnox::native {

void waiter::Notify() {
    const std::lock_guard guard(mutex_);
    notified_ = true;
    changed_.notify_one();
}

bool waiter::Wait(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    if (deadline == std::chrono::steady_clock::time_point::max()) {
        changed_.wait(lock, [&] { return notified_; });
    } else if (!changed_.wait_until(lock, deadline, [&] { return notified_; })) {
        return false;
    }
    notified_ = false;
    return true;
}

waitable::waitable(object_kind kind, bool resets_itself, bool signalled)
    : kernel_object(kind), resets_itself_(resets_itself), signalled_(signalled) {}

void waitable::Set() {
    const hidden_from_order hidden;
    const std::lock_guard guard(mutex_);
    signalled_ = true;
    order_.Give();
    for (waiter* const waiting : waiters_) {
        waiting->Notify();
    }
}

void waitable::Reset() {
    const hidden_from_order hidden;
    const std::lock_guard guard(mutex_);
    signalled_ = false;
    order_.Renew();
}

bool waitable::TryTake() {
    const std::lock_guard guard(mutex_);
    if (!signalled_) {
        return false;
    }
    order_.Take();
    if (resets_itself_) {
        signalled_ = false;
        order_.Renew();
    }
    return true;
}

void waitable::AddWaiter(waiter& waiting) {
    const std::lock_guard guard(mutex_);
    waiters_.push_back(&waiting);
}

void waitable::RemoveWaiter(waiter& waiting) {
    const std::lock_guard guard(mutex_);
    waiters_.erase(std::find(waiters_.begin(), waiters_.end(), &waiting));
}

void waitable::OnClose() {
    const std::lock_guard guard(mutex_);
    // One that is signalled may still be entered here by the thread that is about to wake up, and that is no
    // error: the other thread closes what it has been told it may close.
    if (!waiters_.empty() && !signalled_) {
        Misuse("a handle is closed while a thread waits on it");
    }
}

namespace {

std::chrono::steady_clock::time_point DeadlineAfter(DWORD milliseconds) {
    return milliseconds == INFINITE
               ? std::chrono::steady_clock::time_point::max()
               : std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
}

/// The number of the first object whose signal ends the wait.
std::optional<DWORD> TakeAny(const std::vector<object_ref<waitable>>& objects) {
    for (std::size_t i = 0; i < objects.size(); ++i) {
        if (objects[i]->TryTake()) {
            return static_cast<DWORD>(i);
        }
    }
    return std::nullopt;
}

DWORD WaitForAny(const std::vector<object_ref<waitable>>& objects, DWORD milliseconds) {
    const auto deadline = DeadlineAfter(milliseconds);
    waiter waiting;
    for (const auto& object : objects) {
        object->AddWaiter(waiting);
    }
    DWORD result = WAIT_TIMEOUT;
    for (bool in_time = true; in_time;) {
        if (const std::optional<DWORD> taken = TakeAny(objects)) {
            result = WAIT_OBJECT_0 + *taken;
            break;
        }
        in_time = waiting.Wait(deadline);
    }
    for (const auto& object : objects) {
        object->RemoveWaiter(waiting);
    }
    return result;
}

/// One after the other, which differs from Windows only for events that are reset meanwhile.
DWORD WaitForEach(const std::vector<object_ref<waitable>>& objects, DWORD milliseconds) {
    const auto deadline = DeadlineAfter(milliseconds);
    for (const auto& object : objects) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            std::max(deadline - std::chrono::steady_clock::now(), std::chrono::steady_clock::duration{0}));
        const DWORD bound = milliseconds == INFINITE ? INFINITE : static_cast<DWORD>(left.count());
        if (WaitForAny({object}, bound) != WAIT_OBJECT_0) {
            return WAIT_TIMEOUT;
        }
    }
    return WAIT_OBJECT_0;
}

}  // namespace

}  // namespace brivelnox::native

using brivelnox::native::event_object;
using brivelnox::native::FromHandle;
using brivelnox::native::object_ref;
using brivelnox::native::waitable;

HANDLE CreateEventW(SECURITY_ATTRIBUTES*, BOOL manual_reset, BOOL initially_set, const wchar_t* name) {
    const brivelnox::native::hidden_from_order hidden;
    if (name != nullptr) {
        brivelnox::native::Misuse("named events are not known here");
    }
    return ToHandle(new event_object(manual_reset != FALSE, initially_set != FALSE));
}

BOOL SetEvent(HANDLE event) {
    const auto object = FromHandle<event_object>(event);
    if (!object) {
        return FALSE;
    }
    object->Set();
    return TRUE;
}

BOOL ResetEvent(HANDLE event) {
    const auto object = FromHandle<event_object>(event);
    if (!object) {
        return FALSE;
    }
    object->Reset();
    return TRUE;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    return WaitForMultipleObjects(1, &handle, FALSE, milliseconds);
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_for_all, DWORD milliseconds) {
    const brivelnox::native::hidden_from_order hidden;
    std::vector<object_ref<waitable>> objects;
    for (DWORD i = 0; i < count; ++i) {
        objects.push_back(FromHandle<waitable>(handles[i]));
        if (!objects.back()) {
            return WAIT_FAILED;
        }
    }
    if (count == 0 || count > MAXIMUM_WAIT_OBJECTS) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    return wait_for_all ? brivelnox::native::WaitForEach(objects, milliseconds)
                        : brivelnox::native::WaitForAny(objects, milliseconds);
}
