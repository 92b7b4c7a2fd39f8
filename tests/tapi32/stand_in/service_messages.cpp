// What the provider says, and what the applications are told of it.

#include <algorithm>

#include "tests/tapi32/stand_in/telephony_service.h"

namespace brivelnox::tapi32 {

namespace {

application_message Message(DWORD device, DWORD message, DWORD_PTR instance, DWORD_PTR param1,
                            DWORD_PTR param2 = 0, DWORD_PTR param3 = 0) {
    return {{device, message, instance, param1, param2, param3}, nullptr, 0};
}

}  // namespace

DWORD telephony_service::provider_call::Count(DWORD privilege) const {
    return static_cast<DWORD>(std::count_if(holders.begin(), holders.end(),
                                            [&](const auto& each) { return each->privilege == privilege; }));
}

void telephony_service::OnEvent(const host::tapi_event& event) {
    if (event.kind == host::event_kind::kCompletion) {
        const std::lock_guard lock(mutex_);
        requests_[event.request_id].result = event.result;
        Finish(event.request_id);
        return;
    }
    switch (event.message) {
        case static_cast<DWORD>(LINE_NEWCALL):
            TakeNewCall(event);
            break;
        case static_cast<DWORD>(LINE_CALLSTATE):
        case static_cast<DWORD>(LINE_CALLINFO): {
            const std::lock_guard lock(mutex_);
            TakeCallMessage(event);
            break;
        }
        default:
            break;  // LINE_CREATE is told when the line has its identifier
    }
}

void telephony_service::OnNewDevice(DWORD device) {
    const std::lock_guard lock(mutex_);
    for (const std::shared_ptr<application>& each : applications_.All()) {
        each->channel->Put(Message(0, static_cast<DWORD>(LINE_CREATE), 0, device));
    }
}

void telephony_service::TakeNewCall(const host::tapi_event& event) {
    std::unique_lock lock(mutex_);
    const std::shared_ptr<running_provider> provider = provider_;
    if (provider == nullptr) {
        return;  // told after the end, which the host reports
    }
    provider_call& call = calls_[event.new_call];
    call.device = provider->host.DeviceOf(event.line);
    Announce(event.new_call, call, nullptr);
    if (call.holders.empty()) {
        // No application wants it.
        calls_.erase(event.new_call);
        lock.unlock();
        (void)provider->host.CloseCall(event.new_call);
    }
}

void telephony_service::TakeCallMessage(const host::tapi_event& event) {
    provider_call& call = calls_[event.call];
    if (call.announced) {
        Tell(call, event);
    } else {
        call.before.push_back(event);
    }
}

void telephony_service::Tell(provider_call& call, const host::tapi_event& event) {
    const bool is_state = event.message == static_cast<DWORD>(LINE_CALLSTATE);
    if (is_state) {
        call.state = static_cast<DWORD>(event.param1);
    }
    for (const std::shared_ptr<held_call>& each : call.holders) {
        // The first state says what the application may do with the call.
        const DWORD privilege = is_state && !each->told ? each->privilege : 0;
        each->told = each->told || is_state;
        each->line->channel->Put(Message(each->handle, event.message, each->line->instance, event.param1,
                                         event.param2, privilege));
    }
}

/// Gives each application that wants the call a handle, and then tells what came before. A call that an
/// application has made is its own, any other belongs to the first that asked for calls of its kind; whoever
/// monitors the line gets a handle in any case.
void telephony_service::Announce(HTAPICALL handle, provider_call& call, const open_line* maker) {
    bool owned = maker != nullptr;
    for (const std::shared_ptr<open_line>& each : lines_.All()) {
        if (each->device != call.device || each.get() == maker) {
            continue;
        }
        const bool owns = !owned && (each->privileges & LINECALLPRIVILEGE_OWNER) != 0 &&
                          (each->media_modes & LINEMEDIAMODE_INTERACTIVEVOICE) != 0;
        if (!owns && (each->privileges & LINECALLPRIVILEGE_MONITOR) == 0) {
            continue;
        }
        owned = owned || owns;
        const DWORD privilege = owns ? LINECALLPRIVILEGE_OWNER : LINECALLPRIVILEGE_MONITOR;
        const std::shared_ptr<held_call> held = GiveHandle(handle, call, each, privilege);
        each->channel->Put(Message(each->handle, static_cast<DWORD>(LINE_APPNEWCALL), each->instance, 0,
                                   held->handle, privilege));
    }
    call.announced = true;
    for (const host::tapi_event& each : call.before) {
        Tell(call, each);
    }
    call.before.clear();
}

std::shared_ptr<telephony_service::held_call> telephony_service::GiveHandle(
    HTAPICALL handle, provider_call& call, const std::shared_ptr<open_line>& line, DWORD privilege) {
    auto held = std::make_shared<held_call>();
    held->line = line;
    held->call = handle;
    held->privilege = privilege;
    held->handle = held_calls_.Add(held);
    call.holders.push_back(held);
    return held;
}

/// Once the application has the request's id and the provider has completed it: replies, and lets the call
/// that it brought begin.
void telephony_service::Finish(DRV_REQUESTID id) {
    const pending_request request = requests_[id];
    if (request.line == nullptr || !request.result) {
        return;
    }
    requests_.erase(id);
    application_message reply = Message(0, static_cast<DWORD>(LINE_REPLY), request.line->instance, id,
                                        static_cast<DWORD_PTR>(*request.result));
    if (request.call == nullptr || *request.result != 0) {
        calls_.erase(request.call);
        request.line->channel->Put(reply);
        return;
    }
    provider_call& call = calls_[request.call];
    call.device = request.line->device;
    reply.place = request.place;
    reply.call = GiveHandle(request.call, call, request.line, LINECALLPRIVILEGE_OWNER)->handle;
    request.line->channel->Put(reply);
    Announce(request.call, call, request.line.get());
}

}  // namespace brivelnox::tapi32
